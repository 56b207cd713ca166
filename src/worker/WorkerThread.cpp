#include "worker/WorkerThread.h"

#include <chrono>
#include <utility>

namespace ns::worker {

// Short against any time-out, so that a stop is never felt to hang; long enough to cost nothing while one is sat out.
static constexpr std::chrono::milliseconds NudgeInterval{50};

WorkerThread::~WorkerThread() {
  if (thread.joinable()) thread.detach();
}

void WorkerThread::start(std::function<void()> entry) {
  if (started) return;
  std::promise<void> end;
  ended = end.get_future();
  // The promise belongs to the thread: this object may be gone by the time that `entry` returns.
  thread = std::thread([run = std::move(entry), done = std::move(end)]() mutable {
    run();
    done.set_value();
  });
  started = true;
}

bool WorkerThread::hasEnded() const {
  return !started || ended.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

void WorkerThread::join() {
  if (thread.joinable()) thread.join();
}

void WorkerThread::joinNudging(const std::function<void()>& nudge) {
  if (!thread.joinable()) return;
  while (ended.wait_for(NudgeInterval) != std::future_status::ready) nudge();
  thread.join();
}

}  // namespace ns::worker
