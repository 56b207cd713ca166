#pragma once

#include <string>
#include <vector>

#include "tools/check/SourceFile.h"
#include "worker/options/OptionRule.h"

namespace ns::tools::check {

/// The options of a `listener` or `forwarder` that parses, in their order.
std::vector<worker::options::Option> readOptions(const Entry& entry);

/// What listeners or forwarders take by this name, which may stand in capitals; null if it is no option of theirs.
const worker::options::OptionRule* findOption(const std::string& name);

/// The word at `index`, as written: the daemon's own reader lowers words.
std::string rawWord(const std::string& value, size_t index);

}  // namespace ns::tools::check
