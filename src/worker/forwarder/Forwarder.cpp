#include "worker/forwarder/Forwarder.h"

#include <cstdio>
#include <utility>

#include "encoding/data.h"
#include "encoding/hex.h"
#include "log/log.h"
#include "worker/processLoop.h"

namespace ns::worker::forwarder {

static constexpr int ReconnectSeconds = 10;

// What the log calls this worker.
static std::string prefix(uint32_t id) { return nameOf("Forwarder", id) + ": "; }

static ForwarderBatch::Form formOf(const RecordFormatter& formatter) {
  return formatter.isFormatDnstap() ? ForwarderBatch::Form::Frames : ForwarderBatch::Form::Lines;
}

Forwarder::Forwarder(ForwarderConfig forwarderConfig, ForwarderContext context)
    : config(std::move(forwarderConfig)),
      queue(context.queue),
      tellsSkipped(context.formatter->getConfig().completeEvents),
      formatter(context.formatter->getConfig(), metrics.dnstapErrors, metrics.eventsSkipped),
      socket(config.id, config.socket),
      tlsSocket(config.id, false, config.tls, socket),
      fstrmSocket(config.id, config.fstrm, socket, tlsSocket),
      current(formOf(formatter)),
      previous(formOf(formatter)) {}

Forwarder::~Forwarder() {
  try {
    tlsSocket.close();
  } catch (const std::exception&) {
    tlsSocket.reset();  // the peer has gone without our close notification
  }
  socket.close();
}

void Forwarder::getMetrics(metrics::ForwarderMetrics& out) {
  out.connected = socket.isConnected();
  const auto report = [](std::atomic<uint64_t>& reported, std::atomic<uint64_t>& last, uint64_t now) {
    reported = now - last;
    last = now;
  };
  report(out.bytesSent, lastMetrics.bytesSent, metrics.bytesSent);
  report(out.eventsSent, lastMetrics.eventsSent, metrics.eventsSent);
  report(out.connects, lastMetrics.connects, metrics.connects);
  report(out.dnstapErrors, lastMetrics.dnstapErrors, metrics.dnstapErrors);
  report(out.eventsSkipped, lastMetrics.eventsSkipped, metrics.eventsSkipped);
  out.tellsSkipped = tellsSkipped;
}

void Forwarder::startProcessLoopThread() {
  if (thread.isStarted()) return;
  stopRequested = false;
  thread.start([this] { Forwarder_processLoop(this); });
}

void Forwarder::stopProcessLoopThread() {
  if (!thread.isStarted()) return;
  stopRequested = true;
  socket.limitWaits();
  queue->signal();
}

void Forwarder::joinProcessLoopThread() {
  thread.joinNudging([this] { queue->signal(); });
}

void Forwarder::processLoop() {
  current.clear();
  previous.clear();
  streamOpen = false;
  log::info(prefix(config.id) + "Configured target is " + config.socket.host + ":" +
            std::to_string(config.socket.port));
  while (!stopRequested) {
    try {
      if (!socket.isConnected() && !config.forceStdout) openStream();
      forwardUntilStopped();
      closeStream();
    } catch (const std::exception& e) { recover(e.what()); }
  }
}

void Forwarder::openStream() {
  ++metrics.connects;
  socket.connect();
  if (config.tls.enabled) tlsSocket.connect();
  if (formatter.isFormatDnstap()) fstrmSocket.sendstart();
  streamOpen = true;
}

void Forwarder::forwardUntilStopped() {
  while (!stopRequested) {
    fill();
    if (current.getEventCount() != 0) {
      send();
    } else {
      waitForEvents();
    }
  }
}

// There is nothing to send, also when a whole batch was skipped and more is queued: the next wake-up takes that on. But
// a wake-up for each of the events that came together is due, and those that came while this thread was at work are
// gone: as long as some of them are left it goes on.
void Forwarder::waitForEvents() {
  const bool tookSome = current.hasTaken();
  current.clear();
  sendMemory.clear(sendBuffer);
  socket.push();  // another forwarder may have taken what the last batch was held back for
  if (!tookSome || !queue->owesWakeUp()) queue->wait();
}

void Forwarder::closeStream() {
  if (config.forceStdout) return;
  if (formatter.isFormatDnstap()) fstrmSocket.sendstop();
  socket.limitWaits();
  if (config.tls.enabled) tlsSocket.close();
  socket.dropUnread();  // a TLS 1.3 server has sent session tickets, which a sender of text never reads
  socket.close();
}

void Forwarder::recover(const std::string& failure) {
  log::error(prefix(config.id) + "Connection error: " + failure);
  if (!config.forceStdout) socket.close();
  requeueData();
  if (config.tls.enabled) tlsSocket.reset();
  if (!streamOpen) pauseUnlessStopped(ReconnectSeconds, stopRequested);
  streamOpen = false;
}

void Forwarder::fill() {
  if (current.getEventCount() != 0) return;
  if (sendBuffer.size() > ForwarderBatch::MaxBytes) sendBuffer.clear();
  if (formatter.isFormatDnstap()) {
    current.takeFrames(*queue, config.batchSize);
    const encoding::Bytes& frames = current.getFrames();
    if (!sendBuffer.empty()) {
      encoding::data::formatBytes(sendBuffer, frames.data(), static_cast<uint32_t>(frames.size()));
    }
  } else {
    current.takeLines(*queue, config.batchSize, formatter, sendBuffer);
  }
}

// Frames are sent from where the queue put them, unless what an earlier failure left goes first.
const encoding::Bytes& Forwarder::toSend() const {
  return formatter.isFormatDnstap() && sendBuffer.empty() ? current.getFrames() : sendBuffer;
}

void Forwarder::send() {
  const encoding::Bytes& bytes = toSend();
  const auto size = static_cast<uint32_t>(bytes.size());
  if (config.forceStdout) {
    writeToStdout(bytes);
  } else {
    // With more queued the next batch follows at once, and the kernel may fill up its packets. See push().
    fstrmSocket.sendblock(bytes.data(), size, !queue->empty());
  }
  metrics.bytesSent += size;
  metrics.eventsSent += current.getEventCount();
  std::swap(current, previous);
  current.clear();
  sendMemory.clear(sendBuffer);
}

// Not flushed by hand: a terminal shows each line as it comes, a pipe takes them in blocks.
void Forwarder::writeToStdout(const encoding::Bytes& bytes) {
  if (formatter.isFormatDnstap()) {
    encoding::Bytes hex;
    encoding::hex::formatHex(hex, bytes.data(), static_cast<uint32_t>(bytes.size()));
    encoding::data::formatChar(hex, '\n');
    std::fwrite(hex.data(), 1, hex.size(), stdout);
  } else {
    std::fwrite(bytes.data(), 1, bytes.size(), stdout);
  }
}

void Forwarder::requeueData() {
  if (config.recoverCurrent && config.recoverPrevious) requeue(previous, "previous");
  previous.clear();
  if (config.recoverCurrent) requeue(current, "current");
  if (formatter.isFormatDnstap() && sendBuffer.empty()) current.moveFrames(sendBuffer);
  current.clear();
  // Not the send buffer: what a failed send left goes out in front of the next batch, on the next connection. It is the
  // last chance of events that `drop` abandons, and collectors behind the other modes drop duplicates already.
}

void Forwarder::requeue(const ForwarderBatch& batch, const char* which) {
  if (batch.getEventCount() == 0) return;
  log::info(prefix(config.id) + "Returning " + std::to_string(batch.getEventCount()) + " " + which +
            " events back to the event queue");
  batch.returnTo(*queue);
}

void Forwarder_processLoop(Forwarder* forwarder) {
  runProcessLoop(nameOf("Forwarder", forwarder->getId()), [forwarder] { forwarder->processLoop(); });
}

}  // namespace ns::worker::forwarder
