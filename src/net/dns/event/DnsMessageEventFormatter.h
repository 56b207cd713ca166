#pragma once

#include "encoding/Bytes.h"
#include "event/format/EventFormatterConfig.h"
#include "event/format/EventHeaderWriter.h"
#include "net/dns/event/DnsMessageEvent.h"
#include "net/dns/event/EventBody.h"
#include "net/dns/event/MoreTexts.h"
#include "net/dns/event/findDomains.h"
#include "net/dns/message/DnsMessage.h"

namespace ns::net::dns {

/// Makes text of one event after the other. For one thread: the message that it decodes into and the header's text are
/// its own, so every forwarder has a formatter of its own, made from the configuration of the one that it is given.
class DnsMessageEventFormatter {
 public:
  explicit DnsMessageEventFormatter(event::format::EventFormatterConfig config);

  const event::format::EventFormatterConfig& getConfig() const { return config; }

  /// Whether records are to pass as they came: there is no text then.
  bool isFormatDnstap() const { return formatDnstap; }

  /// Appends one event as a line and returns true; a DNS message that does not decode becomes an error event.
  /// Returns false, with `buffer` as it was, if there is no text for this format or type of event, or none within the
  /// limit of a complete event's line. `buffer` stays as it was on an exception, too, which only a lack of memory can
  /// cause.
  bool format(encoding::Bytes& buffer, const DnsMessageEvent& event);

 private:
  void prepare(const DnsMessageEvent& event, size_t start);

  DnsMessage message;
  MoreTexts moreTexts;
  CompleteParts parts{{}, {}, SIZE_MAX};  // of the event at hand
  event::format::EventFormatterConfig config;
  bool formatDnstap;
  const EventBody* body;  // null for a format without text
  DomainsOf domains;      // whose domains a response shows
  event::format::EventHeaderWriter header;
};

}  // namespace ns::net::dns
