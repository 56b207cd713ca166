#include "app/run.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

#include "app/Settings.h"
#include "encoding/data.h"
#include "error/messages.h"
#include "log/log.h"
#include "net/dns/event/DnsMessageEventFormatter.h"
#include "net/net.h"

using ns::app::Settings;
using ns::event::queue::EventQueue;
using ns::net::dns::DnsMessageEventFormatter;
using ns::worker::forwarder::Forwarder;
using ns::worker::listener::Listener;
using ns::worker::logger::BackgroundLogger;

const char* config_filename = nullptr;
bool force_stdout = false;
std::condition_variable stop_cv;
std::mutex stop_mtx;

void onSignal(int sig) {
  installSignals();
  if (sig == SIGINT || sig == SIGTERM) {
    stop_cv.notify_all();
    return;
  }
  std::fprintf(stderr, "Unhandled signal %d received\n", sig);
}

void installSignals() {
  std::signal(SIGTERM, onSignal);
  std::signal(SIGINT, onSignal);
}

std::string getBasename(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash);
}

void getHostname(ns::encoding::Bytes& out) {
  std::array<char, 65> name{};  // 64 is the most that Linux gives a host name, hostname(7)
  if (gethostname(name.data(), name.size()) != 0) {
    throw ns::error::UnknownError("gethostname() failed: " + ns::error::getMessage(errno));
  }
  name.back() = '\0';
  out.clear();
  ns::encoding::data::formatChars(out, name.data());
}

namespace {

// Listeners are never destroyed: receivers that were stopped keep their connections open until the process ends. Kept
// reachable here, so that leak checkers tell them from a leak.
std::vector<Listener*>& immortalListeners() {
  static auto* const listeners = new std::vector<Listener*>;
  return *listeners;
}

// The objects of the running daemon, each of which may refer to those above it.
class Daemon {
 public:
  explicit Daemon(const Settings& settings) : formatter(settings.format), queue(settings.queue) {
    std::vector<std::unique_ptr<Forwarder>> made;
    for (const auto& config : settings.forwarders.forwarders) {
      made.push_back(std::make_unique<Forwarder>(config, ns::worker::forwarder::ForwarderContext{&queue, &formatter}));
    }
    for (const auto& config : settings.listeners.listeners) {
      listeners.push_back(new Listener(config, ns::worker::listener::ListenerContext{&queue}));
    }
    for (auto& forwarder : made) forwarders.push_back(forwarder.get());
    logger = std::make_unique<BackgroundLogger>(
        settings.logger, ns::worker::logger::BackgroundLoggerContext{listeners, &queue, forwarders});
    for (auto& forwarder : made) (void)forwarder.release();  // the logger deletes them
  }

  void recover() { queue.recover(); }
  void persist() { queue.persist(); }

  // Consumers before producers.
  void start() {
    for (Forwarder* forwarder : forwarders) forwarder->startProcessLoopThread();
    for (Listener* listener : listeners) listener->startProcessLoopThread();
    logger->startProcessLoopThread();
  }

  // Producers before consumers; every worker is asked before the first is joined, so that they wind down side by side.
  // Returns false, with nobody joined, if they did not all end in time.
  bool stop(std::chrono::seconds most) {
    for (Listener* listener : listeners) listener->stopProcessLoopThread();
    for (Forwarder* forwarder : forwarders) forwarder->stopProcessLoopThread();
    logger->stopProcessLoopThread();
    if (!waitForWorkers(most)) return false;
    for (Listener* listener : listeners) listener->joinProcessLoopThread();
    for (Forwarder* forwarder : forwarders) forwarder->joinProcessLoopThread();
    logger->joinProcessLoopThread();
    return true;
  }

  // Who has not ended, by the names that the log has for them.
  std::vector<std::string> getBusyWorkers() {
    std::vector<std::string> busy;
    const auto add = [&](auto* worker, const char* kind) {
      if (!worker->hasEnded()) busy.push_back(kind + ("[" + std::to_string(worker->getId()) + "]"));
    };
    for (Listener* listener : listeners) add(listener, "Listener");
    for (Forwarder* forwarder : forwarders) add(forwarder, "Forwarder");
    if (!logger->hasEnded()) busy.emplace_back("BackgroundLogger");
    return busy;
  }

