#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "encoding/Bytes.h"
#include "event/queue/EventQueueConfig.h"
#include "event/queue/QueueError.h"
#include "metrics/EventQueueMetrics.h"

namespace ns::event::queue {

/// The one buffer between receivers and forwarders: a ring of bytes of a fixed size that holds whole messages, each
/// behind a 24-bit length in network order. It never looks into a message. A producer is never blocked or refused for
/// lack of room: the oldest messages go, whole and without a word but in `eventsDropped`, as far as the new one needs.
/// Any number of threads may append, extract and wait at once.
class EventQueue {
 public:
  /// The most bytes of one message, whatever the size of the ring.
  static constexpr size_t MaxMessage = 0xffffff;

  /// Allocates the whole ring. Throws QueueError if there is no memory for it.
  explicit EventQueue(EventQueueConfig config);
  EventQueue(const EventQueue&) = delete;
  EventQueue& operator=(const EventQueue&) = delete;

  /// Stores one message, which may be empty, and wakes one waiter. Throws QueueError, with the ring untouched, for a
  /// message that is larger than the ring or than MaxMessage.
  void append(const unsigned char* data, size_t length);

  /// Stores messages in order, as append() would one by one but with the lock taken once. Stops before the first one
  /// that append() would refuse. Returns how many were stored; wakes a waiter for one, all waiters for more.
  size_t append(std::span<const std::span<const unsigned char>> messages);

  /// Takes the oldest message and adds it behind what `out` holds. Leaves `out` as it is if the queue is empty, and so
  /// it does for an empty message: a caller cannot tell the two apart.
  void extract(encoding::Bytes& out);

  /// Takes up to `most` messages, oldest first, with the lock taken once, but none once they have come to `mostBytes`:
  /// their bytes go back to back behind what `out` holds, their lengths behind what `lengths` holds. An empty message
  /// is taken too, but as it reads as an empty queue it gets no length and ends the call. Returns how many lengths were
  /// added.
  size_t extract(encoding::Bytes& out, std::vector<uint32_t>& lengths, size_t most, size_t mostBytes = SIZE_MAX);

  /// As the extract() above, but each message comes behind its length, as 32 bits in network order: the data frames of
  /// Frame Streams. `mostBytes` counts those too.
  size_t extractFrames(encoding::Bytes& out, std::vector<uint32_t>& lengths, size_t most, size_t mostBytes = SIZE_MAX);

  /// Whether there is nothing to extract, at a glance and without the lock.
  bool empty() const noexcept { return metrics.eventsQueued == 0; }

  /// Blocks until the next append() or signal(), or for no reason at all. Wakes that came before the call are not
  /// remembered, whatever the queue holds: extract until nothing comes before waiting.
  void wait();

  /// Whether messages are left of those that one append() stored together, or in front of them. They came with one
  /// wake-up where one by one they would have had as many as they are: who took some of them goes on instead of
  /// waiting.
  bool owesWakeUp();

  /// Wakes all waiters.
  void signal() noexcept { condition.notify_all(); }

  /// Fills `out` with the messages queued now, and those dropped and taken since the call before. For one reader.
  void getMetrics(metrics::EventQueueMetrics& out);

  /// Empties the ring and zeroes its counters, but not what getMetrics() remembers. Not for use beside other threads.
  void clear();

  /// Ring offsets of the oldest message and of the next byte to store.
  uint64_t getReadOffset();
  uint64_t getWriteOffset();

  /// Loads the messages of the queue file, if there is one, and removes the file. Throws QueueError for a file that is
  /// damaged in any way, which then stays where it is; the messages before the damage are in the queue. What else
  /// keeps the file from being looked for is thrown as file::FileError.
  void recover();

  /// Takes all messages up to the first empty one, and saves them to the queue file. Throws QueueError.
  void persist();

 private:
  friend struct EventQueueProbe;  // the tests' look at the ring itself

  struct FreeBuffer {
    void operator()(unsigned char* bytes) const noexcept { std::free(bytes); }
  };

  /// The bytes in front of each message: its length.
  static constexpr size_t PrefixSize = 3;

  bool canHold(size_t length) const noexcept;
  [[noreturn]] void refuse(size_t length) const;
  uint64_t used() const noexcept;
  uint64_t room(uint64_t offset) const noexcept { return config.size - offset; }
  uint64_t behind(uint64_t offset, uint64_t count) const noexcept;
  uint32_t lengthAt(uint64_t offset) const noexcept;

  // All of these need `mutex`.
  void moveReadToNextMessage() noexcept;
  void advanceRead(uint64_t count) noexcept;
  void store(const unsigned char* data, size_t length) noexcept;
  void storeBytes(const unsigned char* data, size_t length) noexcept;
  void storeInFront(std::span<const std::span<const unsigned char>> messages) noexcept;
  struct Taken;
  size_t take(encoding::Bytes& out, std::vector<uint32_t>& lengths, size_t most, size_t mostBytes, bool asFrames);
  void prefetch(uint64_t offset) const noexcept;
  void takeMessage(unsigned char* out, size_t length) noexcept;
  void subtractQueued(uint64_t count) noexcept;
  void countTaken(uint64_t count) noexcept;

  std::unique_ptr<unsigned char[], FreeBuffer> buffer;
  uint64_t readOffset = 0;   // of the oldest message's length
  uint64_t writeOffset = 0;  // of the next byte to store
  bool wrapped = false;      // the write side has passed the ring's end and the read side has not followed yet
  uint64_t behindBlock = 0;  // messages appended one by one since the last that were appended together
  std::mutex mutex;          // guards the five above
  std::mutex waitMutex;      // guards nothing; a waiter thus holds nothing that a producer needs
  std::condition_variable condition;
  const EventQueueConfig config;
  metrics::EventQueueMetrics metrics;      // since the start; changed with `mutex` held, read without
  metrics::EventQueueMetrics lastMetrics;  // `metrics` at the last getMetrics()
};

}  // namespace ns::event::queue
