#pragma once

#include <cstdint>
#include <string>

#include "error/UnknownError.h"

namespace ns::file {

/// stat(2) of a path failed.
class FileError : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

/// Whether anything stands at `path`, following symbolic links; its type does not matter.
/// Throws FileError for any failure other than ENOENT, such as a path through something that is no directory.
bool exists(const std::string& path);

/// The size in bytes of what stands at `path`. Throws FileError for any failure, a missing file included.
int64_t size(const std::string& path);

}  // namespace ns::file
