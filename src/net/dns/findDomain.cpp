#include "net/dns/eventBodies.h"
#include "net/dns/suffixes.h"

using ns::event::format::EventFormatterConfig;

namespace ns::net::dns {

static uint32_t findOffset(const encoding::Bytes& name, const EventFormatterConfig& config) {
  return getDomainSuffixOffset(name.data(), static_cast<uint32_t>(name.size()), config.domainSuffixBuiltin,
                               config.domainSuffixConfig);
}

void findDomain(DnsMessage& message, const EventFormatterConfig& config) {
  message.domainOffset = findOffset(message.qnameLowercase, config);
}

void findDomain(DnsRecord& record, const EventFormatterConfig& config) {
  record.domainOffset =
      record.sharedDomainOffset != nullptr ? *record.sharedDomainOffset : findOffset(record.nameLowercase, config);
}

}  // namespace ns::net::dns
