#include "worker/receiver/Receiver.h"

#include <array>
#include <span>
#include <string>
#include <utility>

#include "log/log.h"
#include "worker/processLoop.h"

namespace ns::worker::receiver {

using net::fstrm::ControlType;

static std::string prefix(uint32_t id) { return nameOf("Receiver", id) + ": "; }

static std::string describe(const net::RemoteEndpoint& endpoint) {
  if (endpoint.isUnix) {
    return "uid=" + std::to_string(endpoint.uid) + " gid=" + std::to_string(endpoint.gid) +
           " pid=" + std::to_string(endpoint.pid);
  }
  return endpoint.address + ":" + std::to_string(endpoint.port);
}

[[noreturn, gnu::cold, gnu::noinline]] static void failControlType(uint32_t type) {
  throw ReceiverError("Unexpected control message type " + std::to_string(type));
}

Receiver::Receiver(ReceiverConfig receiverConfig, ReceiverContext receiverContext,
                   std::unique_ptr<net::Socket> accepted)
    : config(std::move(receiverConfig)),
      context(receiverContext),
      socket(std::move(accepted)),
      tlsSocket(config.id, true, config.tls, *socket, context.tlsContext),
      fstrmSocket(config.id, config.fstrm, *socket, tlsSocket) {}

Receiver::~Receiver() {
  closeTls();
  socket->close();
}

net::RemoteEndpoint Receiver::getRemoteEndpoint() const { return socket->getRemoteEndpoint(); }

void Receiver::getMetrics(metrics::ReceiverMetrics& out) {
  const uint64_t bytes = metrics.bytesReceived;
  const uint64_t events = metrics.eventsReceived;
  out.bytesReceived = bytes - lastMetrics.bytesReceived;
  out.eventsReceived = events - lastMetrics.eventsReceived;
  lastMetrics.bytesReceived = bytes;
  lastMetrics.eventsReceived = events;
}

void Receiver::startProcessLoopThread() {
  if (thread.isStarted()) return;
  stopRequested = false;
  thread.start([this] { Receiver_processLoop(this); });
}

void Receiver::stopProcessLoopThread() {
  if (!thread.isStarted()) return;
  stopRequested = true;
  socket->limitWaits();
}

void Receiver::joinProcessLoopThread() { thread.join(); }

void Receiver::processLoop() {
  const net::RemoteEndpoint endpoint = socket->getRemoteEndpoint();
  log::info(prefix(config.id) + "Handling connection from " + describe(endpoint));
  try {
    serve(endpoint);
  } catch (const std::exception& e) {
    log::error(prefix(config.id) + "Process loop failed: " + e.what());
    if (config.tls.enabled) closeTls();
    socket->close();
  }
  // A receiver that was asked to stop stays with its listener, which joins it; nobody may destroy it before that.
  if (stopRequested || context.doneCallback == nullptr) return;
  closeTls();  // here and not only in the destructor, which runs under the listener's lock: a peer may not read
  context.doneCallback(this, context.doneArg);
}

void Receiver::serve(const net::RemoteEndpoint& endpoint) {
  if (!endpoint.isUnix && tlsSocket.isActive()) tlsSocket.connect();
  receiveFrames(openStream());
}

// Returns whether the peer is bidirectional, which it shows by nothing but a READY in front of its START.
bool Receiver::openStream() {
  uint32_t type = fstrmSocket.readcontrol(true, true);
  const bool bidirectional = type == ControlType::Ready;
  if (bidirectional) {
    fstrmSocket.sendcontrol(ControlType::Accept, true);
    type = fstrmSocket.readcontrol(true, true);
  }
  if (type != ControlType::Start) failControlType(type);
  return bidirectional;
}

void Receiver::receiveFrames(bool bidirectional) {
  encoding::Bytes frame;  // for frames that do not come out of the read-ahead; reused
  uint32_t retries = config.socket.keepalive;
  while (!stopRequested) {
    if (!fstrmSocket.hasAhead() && !waitForFrames(retries)) continue;
    // What does not lie ahead whole is taken by itself: control frames, large frames, all of a TLS connection.
    if (!queueWholeFrames(true) && !receiveFrame(frame, bidirectional)) return;
    retries = config.socket.keepalive;
  }
  // Frames that this side has already taken off the socket would be lost with it, the queue's are saved.
  while (queueWholeFrames(false)) {}
}

// Waits until the peer has sent something and reads what is there. Returns false if there is nothing to handle yet.
bool Receiver::waitForFrames(uint32_t& retries) {
  if (fstrmSocket.readOnAhead()) return true;
  if (socket->wait(true, socket->getReadTimeout())) {
    if (retries == 0) throw ReceiverError("Connection timed out");
    --retries;
    fstrmSocket.releaseAhead();
    return false;
  }
  return tlsSocket.isActive() || fstrmSocket.readAhead();
}

// Puts the whole frames at hand on the queue, under one lock. Returns false if there was none.
bool Receiver::queueWholeFrames(bool mayRead) {
  std::array<std::span<const unsigned char>, 512> frames;  // a whole read-ahead of common frames
  const size_t whole = fstrmSocket.wholeFrames(frames, mayRead);
  if (whole == 0) return false;
  // A frame that the queue refuses ends the connection: it stays ahead, and receiveFrame gets the queue's own error.
  const size_t queued = context.queue->append(std::span(frames).first(whole));
  if (queued == 0) return false;
  count(queued, fstrmSocket.dropThrough(frames[queued - 1]));
  return true;
}

// Takes one frame of any kind. Returns false if it ended the stream.
bool Receiver::receiveFrame(encoding::Bytes& frame, bool bidirectional) {
  const uint32_t length = fstrmSocket.readlength(true);
  if (length == 0) {  // the escape in front of a control frame
    const uint32_t type = fstrmSocket.readcontrol(false, false);
    if (type != ControlType::Stop) failControlType(type);
    if (bidirectional) fstrmSocket.sendcontrol(ControlType::Finish, false);
    return false;
  }
  fstrmSocket.readblock(frame, length);
  context.queue->append(frame.data(), frame.size());
  count(1, uint64_t{length} + 4);
  return true;
}

void Receiver::count(uint64_t events, uint64_t bytes) {
  metrics.eventsReceived += events;
  metrics.bytesReceived += bytes;
}

// The close notification can't be sent to a peer that has gone, and that must cost no more than this connection.
void Receiver::closeTls() noexcept {
  try {
    tlsSocket.close();
  } catch (const std::exception&) { tlsSocket.reset(); }
}

void Receiver_processLoop(Receiver* receiver) {
  runProcessLoop(nameOf("Receiver", receiver->getId()), [receiver] { receiver->processLoop(); });
}

}  // namespace ns::worker::receiver
