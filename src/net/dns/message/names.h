#pragma once

#include <cstdint>

#include "net/dns/message/MessageText.h"

namespace ns::net::dns {

/// How many compression pointers one name may have: what ends a name that points at itself.
constexpr uint32_t MaxPointers = 127;

/// Where a name ends, and how many compression pointers were followed to read it.
struct NameEnd {
  uint32_t offset;
  uint32_t pointers;
};

/// Writes the name at `offset` of the DNS message of `length` bytes at `data` in presentation text (RFC 1035, 5.1),
/// following compression pointers (4.1.4) wherever they lead. Dots inside a label are not escaped: the text is for
/// display. The root name is "." with a trailing dot and empty without.
/// Returns the offset behind the name as it stands at `offset`. Throws DnsError or DataError.
NameEnd readName(uint32_t offset, const unsigned char* data, uint32_t length, MessageText& text);

}  // namespace ns::net::dns
