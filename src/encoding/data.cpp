#include "encoding/data.h"

#include <algorithm>
#include <array>
#include <bit>
#include <string>

#include "encoding/words.h"

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

void encodeUint16(Bytes& buffer, uint16_t value) { writeBigEndian<2>(grow(buffer, 2), value); }
void encodeUint32(Bytes& buffer, uint32_t value) { writeBigEndian<4>(grow(buffer, 4), value); }
void encodeUint64(Bytes& buffer, uint64_t value) { writeBigEndian<8>(grow(buffer, 8), value); }

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

/// The eight decimal digits of a value below 10^8 as text: halves, quarters and then digits are split all at once.
static uint64_t eightDigits(uint64_t value) {
  uint64_t word = value / 10000 | value % 10000 << 32;
  const uint64_t hundreds = word * 10486 >> 20 & 0x0000007F0000007F;  // a hundredth of each, exact below 10000
  word = hundreds | (word - 100 * hundreds) << 16;
  const uint64_t tens = word * 103 >> 10 & 0x000F000F000F000F;  // a tenth of each, exact below 100
  return (tens | (word - 10 * tens) << 8) + everyByte('0');
}

// All digits of a small value are made at once and shifted to where the first belongs: the number of digits differs
// from value to value, so branches on it are mispredicted. With ip.cpp's groups this took a query log line from 350 to
// 331 ns.
unsigned char* writeUint(unsigned char* out, uint64_t value) {
  if (value < 100000000) [[likely]] {
    const size_t digits = countDigits(value | 1);
    storeWord(out, eightDigits(value) >> (64 - 8 * digits));
    return out + digits;
  }
  unsigned char* const end = out + countDigits(value);
  for (unsigned char* first = end; first != out; value /= 10) *--first = static_cast<unsigned char>('0' + value % 10);
  return end;
}

void formatUint(Bytes& buffer, uint64_t value) {
  unsigned char* const out = grow(buffer, MaxUintDigits);
  cut(buffer, writeUint(out, value));
}

/// Eight bytes at once: each sum sets the high bit of the bytes from some value on and does not reach into the next.
static void lowercaseWord(unsigned char* out, const unsigned char* data) {
  const uint64_t word = loadWord(data);
  const uint64_t low = word & everyByte(0x7F);
  const uint64_t fromA = low + everyByte(0x80 - 'A');
  const uint64_t pastZ = low + everyByte(0x80 - 'Z' - 1);
  storeWord(out, word + ((fromA & ~pastZ & ~word & everyByte(0x80)) >> 2));
}

unsigned char* writeLowercase(unsigned char* out, const unsigned char* data, uint32_t length) {
  if (length >= 8) {
    for (uint32_t i = 0; i + 8 <= length; i += 8) lowercaseWord(out + i, data + i);
    lowercaseWord(out + length - 8, data + length - 8);  // the last ones, some of them once more
  } else {
    for (uint32_t i = 0; i < length; ++i)
      out[i] = static_cast<unsigned char>(data[i] + (data[i] >= 'A' && data[i] <= 'Z' ? 32 : 0));
  }
  return out + length;
}

void lowercase(Bytes& buffer, const unsigned char* data, uint32_t length) {
  writeLowercase(grow(buffer, length), data, length);
}

static bool isBlank(unsigned char byte) { return byte == '\t' || byte == '\n' || byte == '\r' || byte == ' '; }

void trim(Bytes& buffer) {
  buffer.erase(std::find_if_not(buffer.rbegin(), buffer.rend(), isBlank).base(), buffer.end());
  buffer.erase(buffer.begin(), std::find_if_not(buffer.begin(), buffer.end(), isBlank));
}

}  // namespace ns::encoding::data
