#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "tools/Stream.h"

namespace bench {

using Clock = std::chrono::steady_clock;

/// The target that events are forwarded to: takes any number of connections and counts what comes over all of them.
class Collector {
 public:
  enum class Kind { Lines, Frames };

  /// Listens at once. A server `context` is for a TLS endpoint.
  Collector(const Endpoint& endpoint, Kind kind, SSL_CTX* context);

  uint64_t received() const;
  /// Waits until `count` events have come in all, but no longer than `most`. False if they have not.
  bool wait(uint64_t count, Clock::duration most);
  /// When the read returned that brought event `count`, for the last `count` that was given to mark().
  void mark(uint64_t count);
  Clock::time_point marked() const;

 private:
  void accept(int listening);
  void serve(int fd);
  void add(size_t events);

  const Kind kind;
  SSL_CTX* const context;
  mutable std::mutex mutex;  // guards all below
  std::condition_variable changed;
  uint64_t events = 0;
  uint64_t awaited = 0;  // the waiter is left alone until so many are here: there is no more than one
  uint64_t markCount = 0;
  Clock::time_point markTime;
};

}  // namespace bench
