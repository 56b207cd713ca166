#include "worker/logger/BackgroundLogger.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <utility>

#include "encoding/Bytes.h"
#include "log/log.h"
#include "worker/processLoop.h"

namespace ns::worker::logger {

static constexpr const char* Name = "BackgroundLogger";

BackgroundLogger::BackgroundLogger(BackgroundLoggerConfig loggerConfig, BackgroundLoggerContext loggerContext)
    : config(loggerConfig), formatter(), context(std::move(loggerContext)) {}

BackgroundLogger::~BackgroundLogger() {
  for (forwarder::Forwarder* forwarder : context.forwarders) delete forwarder;
}

void BackgroundLogger::startProcessLoopThread() {
  if (thread.isStarted()) return;
  stop = false;
  thread.start([this] { BackgroundLogger_processLoop(this); });
}

void BackgroundLogger::stopProcessLoopThread() {
  if (!thread.isStarted()) return;
  stop = true;
  stopCv.notify_all();
}

void BackgroundLogger::joinProcessLoopThread() {
  thread.joinNudging([this] { stopCv.notify_all(); });
}

void BackgroundLogger::processLoop() {
  encoding::Bytes text;
  metrics::MetricsEvent event;
  addWorkers(event);
  while (!stop) {
    waitForNextReport();
    try {
      collect(event);
      text.clear();
      formatter.format(text, event, config.useJson);
      log::info("Metrics: " + std::string(text.begin(), text.end()));
    } catch (const std::exception& e) { log::error(std::string(Name) + ": Report metrics failed: " + e.what()); }
  }
}

void BackgroundLogger::addWorkers(metrics::MetricsEvent& event) const {
  for (const listener::Listener* listener : context.listeners) {
    auto record = std::make_unique<metrics::ListenerMetrics>();
    record->id = listener->getId();
    record->isEtw = listener->getIsEtw();
    record->isUnix = listener->getIsUnix();
    record->useIpv6 = listener->getUseIpv6();
    record->path = listener->getPath();
    record->host = listener->getHost();
    record->port = listener->getPort();
    event.listeners.push_back(std::move(record));
  }
  for (const forwarder::Forwarder* forwarder : context.forwarders) {
    auto record = std::make_unique<metrics::ForwarderMetrics>();
    record->id = forwarder->getId();
    record->useIpv6 = forwarder->getUseIpv6();
    record->host = forwarder->getHost();
    record->port = forwarder->getPort();
    event.forwarders.push_back(std::move(record));
  }
}

void BackgroundLogger::waitForNextReport() {
  // An interval that 32 bits cut to 0 has no next multiple. It ends the process: a daemon that ran on without reports,
  // or reported without a pause, would hide the mistake. Raised, as a division by 0 may do anything.
  if (config.interval == 0) {
    std::raise(SIGFPE);
    std::abort();  // where the signal is ignored
  }

  const auto now = static_cast<uint64_t>(std::time(nullptr));
  const std::chrono::seconds remaining{config.interval - now % config.interval};
  std::unique_lock lock(stopMtx);
  stopCv.wait_until(lock, std::chrono::system_clock::now() + remaining);
}

void BackgroundLogger::collect(metrics::MetricsEvent& event) {
  using std::chrono::nanoseconds;
  using std::chrono::seconds;
  const auto now = std::chrono::duration_cast<nanoseconds>(std::chrono::system_clock::now().time_since_epoch());
  event.seconds = static_cast<uint64_t>(std::chrono::duration_cast<seconds>(now).count());
  event.nanoseconds = static_cast<uint32_t>((now % seconds(1)).count());

  event.listenerCount = static_cast<uint32_t>(context.listeners.size());
  for (size_t i = 0; i < context.listeners.size(); ++i) context.listeners[i]->getMetrics(*event.listeners[i]);
  context.queue->getMetrics(event.queue);
  event.forwarderCount = static_cast<uint32_t>(context.forwarders.size());
  for (size_t i = 0; i < context.forwarders.size(); ++i) context.forwarders[i]->getMetrics(*event.forwarders[i]);
}

void BackgroundLogger_processLoop(BackgroundLogger* self) {
  runProcessLoop(Name, [self] { self->processLoop(); });
}

}  // namespace ns::worker::logger
