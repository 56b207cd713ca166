#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "encoding/Bytes.h"
#include "encoding/dnstap/dnstap.h"
#include "event/queue/EventQueue.h"
#include "metrics/ListenerMetrics.h"
#include "net/Socket.h"
#include "net/tls/TlsContext.h"
#include "worker/WorkerThread.h"
#include "worker/listener/ListenerConfig.h"
#include "worker/receiver/Receiver.h"

namespace ns::worker::listener {

/// What a listener needs of those around it; borrowed.
struct ListenerContext {
  event::queue::EventQueue* queue = nullptr;
};

/// The worker of one listening socket. Accepts connections up to `max-connections`, starts a Receiver on a thread of
/// its own for each, and outlives any failure of the listening socket by opening it again about 3 seconds later.
class Listener {
 public:
  /// Opens nothing and starts nothing.
  Listener(ListenerConfig config, ListenerContext context);
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  // Main thread. Start does nothing while a thread exists; stop only asks, the receivers first; join waits for the
  // receivers that are left, in the order of their ids, and then for the listener's own thread.
  void startProcessLoopThread();
  void stopProcessLoopThread();
  void joinProcessLoopThread();
  /// Whether a join would find all threads at their end, those of the receivers too.
  bool hasEnded();

  /// The worker's own thread: listen, accept, hand over to a receiver, until a stop is asked for.
  void processLoop();

  /// Destroys the receiver `id`, whose connection has ended; on that receiver's thread. Does nothing for an unknown id,
  /// and nothing once the receivers are being joined.
  void deregister(uint32_t id);

  /// Fills `out` with what was counted since the last call, the gauges, and a record for each live receiver.
  /// One reader only. Throws SocketError if a connection closes while its peer is asked for.
  void getMetrics(metrics::ListenerMetrics& out);

  /// Encodes `event` and appends it to the queue, for sources of events other than connections.
  void processDnstapEvent(encoding::dnstap::DnstapEvent& event);

  uint32_t getId() const { return config.id; }
  bool getIsEtw() const { return false; }
  bool getIsUnix() const { return config.socket.useUnix; }
  bool getUseIpv6() const { return config.socket.useIpv6; }
  uint16_t getPort() const { return config.socket.port; }
  const std::string& getHost() const { return config.socket.host; }
  const std::string& getPath() const { return config.socket.path; }

 private:
  void acceptUntilStopped();
  void acceptPending();
  bool isFull();
  void handle(std::unique_ptr<net::Socket> client);

  const ListenerConfig config;
  const ListenerContext context;
  net::tls::SharedTlsContext tlsContext;                              // of all connections, if TLS is configured
  std::atomic<bool> stopRequested{false};                             // the main thread writes, the listener polls
  std::unique_ptr<net::Socket> listenSocket;                          // made and used by the listener's thread
  encoding::Bytes encodeBuffer;                                       // of processDnstapEvent
  std::mutex receiversMutex;                                          // guards `receivers` and `joining`
  std::map<uint32_t, std::unique_ptr<receiver::Receiver>> receivers;  // the live ones, by id
  bool joining = false;                  // set for good by the first join: receivers now stay in the map
  metrics::ListenerMetrics metrics;      // running counters: written under receiversMutex, read without
  metrics::ListenerMetrics lastMetrics;  // as they stood at the last getMetrics; the logger's alone
  WorkerThread thread;                   // last, as it uses all of the above
};

/// The body of a listener's thread: runs processLoop and logs its begin and its end.
void Listener_processLoop(Listener* listener);

/// The doneCallback of every receiver; `listener` is the Listener.
void Listener_receiverDoneCallback(receiver::Receiver* receiver, void* listener);

}  // namespace ns::worker::listener
