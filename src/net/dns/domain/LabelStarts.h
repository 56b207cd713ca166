#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>

#include "encoding/words.h"

namespace ns::net::dns {

/// Finds the starts of the labels of a name in presentation text from its end to its beginning: the position behind
/// each dot, and 0. Dots are looked for 64 bytes at a time.
class LabelStarts {
 public:
  /// Of the `length` bytes at `name`, which stay where they are.
  LabelStarts(const unsigned char* name, uint32_t length) : name(name) { load(length); }

  /// The start of the label in front of the one that starts at `start`, which is not 0 and came from here or is the
  /// name's length.
  uint32_t before(uint32_t start) {
    // A dot right in front of `start` ends the label that is looked for.
    uint32_t end = start - 1;
    for (;;) {
      if (end > windowStart) {
        const uint32_t count = end - windowStart;  // 64 at most, as `start` was found in this window or ended it
        // NOLINTNEXTLINE(clang-analyzer-core*): it doesn't know that, and fears a shift by a negative count
        const uint64_t below = dots & (~uint64_t{0} >> (64 - count));
        if (below != 0) return windowStart + static_cast<uint32_t>(std::bit_width(below));
      }
      if (windowStart == 0) return 0;
      end = windowStart;
      load(end);
    }
  }

 private:
  /// Notes the dots among the 64 bytes before `end`.
  void load(uint32_t end) {
    windowStart = end - std::min(end, uint32_t{64});
    dots = 0;
    uint32_t at = end;
    for (; at >= windowStart + 8; at -= 8) addDots(at - 8);
    if (at == windowStart) return;
    if (end >= 8) {
      addDots(windowStart);  // overlaps with the word behind it
    } else {
      for (uint32_t i = 0; i < end; ++i) dots |= uint64_t{name[i] == '.'} << i;
    }
  }

  void addDots(uint32_t at) {
    const uint64_t word = encoding::loadWord(name + at);
    // Gathers the high bits of the eight bytes in the top byte.
    dots |= (encoding::equalBytes(word, '.') & ~word) * 0x0002040810204081U >> 56 << (at - windowStart);
  }

  const unsigned char* const name;
  uint32_t windowStart = 0;  // the first of the bytes looked at
  uint64_t dots = 0;         // bit i for a dot at windowStart + i
};

}  // namespace ns::net::dns
