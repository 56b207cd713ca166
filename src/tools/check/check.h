#pragma once

#include <string>

#include "tools/check/Findings.h"

namespace ns::tools::check {

/// Everything that is wrong or doubtful about a configuration file, for a daemon that runs as the calling user on this
/// machine. Goes to the file's folder, as the daemon does, and leaves all files as they are.
Findings check(const std::string& filename);

}  // namespace ns::tools::check
