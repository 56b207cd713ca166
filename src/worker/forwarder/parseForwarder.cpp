#include <string>

#include "worker/forwarder/ForwarderConfig.h"
#include "worker/options/connectionOptions.h"
#include "worker/options/values.h"

namespace ns::worker::forwarder {

using options::Option;
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
  if (value != "drop" && value != "best-effort" && value != "durable") options::failOption(option);
  config.recoverCurrent = value != "drop";
  config.recoverPrevious = value == "durable";
}

static void applyMode(const Option& option, ForwarderConfig& config) {
  if (option.value != "bidirectional" && option.value != "unidirectional") options::failOption(option);
  config.fstrm.bidirectional = option.value == "bidirectional";
}

options::OptionTable forwarderOptions(ForwarderConfig& config) {
  const options::OptionTable own = {
      {"connect-timeout", config.socket.connectTimeout, 1, options::MaxTimeout},
      {"batch-size", config.batchSize, 1},
      {"recovery", [&](const Option& option) { applyRecovery(option, config); }},
      {"fstrm-mode", [&](const Option& option) { applyMode(option, config); }},
      {"tls-validate-server-name", config.tls.serverName},
      {"tls-client-certificate", config.tls.useCertificate},
      {"tls-client-certificate-cert-file", config.tls.certFile},
      {"tls-client-certificate-key-file", config.tls.keyFile},
  };
  options::OptionTable all = options::connectionOptions(config.socket, config.tls, config.fstrm);
  all.insert(all.end(), own.begin(), own.end());
  return all;
}

void parseForwarder(const char* value, ForwarderConfig& config) {
  try {
    ValueReader reader(value);
    parseEndpoint(reader, config);
    options::applyOptions(reader, forwarderOptions(config));
  } catch (const ValueError& e) { throw ForwarderError(e.what()); }
}

}  // namespace ns::worker::forwarder
