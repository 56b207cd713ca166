#include "net/dns/domain/suffixes.h"
#include "net/dns/event/eventBodies.h"

using ns::event::format::EventFormatterConfig;

namespace ns::net::dns {

static uint32_t findOffset(const DnsMessage& message, TextView name, const EventFormatterConfig& config) {
  return getDomainSuffixOffset(message.at(name).data(), name.length, config.domainSuffixBuiltin,
                               config.domainSuffixConfig);
}

void findDomain(DnsMessage& message, const EventFormatterConfig& config) {
  message.domainOffset = findOffset(message, message.qnameLowercase, config);
}

void findDomain(const DnsMessage& message, DnsMessage::Section& section, uint32_t index,
                const EventFormatterConfig& config) {
  DnsRecord& record = section[index];
  if (record.nameLowercase == message.qnameLowercase) {
    record.domainOffset = message.domainOffset;
  } else if (index != 0 && record.nameLowercase == section[index - 1].nameLowercase) {
    record.domainOffset = section[index - 1].domainOffset;
  } else {
    record.domainOffset = findOffset(message, record.nameLowercase, config);
  }
}

}  // namespace ns::net::dns
