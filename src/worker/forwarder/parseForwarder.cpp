#include <limits>
#include <string>

#include "worker/forwarder/ForwarderConfig.h"
#include "worker/options/connectionOptions.h"
#include "worker/options/values.h"

namespace ns::worker::forwarder {

using options::failOption;
using options::Option;
using options::parseNumber;
using options::parseSwitch;
using options::ValueError;
using options::ValueReader;

static void parseEndpoint(ValueReader& reader, ForwarderConfig& config) {
  const std::string protocol = reader.readWord();
  if (protocol != "ipv4" && protocol != "ipv6") throw ValueError("Invalid protocol");
  config.socket.useUnix = false;
  config.socket.useIpv6 = protocol == "ipv6";
  config.socket.host = reader.readWord();
  if (config.socket.host.empty()) throw ValueError("Invalid host");
  config.socket.port = options::parsePort(reader.readWord());
  config.tls.serverName = config.socket.host;
}

static void applyRecovery(const Option& option, ForwarderConfig& config) {
  const std::string& value = option.value;
  if (value != "drop" && value != "best-effort" && value != "durable") failOption(option);
  config.recoverCurrent = value != "drop";
  config.recoverPrevious = value == "durable";
}

static void applyMode(const Option& option, ForwarderConfig& config) {
  if (option.value != "bidirectional" && option.value != "unidirectional") failOption(option);
  config.fstrm.bidirectional = option.value == "bidirectional";
}

static void applyOption(const Option& option, ForwarderConfig& config) {
  constexpr int64_t MaxTimeout = 120;  // seconds
  const std::string& name = option.name;
  if (options::applyCommonOption(option, {config.socket, config.tls, config.fstrm})) return;

  if (name == "connect-timeout") {
    config.socket.connectTimeout = parseNumber(option, 1, MaxTimeout);
  } else if (name == "batch-size") {
    config.batchSize = parseNumber(option, 1, std::numeric_limits<int64_t>::max());
  } else if (name == "recovery") {
    applyRecovery(option, config);
  } else if (name == "fstrm-mode") {
    applyMode(option, config);
  } else if (name == "tls-validate-server-name") {
    config.tls.serverName = option.value;
  } else if (name == "tls-client-certificate") {
    config.tls.useCertificate = parseSwitch(option);
  } else if (name == "tls-client-certificate-cert-file") {
    config.tls.certFile = option.value;
  } else if (name == "tls-client-certificate-key-file") {
    config.tls.keyFile = option.value;
  } else {
    throw ValueError("Unknown parameter '" + name + "'");
  }
}

void parseForwarder(const char* value, ForwarderConfig& config) {
  try {
    ValueReader reader(value);
    parseEndpoint(reader, config);
    while (!reader.atEnd()) applyOption(reader.readOption(), config);
  } catch (const ValueError& e) { throw ForwarderError(e.what()); }
}

}  // namespace ns::worker::forwarder
