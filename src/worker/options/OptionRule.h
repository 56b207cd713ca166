#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "worker/options/ValueReader.h"

namespace ns::worker::options {

/// The most of each time-out, in seconds.
inline constexpr int64_t MaxTimeout = 120;

/// An option that a listener or forwarder takes: its name, and the field of one configuration that it sets. The field
/// outlives the rule.
struct OptionRule {
  /// A number in `least` to `most`, which is cut to 32 bits.
  OptionRule(const char* name, uint32_t& field, int64_t least, int64_t most = std::numeric_limits<int64_t>::max());
  /// "on" or "off".
  OptionRule(const char* name, bool& field);
  /// Any text.
  OptionRule(const char* name, std::string& field);
  /// Whatever `apply` takes.
  OptionRule(const char* name, std::function<void(const Option&)> apply);

  const char* name;                          // in lower case
  std::function<void(const Option&)> apply;  // throws for a value that is refused, mostly ValueError
  bool isNumber = false;
};

/// All options of one configuration, in the order in which they are compared.
using OptionTable = std::vector<OptionRule>;

/// The option of this name, null if there is none.
const OptionRule* findOption(const OptionTable& table, std::string_view name);

/// Reads options to the end of the value and applies each. Throws ValueError for one that is not in the table.
void applyOptions(ValueReader& reader, const OptionTable& table);

}  // namespace ns::worker::options
