#include "net/dns/domain/suffixes.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "net/dns/domain/LabelStarts.h"
#include "net/dns/domain/SuffixTable.h"

namespace ns::net::dns {

// Never destroyed, since forwarders may still read them while the process exits. Without the memory for two empty
// tables nothing starts: NOLINTBEGIN(cert-err58-cpp)
static SuffixTable& builtin_domain_suffix_map = *new SuffixTable;
static SuffixTable& config_domain_suffix_map = *new SuffixTable;
// NOLINTEND(cert-err58-cpp)

static void addSuffix(SuffixTable& table, std::string_view suffix, bool withTrailingDot) {
  std::string key(suffix);
  for (char& c : key) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (withTrailingDot) key += '.';
  table.add(key);
}

const DomainSuffixes& getPslDomainSuffixes() { return psl; }

void loadPslDomainSuffixes(bool withTrailingDot) {
  builtin_domain_suffix_map.clear();
  for (const std::string_view suffix : psl) addSuffix(builtin_domain_suffix_map, suffix, withTrailingDot);
}

void addDomainSuffix(const char* suffix, bool withTrailingDot) {
  addSuffix(config_domain_suffix_map, suffix, withTrailingDot);
}

uint32_t getDomainSuffixOffset(const unsigned char* name, uint32_t length, bool builtin, bool config) {
  if (!builtin && !config) return length;
  config = config && !config_domain_suffix_map.empty();
  // No longer tail can be a suffix.
  const uint32_t reach = std::max(builtin ? builtin_domain_suffix_map.getLongest() : 0,
                                  config ? config_domain_suffix_map.getLongest() : 0);

  // From the end of the name to its beginning, so that each label is looked at once; the last match is the longest.
  LabelStarts starts(name, length);
  uint32_t start = length;
  uint32_t domain = 0;
  uint64_t hash = 0;
  while (length - start <= reach) {
    const uint32_t before = start == 0 ? 0 : starts.before(start);
    if (start == length) domain = before;
    if (config && config_domain_suffix_map.contains(hash, name + start, length - start)) {
      domain = start;
    } else if (builtin && builtin_domain_suffix_map.contains(hash, name + start, length - start)) {
      domain = before;
    }
    if (start == 0) break;
    hash = SuffixTable::addLabel(hash, name, before, start);
    start = before;
  }
  return domain;
}

}  // namespace ns::net::dns
