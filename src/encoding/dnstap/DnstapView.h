#pragma once

#include <span>

#include "encoding/dnstap/DnstapEvent.h"

namespace ns::encoding::dnstap {

/// One dnstap record with its bytes where they are in the record, which has to stay: decoding copies nothing.
struct DnstapView : DnstapRecord<std::span<const unsigned char>> {
  using Piece = std::span<const unsigned char>;

  DnstapView() = default;
  explicit DnstapView(const DnstapEvent& event);

  /// Empties all fields.
  void reset();

  /// Stores the fields in `event`, whose `encodedMessage` stays.
  void copyTo(DnstapEvent& event) const;
};

}  // namespace ns::encoding::dnstap
