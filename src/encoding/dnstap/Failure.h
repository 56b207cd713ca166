#pragma once

#include <cstdint>
#include <string>

namespace ns::encoding::dnstap {

/// Why a record is refused: what its text is built from, if anyone asks for it.
struct Failure {
  enum class Kind : uint8_t {
    VarintEnd,        // `value` is the offset, `bound` the length of the source
    VarintBytes,      // more than 10
    VarintBits,       // more than 64
    SkipEnd,          // as VarintEnd
    BytesLength,      // `value` is the length, `bound` what is left of the source
    DecodeFixed32,    // fewer than 4 bytes are left
    DecodeFixed64,    // fewer than 8
    SkipFixed32,      // fewer than 4
    SkipFixed64,      // fewer than 8
    UnknownWireType,  // `value` is the wire type
    WrongWireType,    // `field` should have had wire type `bound` and has `value`
    RecordType,       // `value` is the type
    NoMessageType,    // up to the record's end
    Circle,           // `value` is the offset that comes back
    Overlap,          // `value` is the number of bytes that the messages add up to, `bound` the record's length
  };

  Kind kind{};
  const char* field = nullptr;
  uint64_t value = 0;
  uint64_t bound = 0;

  /// Notes a failure. Returns false, so that a reader can return the call. Out of line, to keep the readers small.
  [[gnu::cold, gnu::noinline]] bool set(Kind why, uint64_t what = 0, uint64_t limit = 0, const char* name = nullptr);

  /// The text for the log.
  std::string text() const;
};

}  // namespace ns::encoding::dnstap
