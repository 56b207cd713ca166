#pragma once

#include <cstddef>
#include <cstdint>

#include "encoding/Bytes.h"
#include "error/UnknownError.h"

namespace ns::encoding::ip {

/// A text is not an IP address.
class IpError : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

/// What the writers of addresses need as room. For IPv4 one byte more than the longest text.
constexpr size_t Ipv4Room = 16;
constexpr size_t Ipv6Room = 39;

/// Writes 4 bytes as dotted decimal at `out`, which has room for Ipv4Room. Returns the end of what it wrote.
unsigned char* writeIpv4(unsigned char* out, const unsigned char* address);

/// Writes 16 bytes as colon hex at `out`, which has room for Ipv6Room. Returns the end of what it wrote.
/// The form of RFC 5952: lower case, the first of the longest runs of zero groups as "::", a single one as "0".
/// IPv4-mapped addresses get no dotted form.
unsigned char* writeIpv6(unsigned char* out, const unsigned char* address);

/// Append 4 bytes as dotted decimal, or 16 bytes as colon hex.
void formatIpv4(Bytes& buffer, const unsigned char* address);
void formatIpv6(Bytes& buffer, const unsigned char* address);

/// Appends the 4 or 16 bytes of an address in text, in network order. Returns 0 for IPv4 and 1 for IPv6.
/// Takes what inet_pton(3) takes; a zero byte ends the text. Throws IpError otherwise, with nothing appended.
int parseIp(Bytes& buffer, const char* text, uint64_t length);

/// Whether parseIp takes the text.
bool isIp(const char* text, uint64_t length);

}  // namespace ns::encoding::ip
