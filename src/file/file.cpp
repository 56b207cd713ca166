#include "file/file.h"

#include <sys/stat.h>

#include <cerrno>

#include "error/messages.h"

namespace ns::file {

[[noreturn, gnu::cold, gnu::noinline]] static void failStat(const std::string& path, int number) {
  throw FileError("stat64(" + path + ") failed: " + error::getMessage(number));
}

bool exists(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0) return true;
  if (errno != ENOENT) failStat(path, errno);
  return false;
}

int64_t size(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) failStat(path, errno);
  return status.st_size;
}

}  // namespace ns::file
