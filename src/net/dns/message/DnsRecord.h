#pragma once

#include <cstdint>

#include "net/dns/message/TextView.h"

namespace ns::net::dns {

/// One resource record (RFC 1035, 4.1.3) with its name and data as presentation text.
struct DnsRecord {
  TextView name;           // of the owner, case as in the packet
  TextView nameLowercase;  // the same with A to Z turned into a to z, where it was asked for
  uint16_t type = 0;
  uint16_t rrclass = 0;
  uint32_t ttl = 0;  // seconds, as read
  TextView rdata;
  uint32_t domainOffset = 0;  // where the domain begins in `nameLowercase`; set where an output shows it
};

}  // namespace ns::net::dns
