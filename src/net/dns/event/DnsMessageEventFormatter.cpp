#include "net/dns/event/DnsMessageEventFormatter.h"

#include <utility>

#include "net/dns/message/decodeDnsMessage.h"

using ns::event::format::EventFormatterConfig;
using ns::event::format::EventHeaderWriter;

namespace ns::net::dns {

static const EventBody* bodyOf(const EventFormatterConfig& config) {
  switch (config.messageFormat) {
    case event::format::FormatJson: return config.completeEvents ? &complete_json_body : &json_body;
    case event::format::FormatQuerylog: return config.completeEvents ? &complete_querylog_body : &querylog_body;
    default: return nullptr;
  }
}

DnsMessageEventFormatter::DnsMessageEventFormatter(EventFormatterConfig config)
    : config(std::move(config)),
      formatDnstap(this->config.messageFormat == event::format::FormatDnstap),
      body(bodyOf(this->config)),
      domains(body != nullptr ? body->domains(this->config) : DomainsOf::Nothing),
      header(this->config, body != nullptr ? body->header : EventHeaderWriter::Kind::Syslog) {}

bool DnsMessageEventFormatter::format(encoding::Bytes& buffer, const DnsMessageEvent& event) {
  if (body == nullptr) return false;
  const bool withDomains = domains != DomainsOf::Nothing;
  decodeDnsMessage(event.message.data(), static_cast<uint32_t>(event.message.size()), message,
                   {.trailingDot = config.fqdnTrailingDot,
                    .lowercase = withDomains,
                    .complete = config.completeEvents,
                    .rfcRecordData = config.rfcRecordData});
  const bool decoded = message.error.empty();
  if (decoded && event.type >= body->types) return false;
  if (decoded && withDomains) findDomains(message, event.isQuery ? DomainsOf::Question : domains, config);

  LineWriter line(buffer);
  const EventView view{event, message, config, parts};
  if (config.completeEvents) prepare(event, line.size());
  header.write(line, static_cast<int64_t>(event.seconds), event.nanoseconds);
  (decoded ? body->write : body->writeError)(line, view);
  if (line.size() > parts.end) [[unlikely]]
    return false;
  line.finish();
  return true;
}

void DnsMessageEventFormatter::prepare(const DnsMessageEvent& event, size_t start) {
  moreTexts.read(event.more, config.fqdnTrailingDot);
  parts = {moreTexts.getZone(), moreTexts.getPolicyRule(), config.lineLimit == 0 ? SIZE_MAX : start + config.lineLimit};
}

}  // namespace ns::net::dns
