#pragma once

#include <span>

#include "encoding/dnstap/DnstapEvent.h"

namespace ns::encoding::dnstap {

/// One dnstap record with its bytes where they are in the record, which has to stay: decoding copies nothing.
struct DnstapView : DnstapRecord<std::span<const unsigned char>> {
  using Piece = std::span<const unsigned char>;

  // What only tryDecodeWholeRecord() reads, of the message:
  Piece query_zone{};   // a DNS name in wire format
  Piece policy_rule{};  // of its policy
  uint64_t policy_action = 0;
  uint64_t http_protocol = 0;

  DnstapView() = default;
  explicit DnstapView(const DnstapEvent& event);

  /// Empties all fields that a DnstapEvent has, too.
  void reset();

  /// Stores the fields in `event`, whose `encodedMessage` stays.
  void copyTo(DnstapEvent& event) const;
};

}  // namespace ns::encoding::dnstap
