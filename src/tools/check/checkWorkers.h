#pragma once

#include "tools/check/CheckedSettings.h"

namespace ns::tools::check {

/// What a listener or forwarder that parses will meet when it opens its socket and its certificates.
void checkListeners(const CheckedSettings& settings, Findings& findings);
void checkForwarders(const CheckedSettings& settings, Findings& findings);

}  // namespace ns::tools::check
