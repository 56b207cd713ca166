#pragma once

#include <cstdint>
#include <string>

#include "worker/options/ValueReader.h"

// What the words and options of a `listener` or `forwarder` value are read as. All of them throw ValueError.
namespace ns::worker::options {

/// The number that an option's value begins with, as strtol(3) reads it. Throws unless it is in `least` to `most`; the
/// result is cut to 32 bits.
uint32_t parseNumber(const Option& option, int64_t least, int64_t most);

/// "on" or "off", exactly. Throws for anything else.
bool parseSwitch(const Option& option);

/// A port number at the start of `word`, from 1 to 65535. Throws for anything else.
uint16_t parsePort(const std::string& word);

/// Throws the error of a value that `option` does not take.
[[noreturn]] void failOption(const Option& option);

}  // namespace ns::worker::options
