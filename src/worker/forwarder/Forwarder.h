#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "encoding/Bytes.h"
#include "event/queue/EventQueue.h"
#include "metrics/ForwarderMetrics.h"
#include "net/Socket.h"
#include "net/dns/event/DnsMessageEventFormatter.h"
#include "net/fstrm/FstrmSocket.h"
#include "net/tls/TlsSocket.h"
#include "worker/WorkerThread.h"
#include "worker/forwarder/ForwarderBatch.h"
#include "worker/forwarder/ForwarderConfig.h"
#include "worker/forwarder/RecordFormatter.h"

namespace ns::worker::forwarder {

/// What a forwarder needs of those around it; borrowed. The formatter gives its settings only: a forwarder formats with
/// one of its own, since a formatter decodes into a scratch message.
struct ForwarderContext {
  event::queue::EventQueue* queue = nullptr;
  const net::dns::DnsMessageEventFormatter* formatter = nullptr;
};

/// The worker of one target: takes events from the queue in batches, formats them and sends each batch in one call.
/// Keeps its connection up, and returns batches to the queue by its `recovery` setting when a connection breaks.
class Forwarder {
 public:
  /// Opens nothing and starts nothing.
  Forwarder(ForwarderConfig config, ForwarderContext context);
  /// Closes the connection, if there is one.
  ~Forwarder();
  Forwarder(const Forwarder&) = delete;
  Forwarder& operator=(const Forwarder&) = delete;

  uint32_t getId() const { return config.id; }
  const std::string& getHost() const { return config.socket.host; }
  uint16_t getPort() const { return config.socket.port; }
  bool getUseIpv6() const { return config.socket.useIpv6; }
  /// Fills `out` with what was counted since the last call and the state of the connection. One reader only.
  void getMetrics(metrics::ForwarderMetrics& out);

  // Main thread. Start does nothing while a thread exists; stop only asks: a wait on the network is sat out first.
  void startProcessLoopThread();
  void stopProcessLoopThread();
  void joinProcessLoopThread();
  /// Whether a join would find the thread at its end.
  bool hasEnded() const { return thread.hasEnded(); }

  /// The worker's own thread: connect, fill a batch, send it, until a stop is asked for.
  void processLoop();

  /// Puts the previous and the current batch back on the queue, as the recovery mode has it, and empties both.
  /// Throws QueueError if the queue can't take an event.
  void requeueData();

 private:
  void openStream();
  void forwardUntilStopped();
  void waitForEvents();
  void closeStream();
  void recover(const std::string& failure);

  void fill();
  const encoding::Bytes& toSend() const;
  void send();
  void writeToStdout(const encoding::Bytes& bytes);
  void requeue(const ForwarderBatch& batch, const char* which);

  const ForwarderConfig config;
  event::queue::EventQueue* const queue;  // borrowed from run(), outlives every worker
  const bool tellsSkipped;                // reports have `eventsSkipped`
  metrics::ForwarderMetrics metrics;      // running counters: the worker writes, the background logger reads
  metrics::ForwarderMetrics lastMetrics;  // as they stood at the last getMetrics; the background logger's alone
  RecordFormatter formatter;
  net::Socket socket;  // the layers below refer to it, so it is declared above them
  net::tls::TlsSocket tlsSocket;
  net::fstrm::FstrmSocket fstrmSocket;

  encoding::Bytes sendBuffer;  // the lines of the current batch, behind what earlier failures left
  LargeMemory sendMemory;      // of the send buffer
  ForwarderBatch current;      // being filled and sent
  ForwarderBatch previous;     // sent last
  bool streamOpen = false;     // the connection was fully up

  std::atomic<bool> stopRequested{false};  // the main thread writes, the worker polls
  WorkerThread thread;                     // last, as it uses all of the above
};

/// The body of a forwarder's thread: runs processLoop and logs its begin and its end.
void Forwarder_processLoop(Forwarder* forwarder);

}  // namespace ns::worker::forwarder
