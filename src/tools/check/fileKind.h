#pragma once

#include <string>

namespace ns::tools::check {

/// "a folder", "a FIFO", "a socket" or "a device"; empty for a regular file and for what can't be looked at. Looks
/// without opening: an open FIFO waits for its other end, and some devices never end.
std::string kindOf(const std::string& path);

/// Why nothing can be read from the file, as a whole sentence about `path`; empty if it can.
std::string whyUnreadable(const std::string& path);

}  // namespace ns::tools::check
