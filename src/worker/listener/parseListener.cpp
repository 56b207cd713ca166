#include <limits>
#include <string>

#include "worker/listener/ListenerConfig.h"
#include "worker/options/connectionOptions.h"
#include "worker/options/values.h"

namespace ns::worker::listener {

using options::Option;
using options::ValueError;
using options::ValueReader;

static constexpr size_t MaxPathLength = 107;  // sun_path of unix(7) less its terminator

static void parsePath(ValueReader& reader, ListenerConfig& config) {
  config.socket.path = reader.readWord();
  const size_t length = config.socket.path.length();
  if (length == 0) throw ValueError("Invalid path");
  if (length > MaxPathLength) {
    // One less than the length, as docs/reference/configuration.md has it: provisioning scripts match this text.
    throw ValueError("Path length " + std::to_string(length - 1) + " is larger than limit of 107");
  }
}

static void parseHostAndPort(ValueReader& reader, ListenerConfig& config) {
  config.socket.host = reader.readWord();
  if (config.socket.host.empty()) throw ValueError("Invalid host");
  config.tls.validate = false;
  config.tls.serverName = config.socket.host;
  config.socket.port = options::parsePort(reader.readWord());
}

static void parseEndpoint(ValueReader& reader, ListenerConfig& config) {
  const std::string protocol = reader.readWord();
  if (protocol != "unix" && protocol != "ipv4" && protocol != "ipv6") throw ValueError("Invalid protocol");
  config.socket.useUnix = protocol == "unix";
  config.socket.useIpv6 = protocol == "ipv6";
  if (config.socket.useUnix) {
    parsePath(reader, config);
  } else {
    parseHostAndPort(reader, config);
  }
}

static void applyMode(const Option& option, ListenerConfig& config) {
  constexpr unsigned long MaxMode = 0777;
  const unsigned long mode = std::stoul(option.value, nullptr, 8);
  if (mode < 1 || mode > MaxMode) options::failOption(option);
  config.socket.mode = static_cast<uint32_t>(mode);
}

static void applyGroup(const Option& option, ListenerConfig& config) {
  if (option.value.empty()) options::failOption(option);
  config.socket.group = option.value;
}

options::OptionTable listenerOptions(ListenerConfig& config) {
  constexpr int64_t MaxCount = std::numeric_limits<uint32_t>::max();
  const options::OptionTable own = {
      {"keepalive", config.socket.keepalive, 0, MaxCount},
      {"listen-backlog", config.socket.listenBacklog, 1, MaxCount},
      {"max-connections", config.socket.maxConnections, 1, MaxCount},
      {"fstrm-data-frame-max-size", config.fstrm.dataFrameMaxSize, 1},
      {"mode", [&](const Option& option) { applyMode(option, config); }},
      {"group", [&](const Option& option) { applyGroup(option, config); }},
      {"tls-server-name", config.tls.serverName},
      {"tls-certificate-cert-file", config.tls.certFile},
      {"tls-certificate-key-file", config.tls.keyFile},
  };
  options::OptionTable all = options::connectionOptions(config.socket, config.tls, config.fstrm);
  all.insert(all.end(), own.begin(), own.end());
  return all;
}

void parseListener(const char* value, ListenerConfig& config) {
  try {
    ValueReader reader(value);
    parseEndpoint(reader, config);
    options::applyOptions(reader, listenerOptions(config));
  } catch (const ValueError& e) { throw ListenerError(e.what()); }
}

}  // namespace ns::worker::listener
