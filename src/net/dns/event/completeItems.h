#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "encoding/time.h"
#include "net/dns/event/LineWriter.h"

// Items of complete events' lines.
namespace ns::net::dns {

/// Bytes that a server chose, as its identity: those outside of 32 to 126 as a backslash and three decimal digits.
/// `Json` doubles what a JSON string needs doubled, but brings no quotes.
template <bool Json>
struct EscapedText {
  std::span<const unsigned char> bytes;

  size_t room() const { return 5 * bytes.size(); }
  unsigned char* store(unsigned char* out) const {
    for (const unsigned char byte : bytes) {
      if (byte < 32 || byte > 126) {
        *out++ = '\\';
        if (Json) *out++ = '\\';
        *out++ = static_cast<unsigned char>('0' + byte / 100);
        out = encoding::data::writeTwoDigits(out, byte % 100);
      } else {
        if (Json && (byte == '"' || byte == '\\' || byte == '/')) *out++ = '\\';
        *out++ = byte;
      }
    }
    return out;
  }
};

/// Microseconds as seconds with six digits.
struct SecondsItem {
  uint64_t microseconds;

  static constexpr size_t room() { return encoding::data::MaxUintDigits + 1 + encoding::time::MicrosecondsRoom; }
  unsigned char* store(unsigned char* out) const {
    out = encoding::data::writeUint(out, microseconds / 1000000);
    *out++ = '.';
    return encoding::time::writeMicroseconds(out, static_cast<uint32_t>(microseconds % 1000000));
  }
};

/// What is left out of a line that would be too long: first resource records from the end, then what else has no bound
/// but the record's length.
enum class Cut { Nothing, Records, AllWithoutBound };

/// Writes a line with `write(cut)`, cut as little as makes it end within `end`, or cut as far as it goes.
template <class Write>
void writeBounded(LineWriter& line, size_t end, const Write& write) {
  const size_t before = line.size();
  for (const Cut cut : {Cut::Nothing, Cut::Records, Cut::AllWithoutBound}) {
    line.rewind(before);
    write(cut);
    if (line.size() <= end) [[likely]]
      return;
  }
}

/// Writes `count` records with `write(record, isFirst)` as long as the line ends within `end`, and takes back the one
/// that does not. Returns how many were left out, all of them if some were before.
template <class Section, class Write>
uint32_t writeWithin(LineWriter& line, size_t end, const Section& section, uint32_t count, uint32_t leftOut,
                     const Write& write) {
  for (uint32_t i = 0; i < count && leftOut == 0; ++i) {
    const size_t before = line.size();
    write(section[i], i == 0);
    if (line.size() <= end) continue;
    line.rewind(before);
    return count - i;
  }
  return leftOut == 0 ? 0 : leftOut + count;
}

}  // namespace ns::net::dns
