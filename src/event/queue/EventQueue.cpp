#include "event/queue/EventQueue.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "encoding/Tail.h"
#include "encoding/data.h"
#include "error/messages.h"

namespace ns::event::queue {

// Far enough that a cache line is there when its message is taken: some messages ahead.
static constexpr uint64_t PrefetchDistance = 1024;

[[noreturn, gnu::cold, gnu::noinline]] static void failAllocation(uint64_t size, int number) {
  throw QueueError("malloc(" + std::to_string(size) + ") failed: " + error::getMessage(number));
}

EventQueue::EventQueue(EventQueueConfig settings) : config(std::move(settings)) {
  buffer.reset(static_cast<unsigned char*>(std::calloc(config.size, 1)));  // zeroed pages come from the kernel as used
  if (!buffer) failAllocation(config.size, errno);
}

bool EventQueue::canHold(size_t length) const noexcept {
  return length <= MaxMessage && length + PrefixSize <= config.size;
}

[[gnu::cold, gnu::noinline]] void EventQueue::refuse(size_t length) const {
  const std::string what = "value length " + std::to_string(length) + " is larger than the ";
  if (config.size < PrefixSize || length > config.size - PrefixSize) {
    throw QueueError(what + "size of the queue " + std::to_string(config.size));
  }
  throw QueueError(what + "maximum allowed of " + std::to_string(MaxMessage));
}

uint64_t EventQueue::used() const noexcept {
  return wrapped ? config.size - readOffset + writeOffset : writeOffset - readOffset;
}

uint64_t EventQueue::behind(uint64_t offset, uint64_t count) const noexcept {
  const uint64_t next = offset + count;
  return next < config.size ? next : next - config.size;
}

uint32_t EventQueue::lengthAt(uint64_t offset) const noexcept {
  if (room(offset) >= PrefixSize) [[likely]]
    return encoding::data::loadUint24(buffer.get() + offset);
  const uint64_t second = behind(offset, 1);
  const std::array<unsigned char, PrefixSize> prefix{buffer[offset], buffer[second], buffer[behind(second, 1)]};
  return encoding::data::loadUint24(prefix.data());
}

void EventQueue::advanceRead(uint64_t count) noexcept {
  readOffset += count;
  if (readOffset < config.size) return;
  readOffset -= config.size;
  wrapped = false;
}

// Every change happens with `mutex` held, so that the look and the subtraction need not be one step.
void EventQueue::subtractQueued(uint64_t count) noexcept {
  metrics.eventsQueued -= std::min(count, metrics.eventsQueued.load());
}

void EventQueue::countTaken(uint64_t count) noexcept {
  subtractQueued(count);
  metrics.eventsProcessed += count;
}

void EventQueue::moveReadToNextMessage() noexcept {
  advanceRead(PrefixSize + lengthAt(readOffset));
  ++metrics.eventsDropped;
  subtractQueued(1);
}

void EventQueue::storeBytes(const unsigned char* data, size_t length) noexcept {
  const size_t first = std::min<uint64_t>(length, room(writeOffset));
  std::memcpy(buffer.get() + writeOffset, data, first);
  writeOffset += first;
  if (writeOffset < config.size) return;
  wrapped = true;
  writeOffset = length - first;
  if (writeOffset != 0) std::memcpy(buffer.get(), data + first, writeOffset);
}

// A message goes only where the new one needs its room to the byte, so that a message as large as the ring fits.
void EventQueue::store(const unsigned char* data, size_t length) noexcept {
  while (config.size - used() < PrefixSize + length) moveReadToNextMessage();
  std::array<unsigned char, PrefixSize> prefix;
  encoding::data::writeBigEndian<PrefixSize>(prefix.data(), length);
  storeBytes(prefix.data(), PrefixSize);
  if (length != 0) storeBytes(data, length);
}

void EventQueue::append(const unsigned char* data, size_t length) {
  if (!canHold(length)) [[unlikely]]
    refuse(length);
  const std::lock_guard lock(mutex);
  store(data, length);
  ++metrics.eventsQueued;
  ++behindBlock;
  condition.notify_one();
}

// Needs room for all of them in front of the ring's end, and one byte more.
void EventQueue::storeInFront(std::span<const std::span<const unsigned char>> messages) noexcept {
  unsigned char* out = buffer.get() + writeOffset;
  for (const auto& message : messages) {
    out = encoding::data::writeBigEndian<PrefixSize>(out, message.size());
    if (!message.empty()) std::memcpy(out, message.data(), message.size());
    out += message.size();
  }
  writeOffset = static_cast<uint64_t>(out - buffer.get());
  metrics.eventsQueued += messages.size();
}

size_t EventQueue::append(std::span<const std::span<const unsigned char>> messages) {
  size_t count = 0;
  uint64_t size = 0;
  for (; count < messages.size() && canHold(messages[count].size()); ++count) {
    size += PrefixSize + messages[count].size();
  }
  if (count == 0) return 0;
  const std::lock_guard lock(mutex);
  if (size <= config.size - used() && size < room(writeOffset)) [[likely]] {
    storeInFront(messages.first(count));
  } else {
    for (const auto& message : messages.first(count)) {
      store(message.data(), message.size());
      ++metrics.eventsQueued;  // one by one, as the next message may push out this one
    }
  }
  if (count == 1) {
    ++behindBlock;
    condition.notify_one();
  } else {
    behindBlock = 0;
    condition.notify_all();
  }
  return count;
}

// Where the next message begins stands in the one in hand, so the processor can't prefetch it by itself.
void EventQueue::prefetch(uint64_t offset) const noexcept {
  if (offset < config.size) __builtin_prefetch(buffer.get() + offset);
}

// Copies the oldest message, which has this length, and moves behind it.
void EventQueue::takeMessage(unsigned char* out, size_t length) noexcept {
  const uint64_t start = behind(readOffset, PrefixSize);
  if (length != 0) {
    const size_t first = std::min<uint64_t>(length, room(start));
    std::memcpy(out, buffer.get() + start, first);
    if (first != length) std::memcpy(out + first, buffer.get(), length - first);
  }
  advanceRead(PrefixSize + length);
}

void EventQueue::extract(encoding::Bytes& out) {
  const std::lock_guard lock(mutex);
  if (used() == 0) return;
  const uint32_t length = lengthAt(readOffset);
  takeMessage(encoding::data::grow(out, length), length);
  countTaken(1);
}

// Makes room for one more, so that the push_back to come cannot fail.
static void reserveOne(std::vector<uint32_t>& lengths) {
  if (lengths.size() == lengths.capacity()) lengths.reserve(2 * lengths.size() + 16);
}

size_t EventQueue::extract(encoding::Bytes& out, std::vector<uint32_t>& lengths, size_t most, size_t mostBytes) {
  return take(out, lengths, most, mostBytes, false);
}

size_t EventQueue::extractFrames(encoding::Bytes& out, std::vector<uint32_t>& lengths, size_t most, size_t mostBytes) {
  return take(out, lengths, most, mostBytes, true);
}

// Keeps what was taken even if memory for the next message can't be had: the messages so far have left the ring.
struct EventQueue::Taken {
  ~Taken() {
    tail.finish();
    queue.countTaken(count);
  }
  EventQueue& queue;
  encoding::data::Tail& tail;
  size_t count = 0;
};

// What can fail is done before a message leaves the ring.
size_t EventQueue::take(encoding::Bytes& out, std::vector<uint32_t>& lengths, size_t most, size_t mostBytes,
                        bool asFrames) {
  const size_t header = asFrames ? sizeof(uint32_t) : 0;
  const std::lock_guard lock(mutex);
  encoding::data::Tail tail(out);
  Taken taken{*this, tail};
  const size_t before = tail.size();
  while (taken.count < most && tail.size() - before < mostBytes && used() != 0) {
    const uint32_t length = lengthAt(readOffset);
    if (length == 0) {
      takeMessage(nullptr, 0);
      ++taken.count;
      return taken.count - 1;  // it has no length of its own
    }
    reserveOne(lengths);
    unsigned char* message = tail.room(header + length);
    if (asFrames) message = encoding::data::writeUint32(message, length);
    prefetch(readOffset + PrefetchDistance);
    takeMessage(message, length);
    tail.advance(message + length);
    lengths.push_back(length);
    ++taken.count;
  }
  return taken.count;
}

void EventQueue::wait() {
  std::unique_lock lock(waitMutex);
  condition.wait(lock);
}

bool EventQueue::owesWakeUp() {
  const std::lock_guard lock(mutex);
  return metrics.eventsQueued > behindBlock;
}

void EventQueue::getMetrics(metrics::EventQueueMetrics& out) {
  const uint64_t queued = metrics.eventsQueued;
  const uint64_t dropped = metrics.eventsDropped;
  const uint64_t processed = metrics.eventsProcessed;
  out.eventsQueued = queued;
  out.eventsDropped = dropped - lastMetrics.eventsDropped;
  out.eventsProcessed = processed - lastMetrics.eventsProcessed;
  lastMetrics.eventsQueued = queued;
  lastMetrics.eventsDropped = dropped;
  lastMetrics.eventsProcessed = processed;
}

void EventQueue::clear() {
  readOffset = 0;
  writeOffset = 0;
  wrapped = false;
  behindBlock = 0;
  metrics.eventsQueued = 0;
  metrics.eventsProcessed = 0;
  metrics.eventsDropped = 0;
}

uint64_t EventQueue::getReadOffset() {
  const std::lock_guard lock(mutex);
  return readOffset;
}

uint64_t EventQueue::getWriteOffset() {
  const std::lock_guard lock(mutex);
  return writeOffset;
}

}  // namespace ns::event::queue
