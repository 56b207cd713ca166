#include "tools/check/fileKind.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "error/messages.h"

namespace ns::tools::check {

std::string kindOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return "";
  switch (status.st_mode & S_IFMT) {
    case S_IFREG: return "";
    case S_IFDIR: return "a folder";
    case S_IFIFO: return "a FIFO";
    case S_IFSOCK: return "a socket";
    default: return "a device";
  }
}

std::string whyUnreadable(const std::string& path) {
  if (access(path.c_str(), R_OK) != 0) return "'" + path + "' can't be read: " + error::getMessage(errno);
  const std::string kind = kindOf(path);
  return kind.empty() ? "" : "'" + path + "' is " + kind + ", not a file";
}

}  // namespace ns::tools::check
