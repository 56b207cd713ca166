#pragma once

#include <cstdint>

#include "encoding/Bytes.h"
#include "net/dns/message/RdataWriter.h"

namespace ns::net::dns {

/// Writes all of the record data at which `writer` stands, as presentation text of a record of type `type`; the types
/// that have no form here take that of RFC 3597. Throws DnsError or DataError.
void writeRdata(RdataWriter& writer, uint16_t type);

/// Appends the `rdlength` bytes of record data at `offset` of the DNS message of `length` bytes at `data` to `rdata`.
/// Throws as above, with nothing appended.
void decodeDnsMessageRdata(uint32_t offset, const unsigned char* data, uint32_t length, uint16_t type,
                           uint32_t rdlength, encoding::Bytes& rdata, bool withTrailingDot);

}  // namespace ns::net::dns
