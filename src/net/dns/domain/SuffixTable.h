#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "encoding/words.h"

namespace ns::net::dns {

/// A set of suffixes, each hashed label by label from its end: so the hashes of all tails of a name are those that one
/// walk over the name comes by. Every shown name is looked up, and this takes half the time of a std::unordered_set
/// that hashes each tail anew: 90 instead of 170 ns, 566 instead of 883 instructions for a question of the sample.
class SuffixTable {
 public:
  SuffixTable();

  void clear();

  /// Adds a suffix as the names that are looked up have it: in lower case, with a dot at its end if they have one.
  void add(std::string_view suffix);

  bool empty() const { return suffixes.empty(); }
  uint32_t getLongest() const { return longest; }

  /// The hash of the tail of `name` that begins at `start`, where the one that begins at the next label, at `next`, has
  /// the hash `hash`; that of the empty tail is 0.
  static uint64_t addLabel(uint64_t hash, const unsigned char* name, uint32_t start, uint32_t next) {
    for (; next - start >= 8; start += 8) hash = mix(hash, encoding::loadWord(name + start));
    if (start == next) return hash;
    uint64_t rest = 0;
    if (next >= 8) [[likely]] {
      rest = encoding::loadWord(name + next - 8) >> (64 - 8 * (next - start));
    } else {
      for (; next != start; --next) rest = rest << 8 | name[next - 1];
    }
    return mix(hash, rest);
  }

  /// Whether the `length` bytes at `text`, whose hash is `hash`, are a suffix of the table.
  bool contains(uint64_t hash, const unsigned char* text, uint32_t length) const {
    const Slot* const first = slots.data();
    for (size_t i = hash & mask;; i = (i + 1) & mask) {
      const Slot& slot = first[i];
      if (slot.suffix == 0) return false;
      if (slot.tag == tagOf(hash) && isSuffix(slot, text, length)) return true;
    }
  }

 private:
  struct Slot {
    uint32_t tag = 0;
    uint32_t suffix = 0;  // number of the suffix, from 1; 0 for a free slot
  };

  static uint64_t mix(uint64_t hash, uint64_t word) {
    hash = (hash ^ word) * 0x9E3779B97F4A7C15U;  // 2^64 divided by the golden ratio
    return hash ^ hash >> 32;
  }
  static uint32_t tagOf(uint64_t hash) { return static_cast<uint32_t>(hash >> 32); }
  static uint64_t hashOf(std::string_view suffix);
  bool isSuffix(const Slot& slot, const unsigned char* text, uint32_t length) const;
  void insert(uint64_t hash, uint32_t suffix);
  void rebuild(size_t size);

  std::vector<std::string> suffixes;
  std::vector<Slot> slots;  // a power of two, at least twice as many as suffixes
  size_t mask;
  uint32_t longest;
};

}  // namespace ns::net::dns
