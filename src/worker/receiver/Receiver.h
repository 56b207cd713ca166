#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "encoding/Bytes.h"
#include "error/UnknownError.h"
#include "event/queue/EventQueue.h"
#include "metrics/ReceiverMetrics.h"
#include "net/Socket.h"
#include "net/fstrm/FstrmSocket.h"
#include "net/tls/TlsSocket.h"
#include "worker/WorkerThread.h"
#include "worker/receiver/ReceiverConfig.h"

namespace ns::worker::receiver {

/// The peer broke the order of Frame Streams frames, or was silent for too long.
class ReceiverError : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

class Receiver;

/// What a receiver needs of those around it; all borrowed.
struct ReceiverContext {
  void (*doneCallback)(Receiver*, void*) = nullptr;  // on the receiver's thread, when its connection ended by itself
  void* doneArg = nullptr;                           // handed to doneCallback
  event::queue::EventQueue* queue = nullptr;
  net::tls::SharedTlsContext* tlsContext = nullptr;  // of the listener; without one the connection makes its own
};

/// The worker of one inbound connection: does the receiving side of the Frame Streams handshake, then puts each data
/// frame's payload, undecoded, on the event queue, until the peer stops, the connection fails or a stop is asked for.
class Receiver {
 public:
  /// Takes `socket`, an accepted connection, over. Does no I/O.
  Receiver(ReceiverConfig config, ReceiverContext context, std::unique_ptr<net::Socket> socket);
  /// Closes the connection. May run on the receiver's own thread, out of its doneCallback.
  ~Receiver();
  Receiver(const Receiver&) = delete;
  Receiver& operator=(const Receiver&) = delete;

  uint32_t getId() const { return config.id; }
  /// Throws SocketError for a connection that has just closed.
  net::RemoteEndpoint getRemoteEndpoint() const;
  /// Fills the two counters of `out` with what was counted since the last call. One reader only.
  void getMetrics(metrics::ReceiverMetrics& out);

  // Controlling thread. Start does nothing while a thread exists; stop only asks: a wait in progress is sat out first.
  void startProcessLoopThread();
  void stopProcessLoopThread();
  void joinProcessLoopThread();
  /// Whether a join would find the thread at its end.
  bool hasEnded() const { return thread.hasEnded(); }

  /// The connection's whole life, on the receiver's own thread. Unless a stop was asked for, its last act is the
  /// doneCallback, which may have destroyed this object when this function returns.
  void processLoop();

 private:
  void serve(const net::RemoteEndpoint& endpoint);
  bool openStream();
  void receiveFrames(bool bidirectional);
  bool waitForFrames(uint32_t& retries);
  bool queueWholeFrames(bool mayRead);
  bool receiveFrame(encoding::Bytes& frame, bool bidirectional);
  void count(uint64_t events, uint64_t bytes);
  void closeTls() noexcept;

  const ReceiverConfig config;
  const ReceiverContext context;
  const std::unique_ptr<net::Socket> socket;  // the layers below refer to it, so it is declared above them
  net::tls::TlsSocket tlsSocket;              // passes nothing through unless TLS is configured
  net::fstrm::FstrmSocket fstrmSocket;
  WorkerThread thread;
  std::atomic<bool> stopRequested{false};  // the controlling thread writes, the receiver polls
  metrics::ReceiverMetrics metrics;        // running counters: the receiver writes, the background logger reads
  metrics::ReceiverMetrics lastMetrics;    // as they stood at the last getMetrics; the background logger's alone
};

/// The body of a receiver's thread: runs processLoop and logs its begin and its end.
void Receiver_processLoop(Receiver* receiver);

}  // namespace ns::worker::receiver
