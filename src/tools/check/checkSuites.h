#pragma once

#include "net/tls/TlsSocketConfig.h"
#include "tools/check/Findings.h"

namespace ns::tools::check {

/// Tells of the suites that OpenSSL would use with these settings and that protect less than one expects of TLS. Of
/// TLS 1.3 there are none.
void checkSuites(size_t line, const net::tls::TlsSocketConfig& config, Findings& findings);

}  // namespace ns::tools::check
