#include "net/dns/event/findDomains.h"

#include "net/dns/domain/suffixes.h"

using ns::event::format::EventFormatterConfig;

namespace ns::net::dns {

static uint32_t findDomain(const DnsMessage& message, TextView name, const EventFormatterConfig& config) {
  return getDomainSuffixOffset(message.at(name).data(), name.length, config.domainSuffixBuiltin,
                               config.domainSuffixConfig);
}

static void findInSection(const DnsMessage& message, DnsMessage::Section& section, uint16_t count,
                          const EventFormatterConfig& config) {
  TextView known = message.qnameLowercase;
  uint32_t knownOffset = message.domainOffset;
  for (uint32_t i = 0; i < count; ++i) {
    DnsRecord& record = section[i];
    if (record.nameLowercase == message.qnameLowercase) {
      record.domainOffset = message.domainOffset;
    } else if (record.nameLowercase == known) {
      record.domainOffset = knownOffset;
    } else {
      record.domainOffset = findDomain(message, record.nameLowercase, config);
    }
    known = record.nameLowercase;
    knownOffset = record.domainOffset;
  }
}

void findDomains(DnsMessage& message, DomainsOf names, const EventFormatterConfig& config) {
  if (names >= DomainsOf::Question && message.qdcount != 0)
    message.domainOffset = findDomain(message, message.qnameLowercase, config);
  if (names >= DomainsOf::Answers) findInSection(message, message.answers, message.ancount, config);
  if (names >= DomainsOf::AllRecords) {
    if (message.nscount != 0) findInSection(message, message.authorities, message.nscount, config);
    if (message.arcount != 0) findInSection(message, message.additionals, message.arcount, config);
  }
}

}  // namespace ns::net::dns
