#pragma once

#include <cstdint>

#include "net/dns/message/RdataWriter.h"

namespace ns::net::dns {

/// Writes all of the record data at which `writer` stands, as presentation text of a record of type `type`; the types
/// that have no form here take that of RFC 3597. Throws DnsError or DataError.
void writeRdata(RdataWriter& writer, uint16_t type);

}  // namespace ns::net::dns
