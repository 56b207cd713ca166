#pragma once

#include <span>

#include "encoding/Bytes.h"
#include "net/dns/event/DnsMessageEvent.h"

namespace ns::net::dns {

/// Names that a record has beside its DNS message, as text. Used again from event to event.
class MoreTexts {
 public:
  /// Names end in a dot if `trailingDot`.
  void read(const DnsMessageEvent::More& more, bool trailingDot);

  /// The zone; empty if the record has none, or one that is no name.
  std::span<const unsigned char> getZone() const { return zone; }
  /// The policy's rule: a name, as a response policy zone has them, or else the bytes as presentation text.
  std::span<const unsigned char> getPolicyRule() const { return policyRule; }

 private:
  encoding::Bytes zone;
  encoding::Bytes policyRule;
};

}  // namespace ns::net::dns
