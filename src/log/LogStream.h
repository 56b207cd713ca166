#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace ns::log {

/// Standard output or standard error as the log writes to it: a line goes out at once and as a whole, or is dropped.
/// One thread at a time. Under run-stdout the events go through the same stdio stream, so its lock is taken, and what
/// it holds goes first; a thread that hangs in it with an event holds up no line.
class LogStream {
 public:
  explicit LogStream(std::FILE* stream) : stream(stream) {}

  /// Writes a line, which brings its line feed. See log.h for how long it waits.
  void write(std::string_view line);

 private:
  using Clock = std::chrono::steady_clock;

  bool writeAll(std::string_view line, Clock::time_point end);
  bool writeLocked(std::string_view text, Clock::time_point end);
  bool waitForRoom(Clock::time_point end) const;

  std::FILE* const stream;
  uint64_t dropped = 0;  // lines since the last that went out
  bool cut = false;      // the last bytes that went out are the begin of a line
};

}  // namespace ns::log
