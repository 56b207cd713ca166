#pragma once

#include <string>
#include <vector>

#include "tools/check/Findings.h"
#include "tools/check/SourceFile.h"

namespace ns::tools::check {

/// Drops the entries that the daemon passes over, and tells of them: unknown keys and repeated single keys.
void dropIgnored(std::vector<Entry>& entries, Findings& findings);

/// Tells of values that are not read as they were meant: numbers with text behind them or with more than 32 bits, and
/// options that another one takes as its value.
void checkValues(const std::vector<Entry>& entries, Findings& findings);

}  // namespace ns::tools::check
