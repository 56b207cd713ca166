#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

// What the threads of all workers have in common.
namespace ns::worker {

/// How the log names a worker: "Forwarder[0]".
std::string nameOf(const char* kind, uint32_t id);

/// What runs on a worker's own thread: `loop`, with its begin and its end in the log behind the worker's name. An
/// exception ends the worker and is logged; it never leaves the thread.
void runProcessLoop(const std::string& name, const std::function<void()>& loop);

/// Sleeps so many seconds, but ends within one of them once `stopRequested` is set.
void pauseUnlessStopped(int seconds, const std::atomic<bool>& stopRequested);

}  // namespace ns::worker
