#include "worker/options/values.h"

#include <cstdlib>

namespace ns::worker::options {

uint32_t parseNumber(const Option& option, int64_t least, int64_t most) {
  const long number = std::strtol(option.value.c_str(), nullptr, 10);
  if (number < least || number > most) failOption(option);
  return static_cast<uint32_t>(number);
}

bool parseSwitch(const Option& option) {
  if (option.value != "on" && option.value != "off") failOption(option);
  return option.value == "on";
}

uint16_t parsePort(const std::string& word) {
  const long number = std::strtol(word.c_str(), nullptr, 10);
  if (number < 1 || number > 65535) throw ValueError("Invalid port");
  return static_cast<uint16_t>(number);
}

void failOption(const Option& option) { throw ValueError("Invalid " + option.name + " option"); }

}  // namespace ns::worker::options
