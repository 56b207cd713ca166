#pragma once

#include "net/tls/TlsSocketConfig.h"
#include "tools/check/Findings.h"
#include "tools/check/SourceFile.h"

namespace ns::tools::check {

/// What every handshake with these settings would fail with before a byte is sent: files that can't be read, a key that
/// doesn't fit its certificate, unknown versions and ciphers. And certificates that are not, or not for long, valid,
/// and suites that protect too little.
void checkTls(size_t line, bool isServer, const net::tls::TlsSocketConfig& config, Findings& findings);

/// Tells of TLS options on a line that doesn't turn TLS on.
void checkTlsOptions(const Entry& entry, bool enabled, Findings& findings);

}  // namespace ns::tools::check
