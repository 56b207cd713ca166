#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "encoding/Bytes.h"
#include "net/dns/DnsRecord.h"

namespace ns::net::dns {

/// One DNS message (RFC 1035, 4.1), all names and record data as presentation text. Decoded into over and over: records
/// stay for later messages, with the memory of their vectors, so the counts say how many are valid, never the sizes.
struct DnsMessage {
  using Section = std::vector<std::unique_ptr<DnsRecord>>;

  DnsMessage() = default;
  DnsMessage(const DnsMessage&) = delete;  // records refer to `domainOffset`
  DnsMessage& operator=(const DnsMessage&) = delete;

  std::string error;  // empty after a good decode, else the whole failure; the sections then mean nothing
  uint32_t size = 0;  // of the packet in bytes
  uint16_t id = 0;
  uint16_t flags = 0;    // the second word of the header
  uint16_t qdcount = 0;  // 1 after a good decode
  uint16_t ancount = 0;
  uint16_t nscount = 0;
  uint16_t arcount = 0;            // without the records that are not kept
  encoding::Bytes qname;           // case as in the packet
  encoding::Bytes qnameLowercase;  // the same with A to Z turned into a to z
  uint16_t qtype = 0;
  uint16_t qclass = 0;
  uint32_t domainOffset = 0;  // where the domain begins in `qnameLowercase`; set where an output shows it
  Section answers;
  Section authorities;
  Section additionals;

  size_t memory = 0;  // bytes that the vectors of all records hold
};

}  // namespace ns::net::dns
