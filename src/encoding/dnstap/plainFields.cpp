#include "encoding/dnstap/plainFields.h"

#include "encoding/dnstap/WireCursor.h"

namespace ns::encoding::dnstap {

/// So many bytes are left wherever a field is read here: its tag, and the 8 that a number or a length may take.
static constexpr ptrdiff_t FieldRoom = 9;

// Each of these reads a value or a field at `at` and returns where it ends, or null if it is not plain.

static const unsigned char* readNumber(uint64_t& out, const unsigned char* at) {
  if (*at < 128) [[likely]] {
    out = *at;
    return at + 1;
  }
  const uint32_t width = readShortVarint(out, at);
  return width != 0 ? at + width : nullptr;
}

static const unsigned char* readFixed32(uint32_t& out, const unsigned char* at) {
  out = static_cast<uint32_t>(loadWord(at));
  return at + 4;
}

static const unsigned char* readBytes(DnstapView::Piece& out, const unsigned char* at, const unsigned char* end) {
  uint64_t size;
  const unsigned char* const first = readNumber(size, at);
  if (first == nullptr || size > static_cast<uint64_t>(end - first)) [[unlikely]]
    return nullptr;
  out = {first, size};
  return first + size;
}

static constexpr unsigned char tagOf(uint32_t field, WireType wireType) {
  return static_cast<unsigned char>(field << 3 | wireType);
}

static const unsigned char* readServerField(DnstapView& view, const unsigned char* at, const unsigned char* end) {
  switch (*at) {
    case tagOf(1, LengthDelimited): return readBytes(view.identity, at + 1, end);
    case tagOf(2, LengthDelimited): return readBytes(view.version, at + 1, end);
    case tagOf(3, LengthDelimited): return readBytes(view.extra, at + 1, end);
    default: return nullptr;
  }
}

static const unsigned char* readMessageField(DnstapView& view, const unsigned char* at, const unsigned char* end) {
  switch (*at) {
    case tagOf(1, Varint): return readNumber(view.type, at + 1);
    case tagOf(2, Varint): return readNumber(view.socket_family, at + 1);
    case tagOf(3, Varint): return readNumber(view.socket_protocol, at + 1);
    case tagOf(4, LengthDelimited): return readBytes(view.query_address, at + 1, end);
    case tagOf(5, LengthDelimited): return readBytes(view.response_address, at + 1, end);
    case tagOf(6, Varint): return readNumber(view.query_port, at + 1);
    case tagOf(7, Varint): return readNumber(view.response_port, at + 1);
    case tagOf(8, Varint): return readNumber(view.query_time_sec, at + 1);
    case tagOf(9, Fixed32): return readFixed32(view.query_time_nsec, at + 1);
    case tagOf(10, LengthDelimited): return readBytes(view.query_message, at + 1, end);
    case tagOf(12, Varint): return readNumber(view.response_time_sec, at + 1);
    case tagOf(13, Fixed32): return readFixed32(view.response_time_nsec, at + 1);
    case tagOf(14, LengthDelimited): return readBytes(view.response_message, at + 1, end);
    default: return nullptr;
  }
}

template <typename ReadField>
static uint32_t decodeWhilePlain(const unsigned char* data, uint32_t length, ReadField readField) {
  const unsigned char* at = data;
  const unsigned char* const end = data + length;
  while (end - at >= FieldRoom) {
    const unsigned char* const next = readField(at, end);
    if (next == nullptr) break;
    at = next;
  }
  return static_cast<uint32_t>(at - data);
}

uint32_t decodePlainServer(DnstapView& view, const unsigned char* data, uint32_t length) {
  return decodeWhilePlain(data, length, [&view](const unsigned char* at, const unsigned char* end) {
    return readServerField(view, at, end);
  });
}

uint32_t decodePlainMessage(DnstapView& view, const unsigned char* data, uint32_t length) {
  return decodeWhilePlain(data, length, [&view](const unsigned char* at, const unsigned char* end) {
    return readMessageField(view, at, end);
  });
}

}  // namespace ns::encoding::dnstap
