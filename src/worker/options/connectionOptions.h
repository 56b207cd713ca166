#pragma once

#include "net/SocketConfig.h"
#include "net/fstrm/FstrmSocketConfig.h"
#include "net/tls/TlsSocketConfig.h"
#include "worker/options/OptionRule.h"

namespace ns::worker::options {

/// The options that listeners and forwarders have in common.
OptionTable connectionOptions(net::SocketConfig& socket, net::tls::TlsSocketConfig& tls,
                              net::fstrm::FstrmSocketConfig& fstrm);

}  // namespace ns::worker::options
