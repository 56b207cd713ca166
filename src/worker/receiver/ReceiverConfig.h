#pragma once

#include <cstdint>

#include "net/SocketConfig.h"
#include "net/fstrm/FstrmSocketConfig.h"
#include "net/tls/TlsSocketConfig.h"

namespace ns::worker::receiver {

/// The settings of one inbound connection, copied from those of its listener.
struct ReceiverConfig {
  uint32_t id = 0;           // the accepted socket's id: 0, 1, 2 and so on within one listener
  net::SocketConfig socket;  // `keepalive` and `readTimeout` are read here
  net::tls::TlsSocketConfig tls;
  net::fstrm::FstrmSocketConfig fstrm;
};

}  // namespace ns::worker::receiver
