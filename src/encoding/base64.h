#pragma once

#include <cstddef>
#include <cstdint>

#include "encoding/Bytes.h"
#include "error/UnknownError.h"

namespace ns::encoding::base64 {

/// The standard alphabet (RFC 4648, 4), the padding character last.
inline constexpr char Base64Chars[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";

/// A text is not base64.
class Base64Error : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

/// The number of characters that `length` bytes give.
constexpr size_t base64Length(uint32_t length) { return (size_t{length} + 2) / 3 * 4; }

/// Writes base64 with padding and without line breaks at `out`, which has room for base64Length(`length`).
/// Returns the end of what it wrote.
unsigned char* writeBase64(unsigned char* out, const unsigned char* data, uint32_t length);

/// Appends base64 with padding and without line breaks.
void formatBase64(Bytes& buffer, const unsigned char* data, uint32_t length);

/// Appends the bytes that a base64 text stands for. Tabs, line feeds, carriage returns and blanks are passed over
/// wherever they stand; padding is a must. Throws Base64Error, with the bytes before the fault appended.
void parseBase64(Bytes& buffer, const char* text, uint64_t length);

}  // namespace ns::encoding::base64
