#pragma once

#include <cstddef>
#include <cstdint>

#include "encoding/Bytes.h"
#include "error/UnknownError.h"

namespace ns::encoding::hex {

inline constexpr char HexCharsUpper[] = "0123456789ABCDEF";
inline constexpr char HexCharsLower[] = "0123456789abcdef";

/// A text is not hex.
class HexError : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

/// Writes two capital hex digits a byte at `out`, which has room for 2 * `length`. Returns the end of what it wrote.
unsigned char* writeHex(unsigned char* out, const unsigned char* data, uint32_t length);

/// Appends two capital hex digits a byte, without separators.
void formatHex(Bytes& buffer, const unsigned char* data, uint32_t length);

/// Appends the bytes that a hex text of either case stands for. Throws HexError on an odd length, with nothing
/// appended, and on any other character, with the bytes before it appended.
void parseHex(Bytes& buffer, const char* text, uint64_t length);

}  // namespace ns::encoding::hex
