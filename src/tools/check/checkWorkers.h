#pragma once

#include "tools/check/Settings.h"

namespace ns::tools::check {

/// What a listener or forwarder that parses will meet when it opens its socket and its certificates.
void checkListeners(const Settings& settings, Findings& findings);
void checkForwarders(const Settings& settings, Findings& findings);

}  // namespace ns::tools::check
