#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/check/Findings.h"

namespace ns::tools::check {

/// An entry of the configuration file, and the line that it begins in.
struct SourceEntry {
  size_t line;
  std::string key;  // in lower case
  std::string value;
};

/// The entries of a configuration file in their order, by the rules of ConfigFile::read, which keeps no lines. Throws
/// ConfigError if the file can't be opened. Tells `findings` what is lost between the lines of the file: blanks,
/// carriage returns, and text behind a "#" that does not look like a comment.
std::vector<SourceEntry> readSource(const std::string& filename, Findings& findings);

}  // namespace ns::tools::check
