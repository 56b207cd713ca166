#include "net/dns/event/DnsMessageEventFormatter.h"

#include <utility>

#include "encoding/Tail.h"
#include "net/dns/event/eventBodies.h"
#include "net/dns/event/eventWords.h"

using ns::event::format::EventFormatterConfig;
using ns::event::format::EventHeaderWriter;

namespace ns::net::dns {

static constexpr uint32_t FormatJson = 0;
static constexpr uint32_t FormatQuerylog = 1;
static constexpr uint32_t FormatDnstap = 2;

DnsMessageEventFormatter::DnsMessageEventFormatter(EventFormatterConfig formatterConfig)
    : config(std::move(formatterConfig)),
      formatDnstap(config.messageFormat == FormatDnstap),
      header(config,
             config.messageFormat == FormatJson ? EventHeaderWriter::Kind::Json : EventHeaderWriter::Kind::Syslog),
      names{config.fqdnTrailingDot,
            config.domainSuffixEnabled && (config.messageFormat == FormatJson || config.querylogExtended)} {}

bool DnsMessageEventFormatter::format(encoding::Bytes& buffer, const DnsMessageEvent& event) {
  const bool json = config.messageFormat == FormatJson;
  if (!json && config.messageFormat != FormatQuerylog) return false;
  decodeDnsMessage(event.message.data(), static_cast<uint32_t>(event.message.size()), message, names);

  const EventView view{event, message, config};
  encoding::data::Tail tail(buffer);
  header.write(tail, static_cast<int64_t>(event.seconds), event.nanoseconds);
  if (!message.error.empty()) {
    json ? writeJsonError(tail, view) : writeQuerylogError(tail, view);
  } else if (event.type >= (json ? no_json_event_types : no_querylog_event_types)) {
    return false;  // the header goes with the tail
  } else {
    json ? writeJsonBody(tail, view) : writeQuerylogBody(tail, view);
  }
  tail.finish();
  return true;
}

}  // namespace ns::net::dns
