#include "encoding/ip.h"
#include "tools/check/checkTls.h"
#include "tools/check/checkWorkers.h"
#include "tools/check/isThisMachine.h"

namespace ns::tools::check {

using worker::forwarder::ForwarderConfig;

static void checkHost(size_t line, const net::SocketConfig& config, Findings& findings) {
  if (!encoding::ip::isIp(config.host.c_str(), config.host.size())) return;  // a name
  encoding::Bytes address;
  const bool isIpv6 = encoding::ip::parseIp(address, config.host.c_str(), config.host.size()) == 1;
  if (isIpv6 == config.useIpv6) return;
  findings.error(line, "'" + config.host + "' is no " + (config.useIpv6 ? "IPv6" : "IPv4") +
                           " address: the forwarder never connects");
}

static void checkPrivacy(size_t line, const ForwarderConfig& config, Findings& findings) {
  if (!config.tls.enabled) {
    if (isThisMachine(config.socket.host)) return;
    findings.warn(line,
                  "without TLS to another machine: whoever is on the way can read the events, which are personal data");
  } else if (!config.tls.validate) {
    findings.warn(line, "tls-validate=off: any certificate passes as the target's");
  } else if (config.tls.serverName.empty()) {
    findings.warn(line, "tls-validate-server-name is empty: any valid certificate passes, whatever name it is for");
  }
}

void checkForwarders(const CheckedSettings& settings, Findings& findings) {
  for (size_t i = 0; i < settings.forwarders.forwarders.size(); ++i) {
    const ForwarderConfig& config = settings.forwarders.forwarders[i];
    const Entry& entry = settings.forwarderEntries[i];
    checkHost(entry.line, config.socket, findings);
    checkTlsOptions(entry, config.tls.enabled, findings);
    if (config.tls.enabled) checkTls(entry.line, false, config.tls, findings);
    checkPrivacy(entry.line, config, findings);
  }
  if (settings.forwarders.forwarders.empty()) {
    findings.warn(0, "no forwarder: events stay in the queue until newer ones push them out");
  }
}

}  // namespace ns::tools::check
