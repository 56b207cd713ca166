#pragma once

#include <string>

namespace ns::tools::check {

/// Whether `host` is a loopback address or "localhost". Other names are not looked up.
bool isThisMachine(const std::string& host);

}  // namespace ns::tools::check
