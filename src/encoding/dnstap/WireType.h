#pragma once

#include <cstdint>

namespace ns::encoding::dnstap {

/// How a value is laid out: the low 3 bits of each tag.
enum WireType : uint8_t { Varint = 0, Fixed64 = 1, LengthDelimited = 2, Fixed32 = 5 };

}  // namespace ns::encoding::dnstap
