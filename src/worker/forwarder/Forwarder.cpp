#include "worker/forwarder/Forwarder.h"

#include <chrono>
#include <cstdio>
#include <thread>
#include <utility>

#include "encoding/data.h"
#include "encoding/hex.h"
#include "log/log.h"

namespace ns::worker::forwarder {

static constexpr int ReconnectSeconds = 10;

// A batch ends early at this many bytes, and what failed sends have left in the send buffer is given up beyond it:
// sizes stay far inside 32 bits, and a target that accepts and resets for days does not make the buffer grow for days.
static constexpr size_t MaxSendSize = 128U << 20;

// Text is made of about this many bytes of events between two looks at the size of the send buffer, as one packet can
// turn into tens of megabytes: some hundred real events, so that the queue's lock costs little, or one large one.
static constexpr size_t FormatSize = 16384;

static std::string prefix(uint32_t id) { return "Forwarder[" + std::to_string(id) + "]: "; }

Forwarder::Forwarder(ForwarderConfig forwarderConfig, ForwarderContext context)
    : config(std::move(forwarderConfig)),
      queue(context.queue),
      formatter(context.formatter->getConfig()),
      socket(config.id, config.socket),
      tlsSocket(config.id, false, config.tls, socket),
      fstrmSocket(config.id, config.fstrm, socket, tlsSocket) {}

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
    if (current.eventCount != 0) {
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
  const bool tookSome = !current.eventLengths.empty();
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
  if (!streamOpen) pauseBeforeReconnecting();
  streamOpen = false;
}

void Forwarder::pauseBeforeReconnecting() {
  for (int i = 0; i < ReconnectSeconds && !stopRequested; ++i) std::this_thread::sleep_for(std::chrono::seconds(1));
}

void Forwarder::fill() {
  if (current.eventCount != 0) return;
  if (sendBuffer.size() > MaxSendSize) sendBuffer.clear();
  if (formatter.isFormatDnstap()) {
    wrapEvents();
  } else {
    formatEvents();
  }
}

// For a target of dnstap: each record goes into a data frame as it came. The frames are sent from where the queue put
// them, unless what an earlier failure left goes first.
void Forwarder::wrapEvents() {
  queue->extractFrames(current.events, current.eventLengths, config.batchSize, MaxSendSize);
  const auto size = static_cast<uint32_t>(current.events.size());
  if (!sendBuffer.empty()) encoding::data::formatBytes(sendBuffer, current.events.data(), size);
  current.eventCount = static_cast<uint32_t>(current.eventLengths.size());
  current.sendSize = static_cast<uint32_t>(toSend().size());
}

const encoding::Bytes& Forwarder::toSend() const {
  return formatter.isFormatDnstap() && sendBuffer.empty() ? current.events : sendBuffer;
}

// For a target of text: each record becomes a line, or is skipped, or is counted as broken.
void Forwarder::formatEvents() {
  std::vector<uint32_t>& lengths = current.eventLengths;
  while (lengths.size() < config.batchSize && sendBuffer.size() <= MaxSendSize) {
    const size_t first = lengths.size();
    size_t offset = current.events.size();
    if (queue->extract(current.events, lengths, config.batchSize - first, FormatSize) == 0) break;
    for (size_t i = first; i < lengths.size(); ++i) {
      const uint32_t length = lengths[i];
      if (formatEvent(current.events.data() + offset, length)) {
        ++current.eventCount;
      } else {
        lengths[i] = 0;
      }
      offset += length;
    }
  }
  current.sendSize = static_cast<uint32_t>(sendBuffer.size());
}

// Appends the record's line to the send buffer; returns false if it has none.
bool Forwarder::formatEvent(const unsigned char* record, uint32_t length) {
  using net::dns::Extraction;
  try {
    if (encoding::dnstap::tryDecodeDnstapEvent(dnstapView, record, length)) {
      const Extraction extraction = net::dns::tryExtractDnsMessageEvent(messageEvent, dnstapView);
      if (extraction == Extraction::Event) return formatter.format(sendBuffer, messageEvent);
      if (extraction == Extraction::Skipped) return false;
    }
  } catch (const std::exception&) {  // memory; the line is taken back whole
  }
  ++metrics.dnstapErrors;
  return false;
}

void Forwarder::send() {
  const encoding::Bytes& bytes = toSend();
  const auto size = static_cast<uint32_t>(bytes.size());
  if (config.forceStdout) {
    writeToStdout(bytes);
  } else if (config.tls.enabled) {
    tlsSocket.sendblock(bytes.data(), size);
  } else {
    // With more queued the next batch follows at once, and the kernel may fill up its packets. See push().
    socket.sendblock(bytes.data(), size, !queue->empty());
  }
  metrics.bytesSent += current.sendSize;
  metrics.eventsSent += current.eventCount;
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
  if (formatter.isFormatDnstap() && sendBuffer.empty()) sendBuffer.swap(current.events);
  current.clear();
  // Not the send buffer: what a failed send left goes out in front of the next batch, on the next connection. It is the
  // last chance of events that `drop` abandons, and collectors behind the other modes drop duplicates already.
}

void Forwarder::requeue(const ForwarderBatch& batch, const char* which) {
  if (batch.eventCount == 0) return;
  log::info(prefix(config.id) + "Returning " + std::to_string(batch.eventCount) + " " + which +
            " events back to the event queue");
  // Skipped events are passed over without stepping over their bytes, so that events behind one come back shifted.
  // Known and kept: what a recovery puts back is the same in every release.
  const size_t header = formatter.isFormatDnstap() ? sizeof(uint32_t) : 0;
  const unsigned char* record = batch.events.data();
  for (const uint32_t length : batch.eventLengths) {
    if (length == 0) continue;
    queue->append(record + header, length);
    record += header + length;
  }
}

void Forwarder_processLoop(Forwarder* forwarder) {
  const std::string who = prefix(forwarder->getId());
  try {
    log::info(who + "Starting process loop");
    forwarder->processLoop();
    log::info(who + "Finished process loop");
  } catch (const std::exception& e) { log::error(who + "Process loop failed: " + e.what()); }
}

}  // namespace ns::worker::forwarder
