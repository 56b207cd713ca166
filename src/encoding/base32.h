#pragma once

#include <cstddef>
#include <cstdint>

#include "encoding/Bytes.h"

namespace ns::encoding::base32 {

/// The extended-hex alphabet (RFC 4648, 7), which keeps the order of the bytes: that of NSEC3 hashes (RFC 5155, 3.3).
inline constexpr char Base32Chars[] = "0123456789ABCDEFGHIJKLMNOPQRSTUV";

/// The number of characters that `length` bytes give.
constexpr size_t base32Length(uint32_t length) { return (size_t{length} * 8 + 4) / 5; }

/// Writes extended-hex base32 in capitals, without padding, at `out`, which has room for base32Length(`length`).
/// Returns the end of what it wrote.
unsigned char* writeBase32(unsigned char* out, const unsigned char* data, uint32_t length);

/// Appends extended-hex base32 in capitals, without padding.
void formatBase32(Bytes& buffer, const unsigned char* data, uint32_t length);

}  // namespace ns::encoding::base32
