#pragma once

#include <string>

// What wirelark-queue does to a queue file, while no daemon uses it. Each command writes its result to standard output,
// what is wrong with a file to standard error, and returns whether nothing was. Failures to open or to write are
// thrown, and leave no file behind.
namespace ns::tools::queue {

/// The number of events and of their bytes, and the time of the first and the last of them.
bool show(const std::string& filename);

/// Reads the file as a start of the daemon would.
bool verify(const std::string& filename);

/// Writes the whole records in front of any damage to a new queue file. True also if there was damage.
bool salvage(const std::string& from, const std::string& to);

/// Write a queue file's events as a Frame Streams file, and the other way round.
bool toFstrm(const std::string& from, const std::string& to);
bool fromFstrm(const std::string& from, const std::string& to);

}  // namespace ns::tools::queue
