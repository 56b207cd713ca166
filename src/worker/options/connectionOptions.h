#pragma once

#include "net/SocketConfig.h"
#include "net/fstrm/FstrmSocketConfig.h"
#include "net/tls/TlsSocketConfig.h"
#include "worker/options/ValueReader.h"

namespace ns::worker::options {

/// What the options of both kinds of worker set.
struct ConnectionConfig {
  net::SocketConfig& socket;
  net::tls::TlsSocketConfig& tls;
  net::fstrm::FstrmSocketConfig& fstrm;
};

/// Applies an option that listeners and forwarders have in common. Returns false if `option` is none of those.
/// Throws ValueError with the option's own text for a value that is refused.
bool applyCommonOption(const Option& option, ConnectionConfig config);

}  // namespace ns::worker::options
