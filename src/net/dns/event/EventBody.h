#pragma once

#include <cstdint>

#include "event/format/EventFormatterConfig.h"
#include "event/format/EventHeaderWriter.h"
#include "net/dns/event/DnsMessageEvent.h"
#include "net/dns/event/LineWriter.h"
#include "net/dns/event/findDomains.h"
#include "net/dns/message/DnsMessage.h"

namespace ns::net::dns {

/// An event and how it is to be shown.
struct EventView {
  const DnsMessageEvent& event;
  const DnsMessage& message;
  const event::format::EventFormatterConfig& config;
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

}  // namespace ns::net::dns
