#include "net/dns/event/DnsMessageEventFormatter.h"

#include <utility>

#include "net/dns/message/decodeDnsMessage.h"

using ns::event::format::EventFormatterConfig;
using ns::event::format::EventHeaderWriter;

namespace ns::net::dns {

static const EventBody* bodyOf(uint32_t messageFormat) {
  switch (messageFormat) {
    case event::format::FormatJson: return &json_body;
    case event::format::FormatQuerylog: return &querylog_body;
    default: return nullptr;
  }
}

DnsMessageEventFormatter::DnsMessageEventFormatter(EventFormatterConfig config)
    : config(std::move(config)),
      formatDnstap(this->config.messageFormat == event::format::FormatDnstap),
      body(bodyOf(this->config.messageFormat)),
      domains(body != nullptr ? body->domains(this->config) : DomainsOf::Nothing),
      header(this->config, body != nullptr ? body->header : EventHeaderWriter::Kind::Syslog) {}

bool DnsMessageEventFormatter::format(encoding::Bytes& buffer, const DnsMessageEvent& event) {
  if (body == nullptr) return false;
  const bool withDomains = domains != DomainsOf::Nothing;
  decodeDnsMessage(event.message.data(), static_cast<uint32_t>(event.message.size()), message,
                   {.trailingDot = config.fqdnTrailingDot, .lowercase = withDomains});
  const bool decoded = message.error.empty();
  if (decoded && event.type >= body->types) return false;
  if (decoded && withDomains) findDomains(message, event.isQuery ? DomainsOf::Question : domains, config);

  LineWriter line(buffer);
  header.write(line, static_cast<int64_t>(event.seconds), event.nanoseconds);
  (decoded ? body->write : body->writeError)(line, {event, message, config});
  line.finish();
  return true;
}

}  // namespace ns::net::dns
