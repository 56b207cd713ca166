#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "event/format/EventFormatterConfig.h"
#include "event/format/EventHeaderWriter.h"
#include "net/dns/event/DnsMessageEvent.h"
#include "net/dns/event/LineWriter.h"
#include "net/dns/event/findDomains.h"
#include "net/dns/message/DnsMessage.h"

namespace ns::net::dns {

/// What only complete events have beside the record and its message.
struct CompleteParts {
  std::span<const unsigned char> zone;  // texts of the record's names
  std::span<const unsigned char> policyRule;
  size_t end;  // how long the buffer of the line may become
};

/// An event and how it is to be shown.
struct EventView {
  const DnsMessageEvent& event;
  const DnsMessage& message;
  const event::format::EventFormatterConfig& config;
  const CompleteParts& parts;  // of complete events
};

/// What a text format makes of an event, behind a header and up to and with the line feed. The writers make all the
/// room they need, and throw std::bad_alloc if there is none, with the line as far as it was written.
struct EventBody {
  event::format::EventHeaderWriter::Kind header;

  /// For how many dnstap message types, from 0 on, there are words.
  uint64_t types;

  /// Whose domains a response's line shows; a query's has that of the question, or none.
  DomainsOf (*domains)(const event::format::EventFormatterConfig& config);

  /// Writes an event whose DNS message decoded, with the domains found, of one of the types.
  void (*write)(LineWriter& line, const EventView& view);

  /// Writes an event whose DNS message did not decode.
  void (*writeError)(LineWriter& line, const EventView& view);
};

extern const EventBody json_body;
extern const EventBody querylog_body;

/// The same for complete events: with all that records and messages tell, and lines no longer than the view allows.
/// Records are left out from the end of a line that would be, and what else has no bound if that is not enough.
extern const EventBody complete_json_body;
extern const EventBody complete_querylog_body;

}  // namespace ns::net::dns
