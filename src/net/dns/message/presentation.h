#pragma once

#include <cstdint>

#include "net/dns/message/RdataWriter.h"

namespace ns::net::dns {

/// Writes all of the record data at which `writer` stands in the form in which a zone file has it for a record of type
/// `type` (RFC 1035, 5.1, and the RFC of each type): readers of zone files make the same bytes of it again. Every name
/// ends in a dot. What has no such form, and data that is not as its RFC has it, takes that of RFC 3597: a bad record
/// throws nothing. Fields end where the record does; a name may go on at a pointer's target before it.
/// Throws DnsError only for too much text.
void writePresentation(RdataWriter& writer, uint16_t type);

}  // namespace ns::net::dns
