#include "log/log.h"

#include <string_view>

#include "log/LogStream.h"

namespace ns::log {

std::mutex mtx;

static void writeLine(LogStream& stream, std::string_view prefix, const std::string& message) {
  std::string line;
  line.reserve(prefix.size() + message.size() + 1);
  line.append(prefix).append(message).append("\n");
  const std::lock_guard lock(mtx);
  stream.write(line);
}

static LogStream& output() {
  static LogStream stream(stdout);
  return stream;
}

static LogStream& errors() {
  static LogStream stream(stderr);
  return stream;
}

void init(bool /*unused*/) {}

void info(const std::string& message) { writeLine(output(), "[INFO] ", message); }

void warn(const std::string& message) { writeLine(output(), "[WARN] ", message); }

void error(const std::string& message) { writeLine(errors(), "[ERROR] ", message); }

}  // namespace ns::log
