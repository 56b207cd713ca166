#pragma once

#include <cassert>
#include <cstring>
#include <string_view>

#include "encoding/data.h"

namespace ns::encoding::data {

/// Writes behind the end of a byte vector through a plain pointer, with the vector's length set once at the end: what a
/// formatter of many small items uses, since growing the vector item by item costs more than the items.
/// Nothing is kept unless finish() was called: a failure half-way leaves the vector as long as it was.
/// A writer that goes past the room it asked for fails an assertion, in every build but a release.
class Tail {
 public:
  explicit Tail(Bytes& bytes) : buffer(bytes), start(bytes.size()), out(bytes.data() + start), end(out) {}
  ~Tail() { buffer.resize(start); }
  Tail(const Tail&) = delete;
  Tail& operator=(const Tail&) = delete;

  /// Keeps what was written.
  void finish() { start = size(); }

  /// The number of bytes in the vector so far, what was written here included.
  size_t size() const { return static_cast<size_t>(out - buffer.data()); }

  /// The byte at `offset` of the vector, which lies before its end; valid until room() is called.
  const unsigned char* at(size_t offset) const {
    assert(offset <= size());
    return buffer.data() + offset;
  }

  /// Makes room for `count` bytes and returns where they go. Follow it by advance() with the end of what was stored.
  unsigned char* room(size_t count) {
    if (static_cast<size_t>(end - out) < count) [[unlikely]]
      extend(count);
    promise(count);
    return out;
  }
  void advance(unsigned char* written) {
    assert(out <= written && written <= promised);
    out = written;
  }

  /// Takes back the last byte that was written here.
  void dropLast() {
    assert(size() > start);
    --out;
  }

  /// Takes back what was written since size() was `size`.
  void rewind(size_t size) {
    assert(start <= size && size <= this->size());
    out = buffer.data() + size;
  }

  void character(char value) {
    *room(1) = static_cast<unsigned char>(value);
    ++out;
  }
  void text(std::string_view value) { bytes(value.data(), value.size()); }
  void bytes(const Bytes& value) { bytes(value.data(), value.size()); }
  void bytes(const void* data, size_t length) {
    if (length == 0) return;
    std::memcpy(room(length), data, length);
    out += length;
  }
  void uint(uint64_t value) { advance(writeUint(room(MaxUintDigits), value)); }

 private:
  // Out of line, since it is called once in many events: the test in room() alone is compiled into each caller.
  [[gnu::noinline]] void extend(size_t count) {
    const size_t used = size();
    if (buffer.capacity() - used < count) buffer.resize(used + count);  // doubles the capacity
    buffer.resize(buffer.capacity());                                   // costs nothing, the new bytes stay unset
    out = buffer.data() + used;
    end = buffer.data() + buffer.size();
  }

  Bytes& buffer;
  size_t start;        // the length to leave behind
  unsigned char* out;  // the next byte
  unsigned char* end;  // behind the last byte that may be stored

#ifdef NDEBUG
  void promise(size_t /*count*/) {}
#else
  void promise(size_t count) { promised = out + count; }
  unsigned char* promised = nullptr;  // behind the room that was asked for last: mostly far before `end`
#endif
};

}  // namespace ns::encoding::data
