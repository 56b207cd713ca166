#include "encoding/dnstap/DnstapDecoder.h"

#include <array>

#include "encoding/dnstap/plainFields.h"

namespace ns::encoding::dnstap {

// Fields of the record.
static constexpr uint32_t IdentityField = 1;
static constexpr uint32_t ExtraField = 3;
static constexpr uint32_t MessageField = 14;
static constexpr uint32_t RecordTypeField = 15;
static constexpr uint32_t MessageTypeField = 1;  // within the message

static constexpr std::array<const char*, 3> ServerFields = {"identity", "version", "extra"};

static constexpr std::array<DnstapView::Piece DnstapView::*, 3> ServerTargets = {
    &DnstapView::identity, &DnstapView::version, &DnstapView::extra};

static constexpr uint8_t NoWireType = 8;  // more than the 3 bits of a tag hold

/// How a field of the message is named in failures, must look on the wire, and where it goes.
struct FieldLayout {
  const char* name = nullptr;  // null for numbers that are not decoded
  uint8_t wireType = NoWireType;
  uint64_t DnstapView::*varint = nullptr;
  uint32_t DnstapView::*fixed32 = nullptr;
  DnstapView::Piece DnstapView::*piece = nullptr;
};

static constexpr FieldLayout number(const char* name, uint64_t DnstapView::*target) { return {name, Varint, target}; }
static constexpr FieldLayout number(const char* name, uint32_t DnstapView::*target) {
  return {name, Fixed32, nullptr, target};
}
static constexpr FieldLayout bytes(const char* name, DnstapView::Piece DnstapView::*target) {
  return {name, LengthDelimited, nullptr, nullptr, target};
}

static constexpr std::array<FieldLayout, 15> MessageLayout = {{
    {},  // there is no field 0
    number("message type", &DnstapView::type),
    number("message socket_family", &DnstapView::socket_family),
    number("message socket_protocol", &DnstapView::socket_protocol),
    bytes("message query_address", &DnstapView::query_address),
    bytes("message response_address", &DnstapView::response_address),
    number("message query_port", &DnstapView::query_port),
    number("message response_port", &DnstapView::response_port),
    number("message query_time_sec", &DnstapView::query_time_sec),
    number("message query_time_nsec", &DnstapView::query_time_nsec),
    bytes("message query_message", &DnstapView::query_message),
    {},  // the query zone
    number("message response_time_sec", &DnstapView::response_time_sec),
    number("message response_time_nsec", &DnstapView::response_time_nsec),
    bytes("message response_message", &DnstapView::response_message),
}};

bool DnstapDecoder::decode(DnstapView& view) {
  if (offset < length) offset += decodePlainServer(view, data + offset, length - offset);
  while (offset < length) {
    const uint32_t from = offset;
    if (!decodeField(view) || !finishStep(from)) return false;
  }
  return true;
}

bool DnstapDecoder::finishStep(uint32_t from) {
  if (guard.step(from, offset)) [[likely]]
    return true;
  return failure.set(Failure::Kind::Circle, offset);
}

bool DnstapDecoder::decodeField(DnstapView& view) {
  WireCursor source{data, length, offset, failure};
  uint32_t field;
  uint8_t wireType;
  if (!source.tag(field, wireType)) return false;
  if (field >= IdentityField && field <= ExtraField) return decodeServerField(view, source, field, wireType);
  if (field == RecordTypeField) return decodeRecordType(source, wireType);
  if (field != MessageField) return skipUnknown(source, wireType);
  WireCursor message = source;
  return openMessage(message, source, wireType) && decodeMessage(view, message);
}

static bool readPiece(DnstapView::Piece& piece, WireCursor& source) {
  uint64_t size = 0;
  if (!source.bytesLength(size)) return false;
  piece = {source.data + source.offset, static_cast<size_t>(size)};
  source.offset += static_cast<uint32_t>(size);
  return true;
}

bool DnstapDecoder::decodeServerField(DnstapView& view, WireCursor source, uint32_t number, uint8_t wireType) {
  const size_t index = number - IdentityField;
  if (wireType != LengthDelimited)
    return failure.set(Failure::Kind::WrongWireType, wireType, LengthDelimited, ServerFields[index]);
  if (!readPiece(view.*ServerTargets[index], source)) return false;
  offset = source.offset;
  return true;
}

bool DnstapDecoder::decodeRecordType(WireCursor source, uint8_t wireType) {
  if (wireType != Varint) return failure.set(Failure::Kind::WrongWireType, wireType, Varint, "type");
  uint64_t value;
  if (!source.varint(value)) return false;
  if (value != 1) return failure.set(Failure::Kind::RecordType, value);
  offset = source.offset;
  return true;
}

/// Makes `message` the source of the message's bytes and moves on behind it in the record.
bool DnstapDecoder::openMessage(WireCursor& message, WireCursor source, uint8_t wireType) {
  if (wireType != LengthDelimited)
    return failure.set(Failure::Kind::WrongWireType, wireType, LengthDelimited, "message");
  uint64_t size;
  if (!source.bytesLength(size)) return false;
  message.data = data + source.offset;
  message.length = static_cast<uint32_t>(size);
  message.offset = 0;
  offset = source.offset + message.length;
  if (!guard.enter(message.length)) return failure.set(Failure::Kind::Overlap, guard.getWalked(), length);
  return true;
}

/// Skips a value. Where it ends in its own source becomes the offset in the record, whichever source that is.
bool DnstapDecoder::skipUnknown(WireCursor source, uint8_t wireType) {
  if (!source.skip(wireType)) return false;
  offset = source.offset;
  return true;
}

bool DnstapDecoder::decodeMessage(DnstapView& view, WireCursor message) {
  message.offset = decodePlainMessage(view, message.data, message.length);
  while (message.offset < message.length) {
    uint32_t field;
    uint8_t wireType;
    if (!message.tag(field, wireType)) return false;
    const FieldLayout& layout = MessageLayout[field < MessageLayout.size() ? field : 0];
    if (wireType != layout.wireType) [[unlikely]] {
      if (layout.name != nullptr)
        return failure.set(Failure::Kind::WrongWireType, wireType, layout.wireType, layout.name);
      if (!skipUnknown(message, wireType)) return false;  // `message` itself stays behind the tag
    } else if (wireType == Varint) {
      if (!message.varint(view.*layout.varint)) return false;
    } else if (wireType == Fixed32) {
      if (!message.fixed32(view.*layout.fixed32)) return false;
    } else if (!readPiece(view.*layout.piece, message)) {
      return false;
    }
  }
  return true;
}

/// A message without a type always fails here: the walk within it goes from tag to tag, and nothing is left to skip
/// behind the last one. So what skipUnknown() stores in a message is never gone by, and there are no circles but in
/// records near 4 GiB, where the sum of an offset and a width goes round.
bool DnstapDecoder::findType(uint64_t& type) {
  while (offset < length) {
    const uint32_t from = offset;
    WireCursor source{data, length, offset, failure};
    uint32_t field;
    uint8_t wireType;
    if (!source.tag(field, wireType)) return false;
    if (field == MessageField) {
      WireCursor message = source;
      bool found = false;
      if (!openMessage(message, source, wireType) || !findTypeInMessage(type, found, message)) return false;
      if (found) return true;
    } else if (!skipUnknown(source, wireType)) {
      return false;
    }
    if (!finishStep(from)) return false;
  }
  return failure.set(Failure::Kind::NoMessageType);
}

bool DnstapDecoder::findTypeInMessage(uint64_t& type, bool& found, WireCursor message) {
  while (message.offset < message.length) {
    uint32_t field;
    uint8_t wireType;
    if (!message.tag(field, wireType)) return false;
    if (field == MessageTypeField) {
      if (wireType != Varint) return failure.set(Failure::Kind::WrongWireType, wireType, Varint, "message type");
      found = true;
      return message.varint(type);
    }
    if (!skipUnknown(message, wireType)) return false;
  }
  return true;
}

}  // namespace ns::encoding::dnstap
