#include "encoding/dnstap/WireCursor.h"

namespace ns::encoding::dnstap {

uint32_t readVarint(uint64_t& out, const unsigned char* data, uint32_t length, uint32_t offset, Failure& failure) {
  if (offset >= length) return failure.set(Failure::Kind::VarintEnd, offset, length);
  uint64_t value = 0;
  for (uint32_t shift = 0; shift < 70; shift += 7) {
    if (offset == length) return failure.set(Failure::Kind::VarintEnd, offset, length);
    const unsigned char byte = data[offset++];
    // The tenth byte has room for one bit; that makes a high bit there an excess of bits, not of bytes.
    if (shift == 63 && byte > 1) return failure.set(Failure::Kind::VarintBits);
    value |= uint64_t{byte & 127U} << shift;
    if (byte < 128) {
      out = value;
      return offset;
    }
  }
  return failure.set(Failure::Kind::VarintBytes);
}

}  // namespace ns::encoding::dnstap
