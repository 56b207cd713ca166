#pragma once

#include <string>
#include <vector>

#include "tools/check/SourceFile.h"
#include "worker/options/ValueReader.h"

namespace ns::tools::check {

/// The options of a `listener` or `forwarder` that parses, in their order. Values point to nothing else.
std::vector<worker::options::Option> readOptions(const SourceEntry& entry);

/// Whether listeners or forwarders take options of this name.
bool isOption(const std::string& name);

/// The word at `index`, as written: the daemon's own reader lowers words.
std::string rawWord(const std::string& value, size_t index);

}  // namespace ns::tools::check
