#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

// Eight bytes of text at a time, the first of them the least significant.
namespace ns::encoding {

constexpr uint64_t everyByte(unsigned char value) { return 0x0101010101010101U * value; }

inline uint64_t loadWord(const unsigned char* data) {
  uint64_t word;
  std::memcpy(&word, data, sizeof(word));
  if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
  return word;
}

inline void storeWord(unsigned char* out, uint64_t word) {
  if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
  std::memcpy(out, &word, sizeof(word));
}

/// The high bit of each byte that equals `value` in all its low 7 bits; the high bits of `word` itself are not looked
/// at. Exact for each byte: no sum reaches into the next one.
constexpr uint64_t equalBytes(uint64_t word, unsigned char value) {
  const uint64_t difference = (word & everyByte(0x7F)) ^ everyByte(value);
  return ~(difference + everyByte(0x7F)) & everyByte(0x80);
}

}  // namespace ns::encoding
