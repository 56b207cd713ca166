#pragma once

#include <mutex>
#include <string>

// The whole logging facility: one line a call, flushed at once, with no time stamp and no filter. Supervisors such as
// systemd add the time. Any thread may call it at any time.
//
// A line waits for its reader for a second at the most, so that a log that nobody reads (a pager, a container's log
// that is blocked) never stops the daemon. Then it is dropped, and until a line goes out again others don't wait at
// all. In front of that line stands "[WARN] Log: <n> lines were dropped, as nobody read them".
namespace ns::log {

/// Held for the length of one line's output, for all levels together, so that lines never mix and keep their order.
extern std::mutex mtx;

/// Does nothing: there is no setting. Kept as the one place where a start of the daemon announces itself to the log.
void init(bool unused);

/// Writes "[INFO] " and the text to standard output.
void info(const std::string& message);

/// Writes "[WARN] " and the text to standard output.
void warn(const std::string& message);

/// Writes "[ERROR] " and the text to standard error.
void error(const std::string& message);

}  // namespace ns::log
