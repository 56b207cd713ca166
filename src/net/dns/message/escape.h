#pragma once

#include <cstdint>
#include <cstring>

#include "encoding/words.h"

// Bytes as DNS presentation text (RFC 1035, 5.1): most of 32 to 126 as they are, those that mean something to a reader
// behind a backslash, all others as a backslash and three decimal digits.
namespace ns::net::dns {

/// What writeEscaped needs as room for `length` bytes.
constexpr size_t escapedRoom(size_t length) { return 4 * length + 8; }

/// The high bit of each byte outside of `first` to `~`.
constexpr uint64_t bytesOutside(uint64_t word, unsigned char first) {
  const uint64_t low = word & encoding::everyByte(0x7F);
  const uint64_t fromFirst = low + encoding::everyByte(static_cast<unsigned char>(0x80 - first));  // high bit set
  const uint64_t delOrHigh = (low + encoding::everyByte(1)) | word;  // high bit set for 127 and from 128 up
  return (~fromFirst & encoding::everyByte(0x80)) | (delOrHigh & encoding::everyByte(0x80));
}

/// A text that may stand between double quotes.
struct QuotedEscapes {
  /// The high bit of each byte that does not stand for itself.
  static constexpr uint64_t special(uint64_t word) {
    return bytesOutside(word, ' ') | encoding::equalBytes(word, '"') | encoding::equalBytes(word, '\\');
  }
  static constexpr unsigned char FirstPlain = ' ';
  static constexpr bool hasMeaning(unsigned char byte) { return byte == '"' || byte == '\\'; }
};

/// A label of a name that stands without quotes in a line of a zone file.
struct LabelEscapes {
  /// The high bit of each byte that does not stand for itself, or that is below `-`: few that do are.
  static constexpr uint64_t special(uint64_t word) {
    return bytesOutside(word, '-') | encoding::equalBytes(word, '.') | encoding::equalBytes(word, ';') |
           encoding::equalBytes(word, '@') | encoding::equalBytes(word, '\\');
  }
  static constexpr unsigned char FirstPlain = '!';
  static constexpr bool hasMeaning(unsigned char byte) {
    return byte == '"' || byte == '$' || byte == '(' || byte == ')' || byte == '.' || byte == ';' || byte == '@' ||
           byte == '\\';
  }
};

/// writeEscaped byte by byte: for the words that hold something to escape, and for the last bytes of a packet.
template <class Escapes>
unsigned char* writeEscapedBytewise(unsigned char* out, const unsigned char* text, uint32_t length);

/// Writes `length` bytes at `text` as presentation text at `out`, which has room for escapedRoom(`length`). `readable`
/// is the end of what may be read at all: with 8 bytes or more up to there a short text goes in one piece.
/// Returns the end of what it wrote.
template <class Escapes = QuotedEscapes>
inline unsigned char* writeEscaped(unsigned char* out, const unsigned char* text, uint32_t length,
                                   const unsigned char* readable) {
  for (; length >= 8; length -= 8, text += 8) {
    if (Escapes::special(encoding::loadWord(text)) == 0) [[likely]] {
      std::memcpy(out, text, 8);
      out += 8;
    } else {
      out = writeEscapedBytewise<Escapes>(out, text, 8);
    }
  }
  if (length == 0) return out;
  if (readable - text >= 8 && Escapes::special(encoding::loadWord(text)) << (64 - 8 * length) == 0) [[likely]] {
    std::memcpy(out, text, 8);  // those behind `length` are overwritten by what comes next
    return out + length;
  }
  return writeEscapedBytewise<Escapes>(out, text, length);
}

}  // namespace ns::net::dns
