#include "net/dns/event/EventBody.h"
#include "net/dns/event/eventWords.h"
#include "net/dns/event/querylogItems.h"
#include "net/dns/message/mnemonics.h"

using ns::event::format::EventFormatterConfig;
using ns::event::format::EventHeaderWriter;

namespace ns::net::dns {

static void writeQuestion(LineWriter& line, const EventView& view) {
  const DnsMessageEvent& event = view.event;
  const DnsMessage& message = view.message;
  const EventFormatterConfig& config = view.config;
  line.write(querylog_event_types[event.type], event.client, "#", event.port,
             when(config.querylogExtended, " %", message.id), either(event.isQuery, ": query: ", ": response: "),
             PlainText{message.at(message.qname)}, " ", inBrackets(view, message.domain()),
             DnsWord{record_classes, message.qclass}, " ", DnsWord{record_types, message.qtype}, " ",
             either(message.has(DnsMessage::FlagRd), "+", "-"), when(isTcp(event.proto), "T"), " (",
             either(event.server.empty(), "<unknown>", event.server),
             when(config.querylogExtended, " ", message.size, "b"), ")");
}

static void writeResponse(LineWriter& line, const EventView& view) {
  const DnsMessage& message = view.message;
  line.write(" ", DnsWord{response_codes, message.rcode()});
  for (uint32_t i = 0; i < message.ancount; ++i) writeAnswer(line, view, message.answers[i]);
}

static void write(LineWriter& line, const EventView& view) {
  writeQuestion(line, view);
  if (!view.event.isQuery) writeResponse(line, view);
  line.write("\n");
}

static void writeError(LineWriter& line, const EventView& view) {
  const DnsMessageEvent& event = view.event;
  const DnsMessage& message = view.message;
  line.write("errors: ", std::string_view(message.error), ": client ", event.client, "#", event.port, ": server ",
             event.server, ": packet \\# ", message.size, " ", HexText{event.message}, "\n");
}

static DomainsOf domains(const EventFormatterConfig& config) {
  return config.querylogExtended && config.domainSuffixEnabled ? DomainsOf::Answers : DomainsOf::Nothing;
}

const EventBody querylog_body{EventHeaderWriter::Kind::Syslog, no_querylog_event_types, domains, write, writeError};

}  // namespace ns::net::dns
