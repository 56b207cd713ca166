#include "worker/listener/Listener.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "log/log.h"
#include "worker/processLoop.h"

namespace ns::worker::listener {

static constexpr uint32_t PollSeconds = 3;  // how long a stop may take to reach the listening socket
static constexpr int ReopenSeconds = 3;

// A stop serves the connections that were pending, at most as many as the kernel lets wait (net.core.somaxconn), and
// not those that keep coming.
static constexpr int MaxPending = 4096;

static std::string prefix(uint32_t id) { return nameOf("Listener", id) + ": "; }

Listener::Listener(ListenerConfig listenerConfig, ListenerContext listenerContext)
    : config(std::move(listenerConfig)), context(listenerContext), tlsContext(config.tls) {}

// No new connections while those that there are close, which under TLS may take a write time-out each.
Listener::~Listener() { listenSocket.reset(); }

void Listener::startProcessLoopThread() {
  if (thread.isStarted()) return;
  stopRequested = false;
  thread.start([this] { Listener_processLoop(this); });
}

void Listener::stopProcessLoopThread() {
  const std::lock_guard lock(receiversMutex);
  for (const auto& [id, receiver] : receivers) receiver->stopProcessLoopThread();
  if (thread.isStarted()) stopRequested = true;
}

// The receivers are joined without the mutex, which one that is just ending wants. From `joining` on none is destroyed
// by its own thread, so the pointers stay good, and a connection accepted meanwhile is found in a second round.
void Listener::joinProcessLoopThread() {
  const auto joinReceivers = [this] {
    std::vector<receiver::Receiver*> left;
    {
      const std::lock_guard lock(receiversMutex);
      joining = true;
      for (const auto& [id, receiver] : receivers) left.push_back(receiver.get());
    }
    for (receiver::Receiver* receiver : left) receiver->joinProcessLoopThread();
  };
  joinReceivers();
  thread.join();
  joinReceivers();
}

bool Listener::hasEnded() {
  if (!thread.hasEnded()) return false;
  const std::lock_guard lock(receiversMutex);
  return std::all_of(receivers.begin(), receivers.end(), [](const auto& entry) { return entry.second->hasEnded(); });
}

void Listener::processLoop() {
  log::info(prefix(config.id) +
            (config.socket.useUnix ? "Listening on path is " + config.socket.path
                                   : "Listening on " + config.socket.host + ":" + std::to_string(config.socket.port)));
  listenSocket = std::make_unique<net::Socket>(config.id, config.socket);
  while (!stopRequested) {
    try {
      listenSocket->listen();
      acceptUntilStopped();
      listenSocket->close();
    } catch (const std::exception& e) {
      // No brackets in this one line: it is documented so, and log watchers match it.
      log::error("Listener" + std::to_string(config.id) + ": Listen error: " + e.what());
      listenSocket->close();
      pauseUnlessStopped(ReopenSeconds, stopRequested);
    }
  }
}

void Listener::acceptUntilStopped() {
  while (!stopRequested) {
    if (!listenSocket->wait(true, PollSeconds)) acceptPending();
  }
}

void Listener::acceptPending() {
  const auto isTaken = [this](uint32_t id) {
    const std::lock_guard lock(receiversMutex);
    return receivers.count(id) != 0;
  };
  for (int late = 0; late < MaxPending; late += stopRequested ? 1 : 0) {
    std::unique_ptr<net::Socket> client = listenSocket->accept(isTaken);
    if (!client) return;
    handle(std::move(client));
  }
}

bool Listener::isFull() {
  const std::lock_guard lock(receiversMutex);
  return config.socket.maxConnections <= receivers.size();
}

// Only this thread adds receivers, so there is still room when the line is out, for which no lock is held: a log that
// is not read would keep receivers from ending and reports from being made.
void Listener::handle(std::unique_ptr<net::Socket> client) {
  if (isFull()) return;  // which closes the connection
  log::info(prefix(config.id) + "Handling connection");

  const std::lock_guard lock(receiversMutex);
  const uint32_t id = client->getId();
  auto made = std::make_unique<receiver::Receiver>(
      receiver::ReceiverConfig{id, config.socket, config.tls, config.fstrm},
      receiver::ReceiverContext{Listener_receiverDoneCallback, this, context.queue, &tlsContext}, std::move(client));
  receiver::Receiver& added = *(receivers[id] = std::move(made));
  try {
    added.startProcessLoopThread();
  } catch (...) {
    receivers.erase(id);  // without a thread it would hold its place and its descriptor for ever
    throw;
  }
  if (stopRequested) added.stopProcessLoopThread();  // the stop's sweep over the receivers may have missed it

  ++metrics.accepts;
  const uint64_t active = ++metrics.activeReceivers;
  if (active > metrics.peakReceivers) metrics.peakReceivers = active;
}

void Listener::deregister(uint32_t id) {
  const std::lock_guard lock(receiversMutex);
  if (joining || receivers.erase(id) == 0) return;
  --metrics.activeReceivers;
}

void Listener::getMetrics(metrics::ListenerMetrics& out) {
  const uint64_t accepts = metrics.accepts;
  out.accepts = accepts - lastMetrics.accepts;
  out.activeReceivers = metrics.activeReceivers.load();
  out.peakReceivers = metrics.peakReceivers.load();
  lastMetrics.accepts = accepts;

  out.isUnix = config.socket.useUnix;
  out.useIpv6 = config.socket.useIpv6;
  out.path = config.socket.path;
  out.host = config.socket.host;
  out.port = config.socket.port;

  const std::lock_guard lock(receiversMutex);
  out.receiverCount = static_cast<uint32_t>(receivers.size());
  size_t i = 0;
  for (const auto& [id, receiver] : receivers) {
    if (i == out.receivers.size()) out.receivers.push_back(std::make_unique<metrics::ReceiverMetrics>());
    metrics::ReceiverMetrics& record = *out.receivers[i++];
    const net::RemoteEndpoint peer = receiver->getRemoteEndpoint();
    record.id = id;
    record.isUnix = peer.isUnix;
    record.useIpv6 = peer.isIpv6;
    record.path = peer.path;
    record.host = peer.address;
    record.port = peer.port;
    record.uid = peer.uid;
    record.gid = peer.gid;
    record.pid = static_cast<uint32_t>(peer.pid);
    receiver->getMetrics(record);
  }
}

void Listener::processDnstapEvent(encoding::dnstap::DnstapEvent& event) {
  encodeBuffer.clear();
  encoding::dnstap::encodeDnstapEvent(encodeBuffer, event);
  context.queue->append(encodeBuffer.data(), encodeBuffer.size());
}

void Listener_processLoop(Listener* listener) {
  runProcessLoop(nameOf("Listener", listener->getId()), [listener] { listener->processLoop(); });
}

void Listener_receiverDoneCallback(receiver::Receiver* receiver, void* listener) {
  auto* const owner = static_cast<Listener*>(listener);
  const uint32_t id = receiver->getId();
  log::info(prefix(owner->getId()) + "Receiver[" + std::to_string(id) + "] Is finished");
  owner->deregister(id);
}

}  // namespace ns::worker::listener
