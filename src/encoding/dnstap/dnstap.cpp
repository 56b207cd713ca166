#include "encoding/dnstap/dnstap.h"

#include "encoding/data.h"
#include "encoding/dnstap/WireCursor.h"
#include "encoding/dnstap/fields.h"

namespace ns::encoding::dnstap {

[[noreturn, gnu::cold, gnu::noinline]] static void fail(const Failure& failure) { throw DnstapError(failure.text()); }

/// Runs one reader on a source at `offset`. Returns the offset behind the value, or throws.
template <class Reader>
static uint32_t readOne(const unsigned char* data, uint32_t length, uint32_t offset, Reader&& reader) {
  Failure failure;
  WireCursor cursor{data, length, offset, failure};
  if (!reader(cursor)) fail(failure);
  return cursor.offset;
}

uint32_t decodeVarint(uint64_t& out, const unsigned char* data, uint32_t length, uint32_t offset) {
  return readOne(data, length, offset, [&](WireCursor& cursor) { return cursor.varint(out); });
}
uint32_t decodeFixed32(uint32_t& out, const unsigned char* data, uint32_t length, uint32_t offset) {
  return readOne(data, length, offset, [&](WireCursor& cursor) { return cursor.fixed32(out); });
}
uint32_t decodeFixed64(uint64_t& out, const unsigned char* data, uint32_t length, uint32_t offset) {
  return readOne(data, length, offset, [&](WireCursor& cursor) { return cursor.fixed64(out); });
}
uint32_t decodeTag(uint32_t& number, uint8_t& wireType, const unsigned char* data, uint32_t length, uint32_t offset) {
  return readOne(data, length, offset, [&](WireCursor& cursor) { return cursor.tag(number, wireType); });
}
uint32_t decodeBytesLength(uint64_t& out, const unsigned char* data, uint32_t length, uint32_t offset) {
  return readOne(data, length, offset, [&](WireCursor& cursor) { return cursor.bytesLength(out); });
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
  return readOne(data, length, offset, [&](WireCursor& cursor) { return cursor.skip(wireType); });
}

static void clear(Bytes& bytes) { bytes.clear(); }
template <class Number>
static void clear(Number& number) {
  number = 0;
}

void resetDnstapEvent(DnstapEvent& event, bool clearIdentity) {
  const auto clearField = [&](const auto& field) { clear(event.*field.event); };
  if (clearIdentity) {
    forEachField<RecordFields>(clearField);
  } else {
    forEachField<MessageFields>(clearField);
  }
}

uint32_t decodeDnstapEvent(DnstapEvent& event, const unsigned char* data, uint32_t length, uint32_t offset) {
  DnstapView view;
  DnstapDecoder walk(data, length, offset);
  const bool decoded = walk.decode(view);
  view.copyTo(event);
  if (!decoded) fail(walk.getFailure());
  return walk.getOffset();
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

static void encodeField(Bytes& buffer, const VarintField& field, const DnstapEvent& event) {
  const uint64_t value = event.*field.event;
  if (value == 0 && field.written == Written::IfSet) return;
  encodeTag(buffer, field.number, Varint);
  encodeVarint(buffer, value);
}

static void encodeField(Bytes& buffer, const Fixed32Field& field, const DnstapEvent& event) {
  const uint32_t value = event.*field.event;
  if (value == 0 && field.written == Written::IfSet) return;
  encodeTag(buffer, field.number, Fixed32);
  encodeFixed32(buffer, value);
}

static void encodeField(Bytes& buffer, const BytesField& field, const DnstapEvent& event) {
  const Bytes& value = event.*field.event;
  if (value.empty() && field.written == Written::IfSet) return;
  encodeTag(buffer, field.number, LengthDelimited);
  encodeBytes(buffer, value.data(), static_cast<uint32_t>(value.size()));
}

static void encodeField(Bytes& buffer, const Constant& field, const DnstapEvent&) {
  encodeTag(buffer, field.number, Varint);
  encodeVarint(buffer, field.value);
}

template <const auto& Table>
static void encodeFields(Bytes& buffer, DnstapEvent& event) {
  forEachLine<Table>([&](const auto& line) { encodeField(buffer, line, event); });
}

template <const auto& Table>
static void encodeField(Bytes& buffer, const Nested<Table>& field, DnstapEvent& event) {
  Bytes& message = event.*field.built;
  message.clear();
  encodeFields<Table>(message, event);
  if (message.empty()) return;
  encodeTag(buffer, field.number, LengthDelimited);
  encodeBytes(buffer, message.data(), static_cast<uint32_t>(message.size()));
}

void encodeDnstapEvent(Bytes& buffer, DnstapEvent& event) { encodeFields<RecordFields>(buffer, event); }

}  // namespace ns::encoding::dnstap
