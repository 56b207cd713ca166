#include "worker/options/OptionRule.h"

#include <algorithm>
#include <utility>

#include "worker/options/values.h"

namespace ns::worker::options {

OptionRule::OptionRule(const char* name, uint32_t& field, int64_t least, int64_t most)
    : name(name),
      apply([&field, least, most](const Option& option) { field = parseNumber(option, least, most); }),
      isNumber(true) {}

OptionRule::OptionRule(const char* name, bool& field)
    : name(name), apply([&field](const Option& option) { field = parseSwitch(option); }) {}

OptionRule::OptionRule(const char* name, std::string& field)
    : name(name), apply([&field](const Option& option) { field = option.value; }) {}

OptionRule::OptionRule(const char* name, std::function<void(const Option&)> apply)
    : name(name), apply(std::move(apply)) {}

const OptionRule* findOption(const OptionTable& table, std::string_view name) {
  const auto found =
      std::find_if(table.begin(), table.end(), [=](const OptionRule& rule) { return rule.name == name; });
  return found == table.end() ? nullptr : &*found;
}

void applyOptions(ValueReader& reader, const OptionTable& table) {
  while (!reader.atEnd()) {
    const Option option = reader.readOption();
    const OptionRule* const rule = findOption(table, option.name);
    if (rule == nullptr) throw ValueError("Unknown parameter '" + option.name + "'");
    rule->apply(option);
  }
}

}  // namespace ns::worker::options
