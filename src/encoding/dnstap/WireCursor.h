#pragma once

#include <bit>
#include <cstdint>
#include <span>

#include "encoding/dnstap/Failure.h"
#include "encoding/dnstap/WireType.h"
#include "encoding/words.h"

namespace ns::encoding::dnstap {

/// Reads a varint of any length. Returns the offset behind it, or 0 if it failed.
uint32_t readVarint(uint64_t& out, const unsigned char* data, uint32_t length, uint32_t offset, Failure& failure);

/// Reads a varint of up to 8 bytes without a loop; 8 bytes must be there. Returns how many it took, or 0 if it is
/// longer.
inline uint32_t readShortVarint(uint64_t& out, const unsigned char* data) {
  uint64_t word = loadWord(data);
  const uint64_t ends = ~word & everyByte(0x80);
  if (ends == 0) return 0;
  word &= (ends ^ (ends - 1)) & everyByte(0x7F);  // up to the first byte without a high bit
  // Eight groups of 7 bits become four of 14, those two of 28, and those one of 56.
  word = (word & 0x007F007F007F007F) | (word & 0x7F007F007F007F00) >> 1;
  word = (word & 0x00003FFF00003FFF) | (word & 0x3FFF00003FFF0000) >> 2;
  out = (word & 0x000000000FFFFFFF) | (word & 0x0FFFFFFF00000000) >> 4;
  return static_cast<uint32_t>(std::countr_zero(ends)) / 8 + 1;
}

/// Wire bytes, read from front to back without exceptions: each reader moves `offset` behind the value and returns
/// true, or notes a failure, changes nothing else and returns false. Its functions are inline and hand out no pointer
/// to the object, so that it lives in registers.
struct WireCursor {
  const unsigned char* data;
  uint32_t length;
  uint32_t offset;
  Failure& failure;

  bool varint(uint64_t& out) {
    if (offset < length && data[offset] < 128) [[likely]] {
      out = data[offset++];
      return true;
    }
    if (offset < length && length - offset >= 8) [[likely]] {
      const uint32_t width = readShortVarint(out, data + offset);
      offset += width;
      if (width != 0) [[likely]]
        return true;
    }
    const uint32_t next = readVarint(out, data, length, offset, failure);
    if (next == 0) return false;
    offset = next;
    return true;
  }

  /// A field number, cut to 32 bits, and a wire type.
  bool tag(uint32_t& number, uint8_t& wireType) {
    uint64_t value;
    if (!varint(value)) return false;
    number = static_cast<uint32_t>(value >> 3);
    wireType = value & 7;
    return true;
  }

  /// The length of a bytes field: of no more than is left behind it.
  bool bytesLength(uint64_t& out) {
    WireCursor behind = *this;
    uint64_t value;
    if (!behind.varint(value)) return false;
    const uint32_t left = length - behind.offset;
    if (value > left) return failure.set(Failure::Kind::BytesLength, value, left);
    out = value;
    offset = behind.offset;
    return true;
  }

  /// A bytes field, left where it is.
  bool bytes(std::span<const unsigned char>& out) {
    uint64_t size = 0;
    if (!bytesLength(size)) return false;
    out = {data + offset, static_cast<size_t>(size)};
    offset += static_cast<uint32_t>(size);
    return true;
  }

  bool fixed32(uint32_t& out) {
    if (!take(4, Failure::Kind::DecodeFixed32)) return false;
    out = littleEndian(data + offset - 4);
    return true;
  }

  bool fixed64(uint64_t& out) {
    if (!take(8, Failure::Kind::DecodeFixed64)) return false;
    out = littleEndian(data + offset - 8) | uint64_t{littleEndian(data + offset - 4)} << 32;
    return true;
  }

  bool skip(uint8_t wireType) {
    switch (wireType) {
      case Varint: return skipVarint();
      case Fixed64: return step(8, Failure::Kind::SkipFixed64);
      case LengthDelimited: return skipBytes();
      case Fixed32: return step(4, Failure::Kind::SkipFixed32);
      default: return failure.set(Failure::Kind::UnknownWireType, wireType);
    }
  }

 private:
  /// Looks for nothing but the end: a varint that is skipped may have any number of bytes.
  bool skipVarint() {
    for (uint32_t at = offset; at < length; ++at) {
      if (data[at] >= 128) continue;
      offset = at + 1;
      return true;
    }
    return failure.set(Failure::Kind::SkipEnd, offset < length ? length : offset, length);
  }

  bool skipBytes() {
    std::span<const unsigned char> skipped;
    return bytes(skipped);
  }

  bool step(uint32_t width, Failure::Kind why) {
    const uint32_t next = offset + width;
    if (next > length) return failure.set(why);
    offset = next;
    return true;
  }

  /// As step(), for bytes that are going to be read: refuses a sum that went round, too, which is one past 4 GiB.
  bool take(uint32_t width, Failure::Kind why) { return offset + width < width ? failure.set(why) : step(width, why); }

  static uint32_t littleEndian(const unsigned char* bytes) {
    return uint32_t{bytes[3]} << 24 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[1]} << 8 | uint32_t{bytes[0]};
  }
};

}  // namespace ns::encoding::dnstap
