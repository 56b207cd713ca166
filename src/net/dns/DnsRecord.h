#pragma once

#include <cstdint>

#include "encoding/Bytes.h"

namespace ns::net::dns {

/// One resource record (RFC 1035, 4.1.3) with its name and data as presentation text.
struct DnsRecord {
  encoding::Bytes name;           // of the owner, case as in the packet
  encoding::Bytes nameLowercase;  // the same with A to Z turned into a to z
  uint16_t type = 0;
  uint16_t rrclass = 0;
  uint32_t ttl = 0;  // seconds, as read
  encoding::Bytes rdata;
  uint32_t domainOffset = 0;  // where the domain begins in `nameLowercase`; set where an output shows it

  /// The `domainOffset` of the question or record that this record's owner name was copied from, which is then right
  /// here, too; null if the name was read for itself.
  const uint32_t* sharedDomainOffset = nullptr;

  size_t memory = 0;  // bytes that the vectors hold, as DnsMessage::memory has counted them
};

}  // namespace ns::net::dns
