#pragma once

#include <cstdint>
#include <vector>

#include "error/UnknownError.h"
#include "net/SocketConfig.h"
#include "net/fstrm/FstrmSocketConfig.h"
#include "net/tls/TlsSocketConfig.h"
#include "worker/options/OptionRule.h"

namespace ns::worker::forwarder {

/// A `forwarder` value breaks its grammar.
class ForwarderError : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

/// The settings of one target.
struct ForwarderConfig {
  uint32_t id = 0;               // running number among the forwarders, from 0
  uint32_t batchSize = 100;      // most events in one batch
  bool recoverCurrent = true;    // on failure, return the batch in hand to the queue
  bool recoverPrevious = false;  // on failure, return the batch sent last too
  bool forceStdout = false;      // never connect, write to standard output
  net::SocketConfig socket;
  net::tls::TlsSocketConfig tls;
  net::fstrm::FstrmSocketConfig fstrm;
};

struct ForwardersConfig {
  std::vector<ForwarderConfig> forwarders;
};

/// The options of a `forwarder` value. They set the fields of `config`, which outlives them.
options::OptionTable forwarderOptions(ForwarderConfig& config);

/// Parses the value of a `forwarder` key into `config`, which holds its defaults: `ipv4|ipv6 <host> <port>`, then
/// options as `name=value`. Words and names are case-insensitive. Throws ForwarderError.
void parseForwarder(const char* value, ForwarderConfig& config);

}  // namespace ns::worker::forwarder
