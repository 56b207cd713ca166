#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "encoding/data.h"

namespace ns::net::dns {

/// A word in a cell of fixed size, so that it is written by one store of the whole cell.
struct Mnemonic {
  std::array<char, 15> text;
  uint8_t length;  // 0 where a table has no word
};

/// Words by number, from 0 up to some `count`; and, as the registry of record types has it, more from 32768 on.
struct MnemonicTable {
  static constexpr uint16_t HighFirst = 32768;

  std::string_view prefix;  // of a number without a word; no longer than a cell
  const Mnemonic* low;
  uint16_t lowCount;
  const Mnemonic* high = nullptr;
  uint16_t highCount = 0;

  /// The word for `key`; of length 0 if there is none.
  const Mnemonic& find(uint16_t key) const {
    if (key < lowCount) [[likely]]
      return low[key];
    if (key >= HighFirst && key - HighFirst < highCount) return high[key - HighFirst];
    static constexpr Mnemonic None{};
    return None;
  }
};

struct MnemonicPair {
  uint16_t key;
  std::string_view text;
};

/// The `Count` cells of a table. Of two pairs with the same key the first one counts.
template <size_t Count, size_t Pairs>
consteval std::array<Mnemonic, Count> makeMnemonics(const MnemonicPair (&pairs)[Pairs]) {
  std::array<Mnemonic, Count> cells{};
  for (const MnemonicPair& pair : pairs) {
    Mnemonic& cell = cells.at(pair.key);
    if (cell.length != 0) continue;
    for (const char c : pair.text) cell.text.at(cell.length++) = c;
  }
  return cells;
}

/// What writeDnsParameter needs as room: a cell, or a prefix and a number.
constexpr size_t DnsParameterRoom = sizeof(Mnemonic) + encoding::data::MaxUintDigits;

/// Writes the word for `key`, or else the table's prefix and `key` in decimal, at `out`, which has room for
/// DnsParameterRoom. Returns the end of what it wrote.
inline unsigned char* writeDnsParameter(unsigned char* out, const MnemonicTable& table, uint16_t key) {
  if (const Mnemonic& word = table.find(key); word.length != 0) [[likely]] {
    std::memcpy(out, &word, sizeof(word));
    return out + word.length;
  }
  std::memcpy(out, table.prefix.data(), table.prefix.size());
  return encoding::data::writeUint(out + table.prefix.size(), key);
}

}  // namespace ns::net::dns
