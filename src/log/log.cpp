#include "log/log.h"

#include <cstdio>

namespace ns::log {

std::mutex mtx;

static void writeLine(std::FILE* stream, const char* prefix, const std::string& message) {
  const std::lock_guard lock(mtx);
  std::fputs(prefix, stream);
  std::fwrite(message.data(), 1, message.size(), stream);
  std::fputc('\n', stream);
  std::fflush(stream);
}

void init(bool /*unused*/) {}

void info(const std::string& message) { writeLine(stdout, "[INFO] ", message); }

void warn(const std::string& message) { writeLine(stdout, "[WARN] ", message); }

void error(const std::string& message) { writeLine(stderr, "[ERROR] ", message); }

}  // namespace ns::log
