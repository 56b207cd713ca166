#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "encoding/Bytes.h"
#include "error/UnknownError.h"

// Bounds-checked reads of integers, and appends to byte vectors: the ground of every decoder and formatter here.
// A source is always `data`, its `length` and the `offset` of the next byte, both in bytes from `data`. A reader stores
// its value through the first argument and returns the offset behind it; a failed read leaves the argument untouched.
// A writer appends to `buffer` and never looks at what is in it. All functions may be called from any thread.
namespace ns::encoding::data {

/// A read ran past the end of its source.
class DataError : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

/// Throws the DataError of a fixed-width read of `width` bytes at `offset`; `type` is the reader's name in the text.
/// Out of line, so that a reader stays a handful of instructions and text is built only for a bad packet.
[[noreturn, gnu::cold]] void failRead(const char* type, uint32_t width, uint32_t length, uint32_t offset);

/// Throws DataError unless `width` bytes lie at `offset`. Returns the offset behind them.
inline uint32_t checkRead(const char* type, uint32_t width, uint32_t length, uint32_t offset) {
  const uint32_t next = offset + width;  // callers pass only offsets that a reader returned, so the sum never wraps
  if (next > length) [[unlikely]]
    failRead(type, width, length, offset);
  return next;
}

/// Big-endian integers at `data`, without a check.
inline uint16_t loadUint16(const unsigned char* data) { return static_cast<uint16_t>(data[0] << 8 | data[1]); }
inline uint32_t loadUint24(const unsigned char* data) {
  return uint32_t{data[0]} << 16 | uint32_t{data[1]} << 8 | uint32_t{data[2]};
}
inline uint32_t loadUint32(const unsigned char* data) {
  return uint32_t{data[0]} << 24 | uint32_t{data[1]} << 16 | uint32_t{data[2]} << 8 | uint32_t{data[3]};
}

/// Stores the low `Width` bytes of `value` at `out`, the most significant first. Returns the end of what it wrote.
template <size_t Width>
unsigned char* writeBigEndian(unsigned char* out, uint64_t value) {
  for (size_t i = Width; i-- > 0;) *out++ = static_cast<unsigned char>(value >> (8 * i));
  return out;
}

/// Reads one byte. Throws DataError if none is left.
inline uint32_t decodeUint8(uint8_t& out, const unsigned char* data, uint32_t length, uint32_t offset) {
  const uint32_t next = checkRead("uint8_t", 1, length, offset);
  out = data[offset];
  return next;
}

/// Reads a big-endian 16-bit integer (RFC 1035, 2.3.2). Throws DataError if fewer than 2 bytes are left.
inline uint32_t decodeUint16(uint16_t& out, const unsigned char* data, uint32_t length, uint32_t offset) {
  const uint32_t next = checkRead("uint16_t", 2, length, offset);
  out = loadUint16(data + offset);
  return next;
}

/// Reads a big-endian 24-bit integer. Throws DataError if fewer than 3 bytes are left.
inline uint32_t decodeUint24(uint32_t& out, const unsigned char* data, uint32_t length, uint32_t offset) {
  const uint32_t next = checkRead("uint24_t", 3, length, offset);
  out = loadUint24(data + offset);
  return next;
}

/// Reads a big-endian 32-bit integer. Throws DataError if fewer than 4 bytes are left.
inline uint32_t decodeUint32(uint32_t& out, const unsigned char* data, uint32_t length, uint32_t offset) {
  const uint32_t next = checkRead("uint32_t", 4, length, offset);
  out = loadUint32(data + offset);
  return next;
}

/// Reads a big-endian 64-bit integer. Throws DataError if fewer than 8 bytes are left.
inline uint32_t decodeUint64(uint64_t& out, const unsigned char* data, uint32_t length, uint32_t offset) {
  const uint32_t next = checkRead("uint64_t", 8, length, offset);
  out = uint64_t{loadUint32(data + offset)} << 32 | loadUint32(data + offset + 4);
  return next;
}

/// Reads an integer in groups of 7 bits, least significant first, the high bit set on every byte but the last.
/// Exact below 2^31 only: later groups are shifted in 32 bits and sign-extended. Any number of bytes is taken.
/// Throws DataError if the source ends before a byte with a clear high bit.
uint32_t decodeUintVle(uint64_t& out, const unsigned char* data, uint32_t length, uint32_t offset);

/// Extends `buffer` by `count` bytes and returns the first of them; valid until the buffer grows again.
inline unsigned char* grow(Bytes& buffer, size_t count) {
  const size_t size = buffer.size();
  buffer.resize(size + count);
  return buffer.data() + size;
}

/// Cuts `buffer` off at `end`, which points into it: drops what a writer left over of the room it was given.
inline void cut(Bytes& buffer, const unsigned char* end) { buffer.resize(static_cast<size_t>(end - buffer.data())); }

/// Append a big-endian integer of 2, 4 or 8 bytes.
void encodeUint16(Bytes& buffer, uint16_t value);
void encodeUint32(Bytes& buffer, uint32_t value);
void encodeUint64(Bytes& buffer, uint64_t value);

/// Stores a big-endian 32-bit integer at `out`. Returns the end of what it wrote.
inline unsigned char* writeUint32(unsigned char* out, uint32_t value) { return writeBigEndian<4>(out, value); }

/// Appends 7 bits a byte, least significant group first, the high bit set on every byte but the last: 1 to 10 bytes.
void encodeUintVle(Bytes& buffer, uint64_t value);

/// "00" to "99", for numbers of a fixed width, as the parts of a time stamp are.
inline constexpr auto DigitPairs = [] {
  std::array<char, 200> pairs{};
  for (size_t i = 0; i < 100; ++i) {
    pairs[2 * i] = static_cast<char>('0' + i / 10);
    pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return pairs;
}();

/// Writes the two digits of a value below 100 at `out` and returns their end.
inline unsigned char* writeTwoDigits(unsigned char* out, size_t value) {
  std::memcpy(out, &DigitPairs[2 * value], 2);
  return out + 2;
}

/// The most digits that a 64-bit number has.
constexpr size_t MaxUintDigits = 20;

/// Writes the decimal digits of `value` at `out`, which has room for MaxUintDigits. Returns the end of what it wrote.
unsigned char* writeUint(unsigned char* out, uint64_t value);

/// Appends one character.
inline void formatChar(Bytes& buffer, char value) { buffer.push_back(static_cast<unsigned char>(value)); }

/// Appends `length` bytes unchanged.
inline void formatBytes(Bytes& buffer, const unsigned char* data, uint32_t length) {
  if (length != 0) std::memcpy(grow(buffer, length), data, length);
}

/// Appends a text, without a terminator.
inline void formatChars(Bytes& buffer, std::string_view text) {
  if (!text.empty()) std::memcpy(grow(buffer, text.size()), text.data(), text.size());
}

/// Appends the decimal digits of `value`, without sign, padding or separators.
void formatUint(Bytes& buffer, uint64_t value);

/// Writes a copy of the bytes at `out` in which A to Z, and no other byte, are turned into a to z. Returns its end.
unsigned char* writeLowercase(unsigned char* out, const unsigned char* data, uint32_t length);

/// Appends such a copy of the bytes.
void lowercase(Bytes& buffer, const unsigned char* data, uint32_t length);

/// Removes tabs, line feeds, carriage returns and blanks from both ends of `buffer`.
void trim(Bytes& buffer);

}  // namespace ns::encoding::data