 private:
  // A worker that looked at its stop flag just before the flag was set, and then began to wait, has missed the wake-up
  // of the stop: it gets more of them.
  bool waitForWorkers(std::chrono::seconds most) {
    const auto end = std::chrono::steady_clock::now() + most;
    while (!getBusyWorkers().empty()) {
      if (std::chrono::steady_clock::now() >= end) return false;
      queue.signal();
      logger->stopProcessLoopThread();
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
  }

  DnsMessageEventFormatter formatter;
  EventQueue queue;
  std::vector<Forwarder*> forwarders;  // owned by the logger
  std::vector<Listener*>& listeners = immortalListeners();
  std::unique_ptr<BackgroundLogger> logger;
};

void logFailure(const std::exception& e) { ns::log::error(std::string("Run failed: ") + e.what()); }

// Any wake-up begins the stop, a spurious one too. A signal that comes before the wait is lost, and the next one
// counts.
void waitForSignal() {
  std::unique_lock lock(stop_mtx);
  stop_cv.wait(lock);
}

// The longest that workers take to end when they are asked to: what each is in the middle of ends within its own
// time-out, and a forwarder then has a time-out each for STOP, for the answer to it and for the end of TLS. A listener
// looks up every three seconds. Stated in wirelark(1) and in the unit.
std::chrono::seconds longestStop(const Settings& settings) {
  constexpr uint64_t Poll = 3, Spare = 5;
  uint64_t longest = 0;
  for (const auto& [id, socket, tls, fstrm] : settings.listeners.listeners) {
    longest = std::max<uint64_t>(longest, Poll + std::max(socket.readTimeout, socket.writeTimeout));
  }
  for (const auto& config : settings.forwarders.forwarders) {
    const auto& socket = config.socket;
    const uint64_t busy = std::max({socket.connectTimeout, socket.readTimeout, socket.writeTimeout});
    longest = std::max(longest, busy + socket.readTimeout + uint64_t{2} * socket.writeTimeout);
  }
  return std::chrono::seconds(longest + Spare);
}

void finish(Daemon& daemon) {
  if (!force_stdout) daemon.persist();
  ns::log::info("Stopped");
}

// A worker that hangs in the system, as in the look-up of a name, must not cost the events of all: the queue is saved
// beside it, and the process ends without taking down what that worker may still use.
[[noreturn]] void finishBeside(Daemon& daemon, std::chrono::seconds waited) {
  for (const std::string& worker : daemon.getBusyWorkers()) {
    ns::log::error("Stop: " + worker + " did not end in " + std::to_string(waited.count()) +
                   " seconds and is left behind");
  }
  try {
    finish(daemon);
  } catch (const std::exception& e) { logFailure(e); }
  std::_Exit(EXIT_SUCCESS);  // without a flush: a thread that hangs may hold standard output
}

// Threads that did start would go on using a daemon that is being taken down, so a start that fails half-way ends the
// process at once, with the line and the status of every failed run.
void startOrExit(Daemon& daemon) {
  try {
    daemon.start();
  } catch (const std::exception& e) {
    logFailure(e);
    std::fflush(nullptr);
    std::_Exit(EXIT_SUCCESS);
  }
}

void runDaemon() {
  ns::log::info("Started");
  const std::string directory = getBasename(config_filename);
  ns::log::info("Changing directory to " + directory);
  (void)!chdir(directory.c_str());  // one that can't be entered leaves relative paths where they were
  ns::net::init();
  ns::log::info(std::string("Reading config from ") + config_filename);
  ns::app::config::ConfigFile file;
  file.read(config_filename);
  const Settings settings = ns::app::makeSettings(file);

  Daemon daemon(settings);
  if (!force_stdout) daemon.recover();
  startOrExit(daemon);
  waitForSignal();
  const std::chrono::seconds most = longestStop(settings);
  if (!daemon.stop(most)) finishBeside(daemon, most);
  finish(daemon);
}

}  // namespace

void run() {
  installSignals();
  try {
    runDaemon();
  } catch (const std::exception& e) { logFailure(e); }
}
