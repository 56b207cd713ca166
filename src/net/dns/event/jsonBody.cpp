#include "encoding/Bytes.h"
#include "net/dns/event/EventBody.h"
#include "net/dns/event/eventWords.h"
#include "net/dns/event/jsonMembers.h"
#include "net/dns/message/mnemonics.h"

using ns::event::format::EventFormatterConfig;
using ns::event::format::EventHeaderWriter;

namespace ns::net::dns {

/// `aa` is shown from the place of AD: fixed output, docs/reference/output.md; programs read it so.
static constexpr uint16_t FlagShownAsAa = DnsMessage::FlagAd;

/// What good events and error events have in common: `type` is a JSON value. Two objects stay open.
static void writeClient(LineWriter& line, std::string_view type, const DnsMessageEvent& event) {
  line.write(member<"type">(type), R"(,"data":)", firstMember<"client">(event.client), member<"server">(event.server),
             member<"port">(event.port));
}

static void writeQuestion(LineWriter& line, const EventView& view) {
  const DnsMessage& message = view.message;
  const bool isResponse = !view.event.isQuery;
  line.write(
      member<"proto">(DnsWord{socket_protocols, static_cast<uint16_t>(view.event.proto)}), member<"size">(message.size),
      member<"txid">(message.id), R"(,"flags":)", firstMember<"rd">(message.has(DnsMessage::FlagRd)),
      when(isResponse, member<"ra">(message.has(DnsMessage::FlagRa)), member<"aa">(message.has(FlagShownAsAa)),
           member<"tc">(message.has(DnsMessage::FlagTc))),
      "}", member<"qname">(JsonText{message.at(message.qname)}),
      when(view.config.domainSuffixEnabled, member<"qdomain">(JsonText{message.domain()})),
      member<"qclass">(DnsWord{record_classes, message.qclass}), member<"qtype">(DnsWord{record_types, message.qtype}));
}

static void writeRecord(LineWriter& line, const EventView& view, const DnsRecord& record, bool isFirst) {
  const DnsMessage& message = view.message;
  line.write(when(!isFirst, ","), firstMember<"name">(JsonText{message.at(record.name)}),
             when(view.config.domainSuffixEnabled, member<"domain">(JsonText{message.domainOf(record)})),
             member<"ttl">(record.ttl), member<"rrclass">(DnsWord{record_classes, record.rrclass}),
             member<"rrtype">(DnsWord{record_types, record.type}), member<"data">(JsonText{message.at(record.rdata)}),
             "}");
}

static void writeRecords(LineWriter& line, const EventView& view, const DnsMessage::Section& section, uint16_t count) {
  for (uint32_t i = 0; i < count; ++i) writeRecord(line, view, section[i], i == 0);
}

static void writeResponse(LineWriter& line, const EventView& view) {
  const DnsMessage& message = view.message;
  line.write(member<"rcode">(DnsWord{response_codes, message.rcode()}), R"(,"answers":[)");
  writeRecords(line, view, message.answers, message.ancount);
  line.write(R"(],"authority":[)");
  writeRecords(line, view, message.authorities, message.nscount);
  line.write(R"(],"additional":[)");
  writeRecords(line, view, message.additionals, message.arcount);
  line.write("]");
}

static void write(LineWriter& line, const EventView& view) {
  writeClient(line, json_event_types[view.event.type], view.event);
  writeQuestion(line, view);
  if (!view.event.isQuery) writeResponse(line, view);
  line.write("}}\n");
}

static void writeError(LineWriter& line, const EventView& view) {
  writeClient(line, "\"error\"", view.event);
  line.write(member<"size">(view.message.size), member<"packet">(HexText{view.event.message}),
             member<"text">(JsonText{encoding::bytesOf(view.message.error)}), "}}\n");
}

static DomainsOf domains(const EventFormatterConfig& config) {
  return config.domainSuffixEnabled ? DomainsOf::AllRecords : DomainsOf::Nothing;
}

const EventBody json_body{EventHeaderWriter::Kind::Json, no_json_event_types, domains, write, writeError};

}  // namespace ns::net::dns
