#include "net/fstrm/ReadAhead.h"

#include <algorithm>
#include <cstring>

#include "encoding/data.h"

namespace ns::net::fstrm {

static constexpr size_t WordSize = 4;

// What is held moves to the front; by then that is mostly the head of one frame.
void ReadAhead::makeRoom() {
  if (start != 0) {
    std::memmove(bytes.data(), bytes.data() + start, size());
    end -= start;
    start = 0;
  }
  if (bytes.empty()) {
    bytes.resize(FirstSize);
  } else if ((filled || end == bytes.size()) && bytes.size() < MaxSize) {
    bytes.resize(bytes.size() * 4);
  }
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

void ReadAhead::drop(size_t count) {
  for (; count != 0 && size() >= WordSize; --count) {
    const size_t frame = WordSize + encoding::data::loadUint32(bytes.data() + start);
    start += std::min(frame, size());
  }
}

void ReadAhead::release() {
  if (size() != 0) return;
  encoding::Bytes().swap(bytes);  // an assignment of {} is one of an empty list, and keeps the memory
  start = end = 0;
  filled = false;
}

}  // namespace ns::net::fstrm
