#include "encoding/dnstap/dnstap.h"

#include "encoding/data.h"
#include "encoding/dnstap/DnstapDecoder.h"
#include "encoding/dnstap/WireCursor.h"

namespace ns::encoding::dnstap {

[[noreturn, gnu::cold, gnu::noinline]] static void fail(const Failure& failure) { throw DnstapError(failure.text()); }

/// Runs one reader on a source at `offset`. Returns the offset behind the value, or throws.
template <class Reader>
static uint32_t readOne(const unsigned char* data, uint32_t length, uint32_t offset, Reader&& reader) {
  Failure failure;
  WireCursor source{data, length, offset, failure};
  if (!reader(source)) fail(failure);
  return source.offset;
}

uint32_t decodeVarint(uint64_t& out, const unsigned char* data, uint32_t length, uint32_t offset) {
  return readOne(data, length, offset, [&](WireCursor& source) { return source.varint(out); });
}
uint32_t decodeFixed32(uint32_t& out, const unsigned char* data, uint32_t length, uint32_t offset) {
  return readOne(data, length, offset, [&](WireCursor& source) { return source.fixed32(out); });
}
uint32_t decodeFixed64(uint64_t& out, const unsigned char* data, uint32_t length, uint32_t offset) {
  return readOne(data, length, offset, [&](WireCursor& source) { return source.fixed64(out); });
}
uint32_t decodeTag(uint32_t& number, uint8_t& wireType, const unsigned char* data, uint32_t length, uint32_t offset) {
  return readOne(data, length, offset, [&](WireCursor& source) { return source.tag(number, wireType); });
}
uint32_t decodeBytesLength(uint64_t& out, const unsigned char* data, uint32_t length, uint32_t offset) {
  return readOne(data, length, offset, [&](WireCursor& source) { return source.bytesLength(out); });
}
uint32_t skipVarint(const unsigned char* data, uint32_t length, uint32_t offset) {
  return skip(Varint, data, length, offset);
}
uint32_t skipFixed32(const unsigned char* data, uint32_t length, uint32_t offset) {
  return skip(Fixed32, data, length, offset);
}
uint32_t skipFixed64(const unsigned char* data, uint32_t length, uint32_t offset) {
  return skip(Fixed64, data, length, offset);
}
uint32_t skipBytes(const unsigned char* data, uint32_t length, uint32_t offset) {
  return skip(LengthDelimited, data, length, offset);
}
uint32_t skip(uint8_t wireType, const unsigned char* data, uint32_t length, uint32_t offset) {
  return readOne(data, length, offset, [&](WireCursor& source) { return source.skip(wireType); });
}

void resetDnstapEvent(DnstapEvent& event, bool clearIdentity) {
  if (clearIdentity) {
    event.identity.clear();
    event.version.clear();
    event.extra.clear();
  }
  event.type = event.socket_family = event.socket_protocol = 0;
  event.query_port = event.response_port = 0;
  event.query_time_sec = event.response_time_sec = 0;
  event.query_time_nsec = event.response_time_nsec = 0;
  event.query_address.clear();
  event.response_address.clear();
  event.query_message.clear();
  event.response_message.clear();
}

uint32_t decodeDnstapEvent(DnstapEvent& event, const unsigned char* data, uint32_t length, uint32_t offset) {
  DnstapView view;
  DnstapDecoder walk(data, length, offset);
  const bool decoded = walk.decode(view);
  view.copyTo(event);
  if (!decoded) fail(walk.getFailure());
  return walk.getOffset();
}

bool tryDecodeDnstapEvent(DnstapView& view, const unsigned char* data, uint32_t length) {
  view.reset();
  return DnstapDecoder(data, length, 0).decode(view);
}

uint64_t getDnstapEventType(const DnstapEvent&, const unsigned char* data, uint32_t length, uint32_t offset) {
  DnstapDecoder walk(data, length, offset);
  uint64_t type;
  if (!walk.findType(type)) fail(walk.getFailure());
  return type;
}

void encodeVarint(Bytes& buffer, uint64_t value) { data::encodeUintVle(buffer, value); }

void encodeFixed32(Bytes& buffer, uint32_t value) {
  unsigned char* out = data::grow(buffer, sizeof(value));
  for (size_t i = 0; i < sizeof(value); ++i) *out++ = static_cast<unsigned char>(value >> (8 * i));
}

void encodeTag(Bytes& buffer, uint32_t number, uint8_t wireType) {
  encodeVarint(buffer, uint64_t{number} * 8 + wireType);
}

void encodeBytes(Bytes& buffer, const unsigned char* data, uint32_t length) {
  encodeVarint(buffer, length);
  data::formatBytes(buffer, data, length);
}

static void encodeVarintField(Bytes& buffer, uint32_t number, uint64_t value) {
  if (value == 0) return;
  encodeTag(buffer, number, Varint);
  encodeVarint(buffer, value);
}

static void encodeFixed32Field(Bytes& buffer, uint32_t number, uint32_t value) {
  if (value == 0) return;
  encodeTag(buffer, number, Fixed32);
  encodeFixed32(buffer, value);
}

static void encodeBytesField(Bytes& buffer, uint32_t number, const Bytes& value) {
  if (value.empty()) return;
  encodeTag(buffer, number, LengthDelimited);
  encodeBytes(buffer, value.data(), static_cast<uint32_t>(value.size()));
}

/// In this order, which is not that of the numbers: records that were compared byte by byte must not change.
static void encodeMessage(Bytes& buffer, const DnstapEvent& event) {
  encodeTag(buffer, 1, Varint);
  encodeVarint(buffer, event.type);
  encodeVarintField(buffer, 2, event.socket_family);
  encodeVarintField(buffer, 3, event.socket_protocol);
  encodeBytesField(buffer, 4, event.query_address);
  encodeBytesField(buffer, 5, event.response_address);
  encodeVarintField(buffer, 6, event.query_port);
  encodeVarintField(buffer, 8, event.query_time_sec);
  encodeFixed32Field(buffer, 9, event.query_time_nsec);
  encodeBytesField(buffer, 10, event.query_message);
  encodeVarintField(buffer, 7, event.response_port);
  encodeVarintField(buffer, 12, event.response_time_sec);
  encodeFixed32Field(buffer, 13, event.response_time_nsec);
  encodeBytesField(buffer, 14, event.response_message);
}

void encodeDnstapEvent(Bytes& buffer, DnstapEvent& event) {
  event.encodedMessage.clear();
  encodeMessage(event.encodedMessage, event);
  encodeBytesField(buffer, 1, event.identity);
  encodeBytesField(buffer, 2, event.version);
  encodeBytesField(buffer, 3, event.extra);
  encodeVarintField(buffer, 15, 1);
  encodeBytesField(buffer, 14, event.encodedMessage);
}

}  // namespace ns::encoding::dnstap
