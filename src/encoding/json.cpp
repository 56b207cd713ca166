#include "encoding/json.h"

#include <array>
#include <cstring>

#include "encoding/data.h"
#include "encoding/words.h"

namespace ns::encoding::json {

/// For each byte what stands behind the backslash, or 0 where none is needed.
static constexpr auto Escapes = [] {
  std::array<unsigned char, 256> escapes{};
  escapes['\b'] = 'b';
  escapes['\t'] = 't';
  escapes['\n'] = 'n';
  escapes['\f'] = 'f';
  escapes['\r'] = 'r';
  for (const char c : {'"', '/', '\\'}) escapes[static_cast<unsigned char>(c)] = static_cast<unsigned char>(c);
  return escapes;
}();

/// Whether one of eight bytes may need an escape; the control characters up to 13 that need none are taken in, too.
/// Subtracting n from each byte at once sets the high bit of one below n. A borrow can do so only above such a byte,
/// so the answer for the word is right.
static bool mayNeedEscape(uint64_t word) {
  const uint64_t control = word - everyByte(14);
  const uint64_t quote = (word ^ everyByte('"')) - everyByte(1);
  const uint64_t slash = (word ^ everyByte('/')) - everyByte(1);
  const uint64_t backslash = (word ^ everyByte('\\')) - everyByte(1);
  return ((control | quote | slash | backslash) & ~word & everyByte(0x80)) != 0;
}

/// Without a branch on the byte: base64 text and paths have slashes at random.
static unsigned char* writeBytewise(unsigned char* out, const unsigned char* data, const unsigned char* end) {
  for (; data != end; ++data) {
    const unsigned char escape = Escapes[*data];
    *out = '\\';
    out += escape != 0 ? 1 : 0;
    *out++ = escape != 0 ? escape : *data;
  }
  return out;
}

unsigned char* writeJsonStr(unsigned char* out, const unsigned char* data, uint32_t length) {
  const unsigned char* const end = data + length;
  *out++ = '"';
  for (; end - data >= 8; data += 8) {
    const uint64_t word = loadWord(data);
    if (mayNeedEscape(word)) [[unlikely]] {
      out = writeBytewise(out, data, data + 8);
    } else {
      storeWord(out, word);
      out += 8;
    }
  }
  if (length >= 8 && data != end && !mayNeedEscape(loadWord(end - 8))) {
    // The last eight bytes at once. Those of them that are written already stand in `out` as they are.
    std::memcpy(out - (8 - (end - data)), end - 8, 8);
    out += end - data;
  } else {
    out = writeBytewise(out, data, end);
  }
  *out++ = '"';
  return out;
}

unsigned char* writeJsonKey(unsigned char* out, std::string_view key, bool first) {
  if (!first) *out++ = ',';
  *out++ = '"';
  std::memcpy(out, key.data(), key.size());
  out += key.size();
  *out++ = '"';
  *out++ = ':';
  return out;
}

void formatJsonKey(Bytes& buffer, std::string_view key, bool first) {
  unsigned char* const out = data::grow(buffer, jsonKeyRoom(key.size()));
  data::cut(buffer, writeJsonKey(out, key, first));
}

void formatJsonStr(Bytes& buffer, const unsigned char* data, uint32_t length) {
  unsigned char* const out = data::grow(buffer, jsonStrRoom(length));
  data::cut(buffer, writeJsonStr(out, data, length));
}

}  // namespace ns::encoding::json
