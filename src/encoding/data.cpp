#include "encoding/data.h"

#include <algorithm>
#include <array>
#include <bit>
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

static constexpr auto PowersOfTen = [] {
  std::array<uint64_t, MaxUintDigits> powers{1};
  for (size_t i = 1; i < powers.size(); ++i) powers[i] = 10 * powers[i - 1];
  return powers;
}();

static size_t countDigits(uint64_t value) {
  const size_t guess = static_cast<size_t>(std::bit_width(value)) * 1233 >> 12;  // log10(2), exact or one too low
  return guess + (value >= PowersOfTen[guess] ? 1 : 0);
}

unsigned char* writeUint(unsigned char* out, uint64_t value) {
  if (value < 10) {
    *out = static_cast<unsigned char>('0' + value);
    return out + 1;
  }
  unsigned char* const end = out + countDigits(value);
  unsigned char* first = end;  // stored from the back
  for (; value >= 100; value /= 100) writeTwoDigits(first -= 2, value % 100);
  if (value >= 10) {
    writeTwoDigits(first - 2, value);
  } else {
    first[-1] = static_cast<unsigned char>('0' + value);
  }
  return end;
}

void formatUint(Bytes& buffer, uint64_t value) {
  unsigned char* const out = grow(buffer, MaxUintDigits);
  cut(buffer, writeUint(out, value));
}

static constexpr uint64_t everyByte(uint64_t value) { return 0x0101010101010101U * value; }

/// Eight bytes at once: each sum sets the high bit of the bytes from some value on and does not reach into the next.
static void lowercaseWord(unsigned char* out, const unsigned char* data) {
  uint64_t word;
  std::memcpy(&word, data, sizeof(word));
  const uint64_t low = word & everyByte(0x7F);
  const uint64_t fromA = low + everyByte(0x80 - 'A');
  const uint64_t pastZ = low + everyByte(0x80 - 'Z' - 1);
  word += (fromA & ~pastZ & ~word & everyByte(0x80)) >> 2;
  std::memcpy(out, &word, sizeof(word));
}

void lowercase(Bytes& buffer, const unsigned char* data, uint32_t length) {
  unsigned char* const out = grow(buffer, length);
  if (length >= 8) {
    for (uint32_t i = 0; i + 8 <= length; i += 8) lowercaseWord(out + i, data + i);
    lowercaseWord(out + length - 8, data + length - 8);  // the last ones, some of them once more
  } else {
    for (uint32_t i = 0; i < length; ++i)
      out[i] = static_cast<unsigned char>(data[i] + (data[i] >= 'A' && data[i] <= 'Z' ? 32 : 0));
  }
}

static bool isBlank(unsigned char byte) { return byte == '\t' || byte == '\n' || byte == '\r' || byte == ' '; }

void trim(Bytes& buffer) {
  buffer.erase(std::find_if_not(buffer.rbegin(), buffer.rend(), isBlank).base(), buffer.end());
  buffer.erase(buffer.begin(), std::find_if_not(buffer.begin(), buffer.end(), isBlank));
}

}  // namespace ns::encoding::data
