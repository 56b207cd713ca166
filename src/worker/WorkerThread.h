#pragma once

#include <functional>
#include <future>
#include <thread>

namespace ns::worker {

/// The one thread of a worker. Used by one controlling thread at a time.
class WorkerThread {
 public:
  WorkerThread() = default;
  /// Detaches a thread that was not joined: a receiver is destroyed on its own thread.
  ~WorkerThread();
  WorkerThread(const WorkerThread&) = delete;
  WorkerThread& operator=(const WorkerThread&) = delete;

  /// Runs `entry` on a new thread; does nothing if a thread was started before, even if it has ended since.
  /// Throws std::system_error, with nothing started, if the system has no thread left.
  void start(std::function<void()> entry);

  bool isStarted() const { return started; }

  /// Whether `entry` has returned, or was never started.
  bool hasEnded() const;

  /// Waits for the end of the thread, if there is one that was not joined yet.
  void join();

  /// As join(), but calls `nudge` again and again until the thread has ended. A worker that looked at its stop flag
  /// just before the flag was set, and then began to wait, has missed the notification of the stop; it gets the next
  /// one.
  void joinNudging(const std::function<void()>& nudge);

 private:
  std::thread thread;
  std::future<void> ended;  // ready when `entry` has returned
  bool started = false;
};

}  // namespace ns::worker
