#pragma once

#include <cstdint>

#include "encoding/dnstap/DnstapView.h"
#include "encoding/dnstap/Failure.h"
#include "encoding/dnstap/WireCursor.h"

namespace ns::encoding::dnstap {

/// Sees to it that every walk over a record ends, in time proportional to the record.
///
/// An unknown field in the message makes the walk go on at an offset of the record that has nothing to do with where
/// the message stood (see DnstapDecoder), so it can go round for ever, or over the same bytes again and again. Where a
/// step leads depends on its offset alone, so an offset that comes back proves a circle. Single steps back prove
/// nothing: records with them may well end.
class WalkGuard {
 public:
  explicit WalkGuard(uint32_t length) : allowed(PerByte * length + AlwaysAllowed) {}

  /// Takes note of a step at the top level. Returns false if the walk goes round.
  /// Brent's algorithm: the mark moves on after 1, 2, 4, 8... steps, until the circle fits between mark and walk. A
  /// circle is found within three times as many steps as there are different offsets.
  bool step(uint32_t from, uint32_t to) {
    if (power == 0) {
      if (to > from) [[likely]]
        return true;  // only forward until now
      mark = to;
      power = 1;
      return true;
    }
    if (to == mark) return false;
    if (++taken == power) {
      mark = to;
      power *= 2;
      taken = 0;
    }
    return true;
  }

  /// Takes note of a message that is about to be walked through. Returns false if they have become too many.
  /// Without this, records whose walk ends could still keep a worker busy for the square of their length: n/4 offsets,
  /// each with a message that spans half of the record. (All else is bounded by itself: top-level offsets don't repeat;
  /// a long run of continuation bytes is skipped from at most ten tags before it; bytes are copied once, at the end.)
  /// The price: some crafted records that would end are refused, though none below 290 bytes, whose messages can't add
  /// up to more than AlwaysAllowed and PerByte give. Real records come nowhere near either.
  bool enter(uint32_t size) { return (walked += size) <= allowed; }

  uint64_t getWalked() const { return walked; }

 private:
  static constexpr uint64_t PerByte = 64;
  static constexpr uint64_t AlwaysAllowed = 65536;

  uint64_t allowed;
  uint64_t walked = 0;  // bytes of messages
  uint64_t power = 0;   // 0 until the first step back
  uint64_t taken = 0;
  uint32_t mark = 0;
};

/// One pass over one record.
///
/// What happens at a field of the message that is not decoded: its value is skipped, but the offset behind it, counted
/// from the start of the message, is taken for the offset in the record to go on at once the message has been walked
/// through, while inside of the message the walk goes on right behind the tag and takes the value for more fields. So
/// the query zone of a resolver's record (field 11) mostly ends in a wrong wire type. Readers of the output rely on
/// which records are refused, so this stays as it is.
class DnstapDecoder {
 public:
  DnstapDecoder(const unsigned char* data, uint32_t length, uint32_t offset)
      : data(data), length(length), offset(offset), guard(length) {}

  /// Walks through the record; each field goes to `view` as it is met. Returns false if it failed.
  bool decode(DnstapView& view);

  /// Walks until the message type. Returns false if it failed.
  bool findType(uint64_t& type);

  uint32_t getOffset() const { return offset; }
  const Failure& getFailure() const { return failure; }

 private:
  bool decodeField(DnstapView& view);
  bool decodeServerField(DnstapView& view, WireCursor source, uint32_t number, uint8_t wireType);
  bool decodeRecordType(WireCursor source, uint8_t wireType);
  bool decodeMessage(DnstapView& view, WireCursor message);
  bool findTypeInMessage(uint64_t& type, bool& found, WireCursor message);
  bool openMessage(WireCursor& message, WireCursor source, uint8_t wireType);
  bool skipUnknown(WireCursor source, uint8_t wireType);
  bool finishStep(uint32_t from);

  const unsigned char* data;
  uint32_t length;
  uint32_t offset;  // in the record
  WalkGuard guard;
  Failure failure;
};

}  // namespace ns::encoding::dnstap
