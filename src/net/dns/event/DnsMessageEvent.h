#pragma once

#include <cstdint>
#include <span>

#include "encoding/dnstap/DnstapView.h"
#include "net/dns/event/AddressText.h"

namespace ns::net::dns {

/// What the text of one event needs of a dnstap record. Reused from record to record.
struct DnsMessageEvent {
  uint64_t type = 0;  // dnstap message type
  bool isQuery = false;
  uint64_t seconds = 0;  // since the epoch
  uint32_t nanoseconds = 0;
  uint64_t proto = 0;  // dnstap socket protocol
  AddressText server;  // the responding address; empty if the record had none
  AddressText client;  // the querying address
  uint64_t port = 0;   // of the querying side, for responses, too

  /// The DNS message, inside the dnstap record, which must stay as it is until the event is formatted.
  std::span<const unsigned char> message;

  /// What only complete events show. Bytes are in the dnstap record; empty, or 0, if it has none.
  struct More {
    std::span<const unsigned char> identity;
    std::span<const unsigned char> version;
    std::span<const unsigned char> zone;        // a DNS name in wire format
    std::span<const unsigned char> policyRule;  // text, or a DNS name in wire format
    uint64_t policyAction = 0;
    uint64_t httpProtocol = 0;
    uint64_t serverPort = 0;
    int64_t latency = -1;  // from query to response in microseconds; below 0 for none
  };
  More more;
};

/// What became of a dnstap record.
enum class Extraction {
  Event,    ///< an event to be formatted
  Skipped,  ///< not one that is reported: no query or response, or one without its DNS message
  Broken    ///< breaks the rules
};

/// The most that DnsMessageEvent::nanoseconds may be.
constexpr uint32_t MaxNanoseconds = 999999999;

/// Picks what an event needs out of a dnstap record. Never throws: the road of every event, broken ones included.
/// A broken one leaves in `event` what was picked before the fault was found.
Extraction tryExtractDnsMessageEvent(DnsMessageEvent& event, const encoding::dnstap::DnstapView& record) noexcept;

/// The same for complete events: of updates, too (types 13 and 14), with DnsMessageEvent::more, and with the record's
/// other time where it lacks its own. The record was read by tryDecodeWholeRecord.
Extraction tryExtractCompleteEvent(DnsMessageEvent& event, const encoding::dnstap::DnstapView& record) noexcept;

}  // namespace ns::net::dns
