#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "encoding/Bytes.h"

namespace ns::encoding::json {

/// What writeJsonKey and writeJsonStr need as room: a string may double, and gets two quotes.
constexpr size_t jsonKeyRoom(size_t length) { return length + 4; }
constexpr size_t jsonStrRoom(uint32_t length) { return 2 * size_t{length} + 2; }

/// Writes a comma unless `first`, the key in double quotes and a colon at `out`, which has room for
/// jsonKeyRoom(`key.size()`). The key is not escaped. Returns the end of what it wrote.
unsigned char* writeJsonKey(unsigned char* out, std::string_view key, bool first);

/// Writes a JSON string at `out`, which has room for jsonStrRoom(`length`): `\b \t \n \f \r \" \/ \\` are escaped.
/// Every other byte passes as it is, other control characters and bytes that are no UTF-8 included.
/// Returns the end of what it wrote.
unsigned char* writeJsonStr(unsigned char* out, const unsigned char* data, uint32_t length);

/// Append what writeJsonKey and writeJsonStr write.
void formatJsonKey(Bytes& buffer, std::string_view key, bool first);
void formatJsonStr(Bytes& buffer, const unsigned char* data, uint32_t length);

}  // namespace ns::encoding::json
