#pragma once

#include <cstdint>

#include "encoding/Bytes.h"
#include "encoding/Tail.h"
#include "net/dns/message/TextBudget.h"

namespace ns::net::dns {

/// Appends the `rdlength` bytes of record data at `offset` of the DNS message of `length` bytes at `data` to `rdata`,
/// as presentation text of a record of type `type`; the types that have no form here take that of RFC 3597. Throws
/// DnsError or DataError, with nothing appended.
void decodeDnsMessageRdata(uint32_t offset, const unsigned char* data, uint32_t length, uint16_t type,
                           uint32_t rdlength, encoding::Bytes& rdata, bool withTrailingDot);

/// decodeDnsMessageRdata as a part of a text: what it adds must stay within `budget`, which is only looked at.
void writeRdata(uint32_t offset, const unsigned char* data, uint32_t length, uint16_t type, uint32_t rdlength,
                encoding::data::Tail& text, bool withTrailingDot, const TextBudget& budget);

/// Throws the DnsError of record data that runs past the end of the message.
[[noreturn, gnu::cold]] void failRdataBounds(uint32_t offset, uint32_t rdlength, uint32_t length);

}  // namespace ns::net::dns
