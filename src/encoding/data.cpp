#include "encoding/data.h"

#include <algorithm>
#include <array>
#include <string>

namespace ns::encoding::data {

void failRead(const char* type, uint32_t width, uint32_t length, uint32_t offset) {
  throw DataError(std::string("Read ") + type + " failed: Offset " + std::to_string(offset) + " + " +
                  std::to_string(width) + " is out of bounds for data of " + std::to_string(length) + " bytes");
}

[[noreturn, gnu::cold, gnu::noinline]] static void failUintVle(uint32_t length, uint32_t offset) {
  throw DataError("Read variable length encoding uint failed: Offset " + std::to_string(offset) +
                  " is out of bounds for data of " + std::to_string(length) + " bytes");
}

uint32_t decodeUintVle(uint64_t& out, const unsigned char* data, uint32_t length, uint32_t offset) {
  uint64_t value = 0;
  for (uint32_t shift = 0;; shift += 7) {
    if (offset >= length) failUintVle(length, offset);
    const unsigned char byte = data[offset++];
    const uint32_t group = byte & 127U;
    if (shift == 0) {
      value = group;
    } else {
      // A 32-bit shift by a count taken modulo 32: what the peers of this encoding do, and exact below 2^31.
      value += static_cast<uint64_t>(int64_t{static_cast<int32_t>(group << (shift & 31U))});
    }
    if (byte < 128) break;
  }
  out = value;
  return offset;
}

template <class Integer>
static void encodeBigEndian(Bytes& buffer, Integer value) {
  unsigned char* out = grow(buffer, sizeof(value));
  for (size_t i = sizeof(value); i-- > 0;) *out++ = static_cast<unsigned char>(value >> (8 * i));
}

void encodeUint16(Bytes& buffer, uint16_t value) { encodeBigEndian(buffer, value); }
void encodeUint32(Bytes& buffer, uint32_t value) { encodeBigEndian(buffer, value); }
void encodeUint64(Bytes& buffer, uint64_t value) { encodeBigEndian(buffer, value); }

void encodeUintVle(Bytes& buffer, uint64_t value) {
  for (; value >= 128; value >>= 7) buffer.push_back(static_cast<unsigned char>((value & 127) | 128));
  buffer.push_back(static_cast<unsigned char>(value));
}

// "00" to "99": two digits at a time halve the divisions, which are most of the cost of a number.
static constexpr auto DigitPairs = [] {
  std::array<char, 200> pairs{};
  for (size_t i = 0; i < 100; ++i) {
    pairs[2 * i] = static_cast<char>('0' + i / 10);
    pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return pairs;
}();

unsigned char* writeUint(unsigned char* out, uint64_t value) {
  if (value < 10) {
    *out = static_cast<unsigned char>('0' + value);
    return out + 1;
  }
  std::array<char, MaxUintDigits> digits;  // filled from the back
  size_t first = digits.size();
  for (; value >= 100; value /= 100) std::memcpy(&digits[first -= 2], &DigitPairs[2 * (value % 100)], 2);
  if (value >= 10) {
    std::memcpy(&digits[first -= 2], &DigitPairs[2 * value], 2);
  } else {
    digits[--first] = static_cast<char>('0' + value);
  }
  std::memcpy(out, &digits[first], digits.size() - first);
  return out + (digits.size() - first);
}

void formatUint(Bytes& buffer, uint64_t value) {
  unsigned char* const out = grow(buffer, MaxUintDigits);
  const unsigned char* const end = writeUint(out, value);
  buffer.resize(static_cast<size_t>(end - buffer.data()));
}

void lowercase(Bytes& buffer, const unsigned char* data, uint32_t length) {
  unsigned char* const out = grow(buffer, length);
  for (uint32_t i = 0; i < length; ++i) {
    const unsigned char byte = data[i];
    // No branch, so that the compiler turns the loop into vector instructions.
    out[i] = static_cast<unsigned char>(byte + (static_cast<unsigned char>(byte - 'A') < 26 ? 32 : 0));
  }
}

static bool isBlank(unsigned char byte) { return byte == '\t' || byte == '\n' || byte == '\r' || byte == ' '; }

void trim(Bytes& buffer) {
  buffer.erase(std::find_if_not(buffer.rbegin(), buffer.rend(), isBlank).base(), buffer.end());
  buffer.erase(buffer.begin(), std::find_if_not(buffer.begin(), buffer.end(), isBlank));
}

}  // namespace ns::encoding::data
