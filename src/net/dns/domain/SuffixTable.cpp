#include "net/dns/domain/SuffixTable.h"

#include <algorithm>
#include <cstring>

#include "encoding/Bytes.h"
#include "net/dns/domain/LabelStarts.h"

namespace ns::net::dns {

SuffixTable::SuffixTable() { clear(); }

void SuffixTable::clear() {
  suffixes.clear();
  longest = 0;
  rebuild(16);
}

void SuffixTable::add(std::string_view suffix) {
  suffixes.emplace_back(suffix);
  longest = std::max(longest, static_cast<uint32_t>(suffix.size()));
  if (slots.size() < 2 * suffixes.size()) {
    rebuild(2 * slots.size());
  } else {
    insert(hashOf(suffix), static_cast<uint32_t>(suffixes.size()));
  }
}

void SuffixTable::rebuild(size_t size) {
  slots.assign(size, Slot());
  mask = size - 1;
  for (size_t i = 0; i < suffixes.size(); ++i) insert(hashOf(suffixes[i]), static_cast<uint32_t>(i + 1));
}

void SuffixTable::insert(uint64_t hash, uint32_t suffix) {
  size_t i = hash & mask;
  while (slots[i].suffix != 0) i = (i + 1) & mask;
  slots[i] = {tagOf(hash), suffix};
}

uint64_t SuffixTable::hashOf(std::string_view suffix) {
  const unsigned char* const text = encoding::bytesOf(suffix).data();
  uint64_t hash = 0;
  LabelStarts starts(text, static_cast<uint32_t>(suffix.size()));
  for (auto end = static_cast<uint32_t>(suffix.size()); end != 0;) {
    const uint32_t start = starts.before(end);
    hash = addLabel(hash, text, start, end);
    end = start;
  }
  return hash;
}

bool SuffixTable::isSuffix(const Slot& slot, const unsigned char* text, uint32_t length) const {
  const std::string& suffix = suffixes[slot.suffix - 1];
  return suffix.size() == length && std::memcmp(suffix.data(), text, length) == 0;
}

}  // namespace ns::net::dns
