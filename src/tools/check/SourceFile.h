#pragma once

#include <string>
#include <vector>

#include "app/config/ConfigFile.h"
#include "tools/check/Findings.h"

namespace ns::tools::check {

using Entry = app::config::ConfigFile::Entry;

/// The entries of a configuration file in their order. Throws ConfigError if the file can't be opened. Tells `findings`
/// what is lost between the lines of the file: blanks, carriage returns, and text behind a "#" that does not look like
/// a comment.
std::vector<Entry> readSource(const std::string& filename, Findings& findings);

}  // namespace ns::tools::check
