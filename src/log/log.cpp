#include "log/log.h"

#include <cstdio>

namespace ns::log {

std::mutex mtx;

// In one piece: under run-stdout the events go to standard output too, and they do not take the mutex.
static void writeLine(std::FILE* stream, const char* prefix, const std::string& message) {
  const std::string line = prefix + message + '\n';
  const std::lock_guard lock(mtx);
  std::fwrite(line.data(), 1, line.size(), stream);
  std::fflush(stream);
}

void init(bool /*unused*/) {}

void info(const std::string& message) { writeLine(stdout, "[INFO] ", message); }

void warn(const std::string& message) { writeLine(stdout, "[WARN] ", message); }

void error(const std::string& message) { writeLine(stderr, "[ERROR] ", message); }

}  // namespace ns::log
