#include "encoding/ip.h"
#include "tools/check/checkTls.h"
#include "tools/check/checkWorkers.h"

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

void checkForwarders(const Settings& settings, Findings& findings) {
  for (size_t i = 0; i < settings.forwarders.forwarders.size(); ++i) {
    const ForwarderConfig& config = settings.forwarders.forwarders[i];
    const SourceEntry& entry = settings.forwarderEntries[i];
    checkHost(entry.line, config.socket, findings);
    checkTlsOptions(entry, config.tls.enabled, findings);
    if (!config.tls.enabled) continue;
    checkTls(entry.line, false, config.tls, findings);
    if (!config.tls.validate) findings.warn(entry.line, "tls-validate=off: any certificate passes as the target's");
  }
  if (settings.forwarders.forwarders.empty()) {
    findings.warn(0, "no forwarder: events stay in the queue until newer ones push them out");
  }
}

}  // namespace ns::tools::check
