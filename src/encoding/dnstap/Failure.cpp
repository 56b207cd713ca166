#include "encoding/dnstap/Failure.h"

#include "encoding/dnstap/WireType.h"

namespace ns::encoding::dnstap {

bool Failure::set(Kind why, uint64_t what, uint64_t limit, const char* name) {
  kind = why;
  value = what;
  bound = limit;
  field = name;
  return false;
}

static const char* nameOf(uint64_t wireType) {
  if (wireType == Varint) return "varint";
  return wireType == Fixed32 ? "fixed32" : "bytes";
}

std::string Failure::text() const {
  const std::string number = std::to_string(value);
  const std::string limit = std::to_string(bound);
  const char byte = static_cast<char>(value);  // a wire type shows as the byte itself, not as a digit
  const std::string outOfBounds = number + " is out of bounds for data of " + limit + " bytes";
  switch (kind) {
    case Kind::VarintEnd: return "Read variable length encoded uint failed: Offset " + outOfBounds;
    case Kind::VarintBytes: return "Variable length encoded uint exceeds 10 bytes";
    case Kind::VarintBits: return "Variable length encoded uint exceeds 64 bits";
    case Kind::SkipEnd: return "Skip " + outOfBounds;
    case Kind::BytesLength:
      return "Invalid length " + number + " for bytes field with only " + limit + " bytes remaining";
    case Kind::DecodeFixed32: return "Not enough bytes to decode fixed32 field";
    case Kind::DecodeFixed64: return "Not enough bytes to decode fixed64 field";
    case Kind::SkipFixed32: return "Not enough bytes to skip fixed32 field";
    case Kind::SkipFixed64: return "Not enough bytes to skip fixed64 field";
    case Kind::UnknownWireType: return std::string("Decode dnstap failed: Unknown top-level field type ") + byte;
    case Kind::WrongWireType:
      return std::string("Expected ") + field + " field to use " + nameOf(bound) + " type but got " + byte;
    case Kind::RecordType: return "Expected type field to be 1 but got " + number;
    case Kind::NoMessageType: return "Message type field not found";
    case Kind::Circle: return "Decode dnstap failed: Record leads back to offset " + number + " for ever";
    case Kind::Overlap:
      return "Decode dnstap failed: Messages of " + number + " bytes overlap in a record of " + limit + " bytes";
  }
  return "";
}

}  // namespace ns::encoding::dnstap
