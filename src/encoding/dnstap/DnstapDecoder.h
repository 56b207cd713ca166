#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "encoding/CircleGuard.h"
#include "encoding/dnstap/DnstapView.h"
#include "encoding/dnstap/Failure.h"
#include "encoding/dnstap/WireCursor.h"

namespace ns::encoding::dnstap {

/// Decodes the record of `length` bytes at `data` without copying any and without exceptions: a stream of bad records
/// costs less than one of good ones. No value is checked for its range, and no field must be there. Returns false if
/// the bytes are no record; `view` then holds what stood before the fault.
[[nodiscard]] bool tryDecodeDnstapEvent(DnstapView& view, const unsigned char* data, uint32_t length);

/// The same, but a field that the schema doesn't have is stepped over by its wire type, at any level, and the view's
/// fields beside those of a DnstapEvent are read, too. A known field with another wire type, a length beyond its source
/// and a group (wire types 3 and 4) make the bytes no record. What is read is what any reader of the schema
/// (https://protobuf.dev/programming-guides/encoding/) reads.
[[nodiscard]] bool tryDecodeWholeRecord(DnstapView& view, const unsigned char* data, uint32_t length);

/// Bounds the bytes of all messages that a walk over a record goes through, so that it takes time in proportion to the
/// record.
///
/// Without it, records whose walk ends could still keep a worker busy for the square of their length: n/4 offsets, each
/// with a message that spans half of the record. (All else is bounded by itself: top-level offsets don't repeat; a long
/// run of continuation bytes is skipped from at most ten tags before it; bytes are copied once, at the end.)
/// The price: some crafted records that would end are refused, though none below 290 bytes, whose messages can't add up
/// to more than AlwaysAllowed and PerByte give. Real records come nowhere near either.
class MessageBudget {
 public:
  explicit MessageBudget(uint32_t length) : allowed(PerByte * length + AlwaysAllowed) {}

  /// Takes note of a message that is about to be walked through. Returns false if they have become too many.
  bool spend(uint32_t size) { return (spent += size) <= allowed; }

  uint64_t getSpent() const { return spent; }

 private:
  static constexpr uint64_t PerByte = 64;
  static constexpr uint64_t AlwaysAllowed = 65536;

  uint64_t allowed;
  uint64_t spent = 0;  // in bytes
};

/// One pass over one record.
///
/// What happens at a field of the message that is not decoded: its value is skipped, but the offset behind it, counted
/// from the start of the message, is taken for the offset in the record to go on at once the message has been walked
/// through, while inside of the message the walk goes on right behind the tag and takes the value for more fields. So
/// the query zone of a resolver's record (field 11) mostly ends in a wrong wire type. Readers of the output rely on
/// which records are refused, so this stays as it is.
/// As that offset has nothing to do with where the message stood, a walk can step back, go over the same bytes again
/// and again, or go round for ever: `circle` and `budget` see to it that it ends.
class DnstapDecoder {
 public:
  DnstapDecoder(const unsigned char* data, uint32_t length, uint32_t offset)
      : data(data), length(length), offset(offset), budget(length) {}

  /// Walks through the record; each field goes to `view` as it is met. Returns false if it failed; `view` then holds
  /// the fields before the fault.
  bool decode(DnstapView& view);

  /// Walks until the message type. Returns false if it failed, also if there is none.
  bool findType(uint64_t& type);

  /// Where the walk stands.
  uint32_t getOffset() const { return offset; }

  /// Why it failed.
  const Failure& getFailure() const { return failure; }

 private:
  WireCursor nextField();
  bool endField(const WireCursor& field);
  template <const auto& Table>
  bool decodeField(DnstapView& view, WireCursor& cursor);
  template <class Line>
  bool decodeLine(DnstapView& view, WireCursor& cursor, uint8_t wireType, const Line& line);
  template <const auto& Table>
  bool decodeMessage(DnstapView& view, WireCursor& cursor);
  bool enterMessage(std::span<const unsigned char>& message, WireCursor& cursor);
  bool skipUnknown(WireCursor value, uint8_t wireType);
  bool findTypeInField(uint64_t& type, bool& found, WireCursor& record);

  const unsigned char* data;
  uint32_t length;
  uint32_t offset;                 // of the next field of the record
  std::optional<uint32_t> detour;  // where the record goes on instead, by an unknown field
  CircleGuard circle;
  MessageBudget budget;
  Failure failure;
};

}  // namespace ns::encoding::dnstap
