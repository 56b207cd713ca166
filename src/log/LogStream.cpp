#include "log/LogStream.h"

#include <poll.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string>
#include <thread>

namespace ns::log {

using std::chrono::milliseconds;

static constexpr milliseconds Patience{1000};

// How often a stream is looked at that another thread has locked.
static constexpr milliseconds LockInterval{5};

void LogStream::write(std::string_view line) {
  const Clock::time_point end = dropped == 0 ? Clock::now() + Patience : Clock::now();
  std::string notice = cut ? "\n" : "";
  if (dropped != 0) notice += "[WARN] Log: " + std::to_string(dropped) + " lines were dropped, as nobody read them\n";
  if (!notice.empty() && !writeAll(notice, end)) {
    ++dropped;
    return;
  }
  dropped = writeAll(line, end) ? 0 : 1;
}

bool LogStream::writeAll(std::string_view text, Clock::time_point end) {
  while (ftrylockfile(stream) != 0) {
    if (Clock::now() >= end) return false;
    std::this_thread::sleep_for(LockInterval);
  }
  const bool written = writeLocked(text, end);
  funlockfile(stream);
  return written;
}

// In pieces that a pipe takes whole once it can be written to at all (pipe(7)), past the stream's buffer: a write to a
// full pipe would wait for as long as its reader likes.
bool LogStream::writeLocked(std::string_view text, Clock::time_point end) {
  if (__fpending(stream) != 0) {
    if (!waitForRoom(end)) return false;
    std::fflush(stream);  // at most a buffer, which is no larger than what there is room for
  }
  while (!text.empty()) {
    if (!waitForRoom(end)) return false;
    const ssize_t count = ::write(::fileno(stream), text.data(), std::min<size_t>(text.size(), PIPE_BUF));
    if (count < 0 && errno != EAGAIN && errno != EINTR) return true;  // a full disk, say: there is nobody to wait for
    if (count < 0) {
      if (Clock::now() >= end) return false;
      continue;
    }
    text.remove_prefix(static_cast<size_t>(count));
    cut = !text.empty();
  }
  return true;
}

bool LogStream::waitForRoom(Clock::time_point end) const {
  pollfd entry{::fileno(stream), POLLOUT, 0};
  while (true) {
    const auto left = std::chrono::duration_cast<milliseconds>(end - Clock::now());
    const int ready = ::poll(&entry, 1, static_cast<int>(std::max<int64_t>(left.count(), 0)));
    if (ready >= 0 || errno != EINTR) return ready > 0;
  }
}

}  // namespace ns::log
