#include "encoding/hex.h"

#include <array>
#include <cstring>
#include <string>

#include "encoding/data.h"

namespace ns::encoding::hex {

// "00" to "FF": one lookup and one store of two digits a byte.
static constexpr auto HexPairs = [] {
  std::array<char, 512> pairs{};
  for (size_t i = 0; i < 256; ++i) {
    pairs[2 * i] = HexCharsUpper[i >> 4];
    pairs[2 * i + 1] = HexCharsUpper[i & 15];
  }
  return pairs;
}();

unsigned char* writeHex(unsigned char* out, const unsigned char* data, uint32_t length) {
  for (const unsigned char* const end = data + length; data != end; ++data, out += 2)
    std::memcpy(out, &HexPairs[2 * size_t{*data}], 2);
  return out;
}

void formatHex(Bytes& buffer, const unsigned char* data, uint32_t length) {
  writeHex(data::grow(buffer, 2 * size_t{length}), data, length);
}

static int parseDigit(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  throw HexError(std::string("Invalid character in hex string: ") + digit);
}

void parseHex(Bytes& buffer, const char* text, uint64_t length) {
  if (length % 2 != 0) throw HexError("Hex string length must be even");
  for (const char* const end = text + length; text != end; text += 2) {
    const int high = parseDigit(text[0]);
    buffer.push_back(static_cast<unsigned char>(high << 4 | parseDigit(text[1])));
  }
}

}  // namespace ns::encoding::hex
