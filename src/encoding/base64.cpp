#include "encoding/base64.h"

#include <algorithm>
#include <array>
#include <string>

#include "encoding/data.h"

namespace ns::encoding::base64 {

static constexpr unsigned char Invalid = 255;

static constexpr auto DecodeTable = [] {
  std::array<unsigned char, 256> table{};
  table.fill(Invalid);
  for (unsigned char i = 0; i < 64; ++i) table[static_cast<unsigned char>(Base64Chars[i])] = i;
  return table;
}();

static unsigned char character(uint64_t bits) { return static_cast<unsigned char>(Base64Chars[bits & 63]); }

unsigned char* writeBase64(unsigned char* out, const unsigned char* data, uint32_t length) {
  // 6 bytes to 8 characters at a time: keys and signatures of DNSSEC are some hundred bytes each.
  for (; length >= 6; length -= 6, data += 6, out += 8) {
    const uint64_t bits = uint64_t{data::loadUint32(data)} << 16 | data::loadUint16(data + 4);
    for (size_t i = 0; i < 8; ++i) out[i] = character(bits >> (42 - 6 * i));
  }
  for (; length >= 3; length -= 3, data += 3, out += 4) {
    const uint32_t bits = uint32_t{data::loadUint16(data)} << 8 | data[2];
    for (size_t i = 0; i < 4; ++i) out[i] = character(bits >> (18 - 6 * i));
  }
  if (length == 0) return out;
  const uint32_t bits = uint32_t{data[0]} << 16 | (length == 2 ? uint32_t{data[1]} << 8 : 0);
  out[0] = character(bits >> 18);
  out[1] = character(bits >> 12);
  out[2] = length == 2 ? character(bits >> 6) : '=';
  out[3] = '=';
  return out + 4;
}

void formatBase64(Bytes& buffer, const unsigned char* data, uint32_t length) {
  writeBase64(data::grow(buffer, base64Length(length)), data, length);
}

static bool isBlank(char c) { return c == '\t' || c == '\n' || c == '\r' || c == ' '; }

void parseBase64(Bytes& buffer, const char* text, uint64_t length) {
  const char* const end = text + length;
  const int64_t count = (end - text) - std::count_if(text, end, isBlank);
  if (count % 4 != 0) throw Base64Error("Invalid base64 length: " + std::to_string(count));

  uint32_t bits = 0;  // those not yet appended, in the lowest places
  uint32_t bitCount = 0;
  uint32_t padding = 0;
  for (; text != end; ++text) {
    if (isBlank(*text)) continue;
    if (*text == '=' && padding < 2) {
      ++padding;
      continue;
    }
    if (padding != 0) throw Base64Error("Invalid base64 padding");
    const unsigned char value = DecodeTable[static_cast<unsigned char>(*text)];
    if (value == Invalid) throw Base64Error(std::string("Invalid base64 character: ") + *text);
    bits = bits << 6 | value;
    bitCount += 6;
    if (bitCount < 8) continue;
    bitCount -= 8;
    buffer.push_back(static_cast<unsigned char>(bits >> bitCount));
  }
}

}  // namespace ns::encoding::base64
