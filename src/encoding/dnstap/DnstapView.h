#pragma once

#include <cstdint>
#include <span>

#include "encoding/dnstap/DnstapEvent.h"

namespace ns::encoding::dnstap {

/// The fields of one dnstap record as DnstapEvent has them, but with its bytes where they are in the record, which has
/// to stay: decoding copies nothing.
struct DnstapView {
  using Piece = std::span<const unsigned char>;

  DnstapView() = default;
  explicit DnstapView(const DnstapEvent& event);

  /// Empties all fields: field by field, as the processor's one instruction for blocks is slow to start.
  void reset();

  /// Stores the fields in `event`, whose `encodedMessage` stays.
  void copyTo(DnstapEvent& event) const;

  Piece identity;
  Piece version;
  Piece extra;
  uint64_t type = 0;
  uint64_t socket_family = 0;
  uint64_t socket_protocol = 0;
  Piece query_address;
  Piece response_address;
  uint64_t query_port = 0;
  uint64_t response_port = 0;
  uint64_t query_time_sec = 0;
  uint32_t query_time_nsec = 0;
  Piece query_message;
  uint64_t response_time_sec = 0;
  uint32_t response_time_nsec = 0;
  Piece response_message;
};

}  // namespace ns::encoding::dnstap
