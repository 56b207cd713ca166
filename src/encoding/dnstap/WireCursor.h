#pragma once

#include <bit>
#include <cstdint>
#include <string>

#include "encoding/dnstap/dnstap.h"
#include "encoding/words.h"

namespace ns::encoding::dnstap {

/// Why a record is refused: what its text is built from, if anyone asks for it.
struct Failure {
  enum class Kind : uint8_t {
    VarintEnd,        // `value` is the offset, `bound` the length of the source
    VarintBytes,      //
    VarintBits,       //
    SkipEnd,          // as VarintEnd
    BytesLength,      // `value` is the length, `bound` what is left of the source
    DecodeFixed32,    //
    DecodeFixed64,    //
    SkipFixed32,      //
    SkipFixed64,      //
    UnknownWireType,  // `value` is the wire type
    WrongWireType,    // `field` should have had wire type `bound` and has `value`
    RecordType,       // `value` is the type
    NoMessageType,    //
    Circle,           // `value` is the offset that comes back
    Overlap,          // `value` is the number of bytes that the messages add up to, `bound` the record's length
  };

  Kind kind{};
  const char* field = nullptr;
  uint64_t value = 0;
  uint64_t bound = 0;

  /// Notes a failure. Returns false, so that a reader can return the call. Out of line, to keep the readers small.
  [[gnu::cold, gnu::noinline]] bool set(Kind why, uint64_t what = 0, uint64_t limit = 0, const char* name = nullptr);

  /// The text for the log.
  std::string text() const;
};

/// Reads a varint of any length. Returns the offset behind it, or 0 if it failed.
uint32_t readVarint(uint64_t& out, const unsigned char* data, uint32_t length, uint32_t offset, Failure& failure);

/// Reads a varint of up to 8 bytes, all at once: as many may be read at `data`. Returns how many it took, or 0 if it is
/// longer.
inline uint32_t readShortVarint(uint64_t& out, const unsigned char* data) {
  uint64_t word = loadWord(data);
  const uint64_t ends = ~word & everyByte(0x80);
  if (ends == 0) return 0;
  word &= (ends ^ (ends - 1)) & everyByte(0x7F);  // up to the first byte without a high bit
  word = (word & 0x007F007F007F007F) | (word & 0x7F007F007F007F00) >> 1;
  word = (word & 0x00003FFF00003FFF) | (word & 0x3FFF00003FFF0000) >> 2;
  out = (word & 0x000000000FFFFFFF) | (word & 0x0FFFFFFF00000000) >> 4;
  return static_cast<uint32_t>(std::countr_zero(ends)) / 8 + 1;
}

/// Bytes read from front to back without exceptions: each reader moves `offset` behind the value and returns true, or
/// notes a failure, changes nothing else and returns false.
/// Its functions are inline and hand out no pointer to the object, so that it lives in registers.
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

  bool tag(uint32_t& number, uint8_t& wireType) {
    uint64_t value;
    if (!varint(value)) return false;
    number = static_cast<uint32_t>(value >> 3);
    wireType = value & 7;
    return true;
  }

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

  bool skipVarint() {
    for (uint32_t at = offset; at < length; ++at) {
      if (data[at] >= 128) continue;
      offset = at + 1;
      return true;
    }
    return failure.set(Failure::Kind::SkipEnd, offset < length ? length : offset, length);
  }

  bool skipBytes() {
    uint64_t size;
    if (!bytesLength(size)) return false;
    offset += static_cast<uint32_t>(size);
    return true;
  }

  bool step(uint32_t width, Failure::Kind why) {
    const uint32_t next = offset + width;
    if (next > length) return failure.set(why);
    offset = next;
    return true;
  }

 private:
  /// As step(), for bytes that are going to be read: refuses a sum that went round, too, which is one past 4 GiB.
  bool take(uint32_t width, Failure::Kind why) { return offset + width < width ? failure.set(why) : step(width, why); }

  static uint32_t littleEndian(const unsigned char* bytes) {
    return uint32_t{bytes[3]} << 24 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[1]} << 8 | uint32_t{bytes[0]};
  }
};

}  // namespace ns::encoding::dnstap
