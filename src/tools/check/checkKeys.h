#pragma once

#include <string>
#include <vector>

#include "tools/check/Findings.h"
#include "tools/check/SourceFile.h"

namespace ns::tools::check {

/// Drops the entries that the daemon passes over, and tells of them: unknown keys and repeated single keys.
void dropIgnored(std::vector<SourceEntry>& entries, Findings& findings);

/// The text of `known` that needs the fewest changes of a character to become `word`; empty if even it needs more than
/// half as many as `word` has.
std::string findNearest(const std::string& word, const std::vector<std::string>& known);

/// Tells of values that are not read as they were meant: numbers with text behind them or with more than 32 bits, and
/// options that another one takes as its value.
void checkValues(const std::vector<SourceEntry>& entries, Findings& findings);

}  // namespace ns::tools::check
