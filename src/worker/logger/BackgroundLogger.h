#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "event/queue/EventQueue.h"
#include "metrics/MetricsEvent.h"
#include "metrics/MetricsEventFormatter.h"
#include "worker/WorkerThread.h"
#include "worker/forwarder/Forwarder.h"
#include "worker/listener/Listener.h"

namespace ns::worker::logger {

struct BackgroundLoggerConfig {
  uint32_t interval = 600;  // seconds between two reports
  bool useJson = false;     // a JSON object instead of key=value groups
};

/// Whom a report is about. The listeners and the queue are borrowed; the logger owns the forwarders.
struct BackgroundLoggerContext {
  std::vector<listener::Listener*> listeners;
  event::queue::EventQueue* queue = nullptr;
  std::vector<forwarder::Forwarder*> forwarders;
};

/// Writes one "Metrics: " line to the log at each multiple of the interval since the Unix epoch, and one at the stop.
class BackgroundLogger {
 public:
  BackgroundLogger(BackgroundLoggerConfig config, BackgroundLoggerContext context);
  /// Deletes the forwarders of the context.
  ~BackgroundLogger();
  BackgroundLogger(const BackgroundLogger&) = delete;
  BackgroundLogger& operator=(const BackgroundLogger&) = delete;

  // Main thread. Start does nothing while a thread exists; stop ends the wait for the next report, which then comes.
  void startProcessLoopThread();
  void stopProcessLoopThread();
  void joinProcessLoopThread();
  /// Whether a join would find the thread at its end.
  bool hasEnded() const { return thread.hasEnded(); }

  /// The worker's own thread: wait and report, until a stop is asked for.
  void processLoop();

 private:
  void addWorkers(metrics::MetricsEvent& event) const;
  void waitForNextReport();
  void collect(metrics::MetricsEvent& event);

  const BackgroundLoggerConfig config;
  const metrics::MetricsEventFormatter formatter;
  const BackgroundLoggerContext context;
  std::atomic<bool> stop{false};  // the main thread writes, the logger polls
  std::mutex stopMtx;             // guards nothing: the condition variable needs one
  std::condition_variable stopCv;
  WorkerThread thread;  // last, as it uses all of the above
};

/// The body of the logger's thread: runs processLoop and logs its begin and its end.
void BackgroundLogger_processLoop(BackgroundLogger* self);

}  // namespace ns::worker::logger
