#include "encoding/base32.h"

#include "encoding/data.h"

namespace ns::encoding::base32 {

/// Writes the top `count` characters of a group of 40 bits.
static unsigned char* writeGroup(unsigned char* out, uint64_t group, size_t count) {
  for (size_t i = 0; i < count; ++i) *out++ = static_cast<unsigned char>(Base32Chars[group >> (35 - 5 * i) & 31]);
  return out;
}

unsigned char* writeBase32(unsigned char* out, const unsigned char* data, uint32_t length) {
  for (; length >= 5; length -= 5, data += 5) out = writeGroup(out, uint64_t{data::loadUint32(data)} << 8 | data[4], 8);
  if (length == 0) return out;
  uint64_t rest = 0;
  for (uint32_t i = 0; i < length; ++i) rest |= uint64_t{data[i]} << (32 - 8 * i);
  return writeGroup(out, rest, base32Length(length));
}

void formatBase32(Bytes& buffer, const unsigned char* data, uint32_t length) {
  writeBase32(data::grow(buffer, base32Length(length)), data, length);
}

}  // namespace ns::encoding::base32
