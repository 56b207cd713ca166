#include "net/fstrm/ReadAhead.h"

#include <algorithm>
#include <cstring>

#include "encoding/data.h"

namespace ns::net::fstrm {

static constexpr size_t WordSize = 4;

// Where a frame begins stands in the one before it, so the processor's own prefetching doesn't reach the next ones.
static constexpr size_t PrefetchDistance = 1024;

// What is held moves to the front; by then that is mostly the head of one frame.
void ReadAhead::makeRoom() {
  const size_t held = size();
  if (bytes.empty() || ((filled || held == bytes.size()) && bytes.size() < MaxSize)) {
    encoding::Bytes larger(bytes.empty() ? FirstSize : bytes.size() * 4);
    if (held != 0) std::memcpy(larger.data(), bytes.data() + start, held);
    bytes.swap(larger);
  } else if (start != 0) {
    std::memmove(bytes.data(), bytes.data() + start, held);
  }
  start = 0;
  end = held;
}

bool ReadAhead::fill(Socket& socket) {
  makeRoom();
  const size_t room = bytes.size() - end;
  if (room == 0) return false;
  const size_t count = socket.tryReceive(bytes.data() + end, static_cast<unsigned int>(room));
  filled = count == room;
  end += count;
  return count != 0;
}

unsigned int ReadAhead::take(unsigned char* out, unsigned int length) {
  const size_t count = std::min<size_t>(length, size());
  if (count != 0) std::memcpy(out, bytes.data() + start, count);
  start += count;
  return static_cast<unsigned int>(count);
}

size_t ReadAhead::frames(std::span<std::span<const unsigned char>> out, uint32_t maxFrame) const {
  const unsigned char* next = bytes.data() + start;
  size_t count = 0;
  for (size_t left = size(); count < out.size() && left >= WordSize; ++count) {
    const uint32_t length = encoding::data::loadUint32(next);
    if (length == 0 || length > maxFrame || length > left - WordSize) break;
    __builtin_prefetch(next + std::min(left, PrefetchDistance));
    out[count] = {next + WordSize, length};
    next += WordSize + length;
    left -= WordSize + length;
  }
  return count;
}

bool ReadAhead::isCutOff(uint32_t maxFrame) const {
  if (size() < WordSize) return size() != 0;
  const uint32_t length = encoding::data::loadUint32(bytes.data() + start);
  return length != 0 && length <= maxFrame && length > size() - WordSize;
}

void ReadAhead::release() {
  if (size() != 0) return;
  encoding::Bytes().swap(bytes);  // an assignment of {} is one of an empty list, and keeps the memory
  start = end = 0;
  filled = false;
}

}  // namespace ns::net::fstrm
