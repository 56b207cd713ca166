#pragma once

#include <cstdint>
#include <vector>

#include "error/UnknownError.h"
#include "net/SocketConfig.h"
#include "net/fstrm/FstrmSocketConfig.h"
#include "net/tls/TlsSocketConfig.h"
#include "worker/options/OptionRule.h"

namespace ns::worker::listener {

/// A `listener` value breaks its grammar.
class ListenerError : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

/// The settings of one listening socket and of all connections that it accepts.
struct ListenerConfig {
  uint32_t id = 0;  // running number among the listeners, from 0
  net::SocketConfig socket;
  net::tls::TlsSocketConfig tls;
  net::fstrm::FstrmSocketConfig fstrm;
};

struct ListenersConfig {
  std::vector<ListenerConfig> listeners;
};

/// The options of a `listener` value. They set the fields of `config`, which outlives them.
options::OptionTable listenerOptions(ListenerConfig& config);

/// Parses the value of a `listener` key into `config`, which holds its defaults: `unix <path>` or `ipv4|ipv6 <host>
/// <port>`, then options as `name=value`. Words and names are case-insensitive, and the path is lower-cased with them.
/// Throws ListenerError, or std::invalid_argument and std::out_of_range for a `mode` that is no octal number.
void parseListener(const char* value, ListenerConfig& config);

}  // namespace ns::worker::listener
