#include "net/dns/event/EventBody.h"
#include "net/dns/event/completeItems.h"
#include "net/dns/event/eventWords.h"
#include "net/dns/event/querylogItems.h"
#include "net/dns/message/mnemonics.h"

using ns::event::format::EventFormatterConfig;
using ns::event::format::EventHeaderWriter;

namespace ns::net::dns {

// What closes a response whose records don't all fit.
static constexpr size_t ClosingRoom = sizeof("; +65535 records\n");

// The cookie option as BIND's query log has it: V if it has a server's part, K for a client's alone (RFC 7873, 4).
static std::string_view describeCookie(const Edns& edns) {
  constexpr size_t ClientPart = 8;
  std::span<const unsigned char> left = edns.options;
  for (Edns::Option option{}; Edns::take(left, option);) {
    if (option.code == EdnsCookie) return option.data.size() > ClientPart ? "V" : "K";
  }
  return "";
}

static void writeClient(LineWriter& line, const EventView& view, std::string_view kind, Cut cut) {
  const auto identity = view.event.more.identity;
  line.write(kind, when(cut != Cut::AllWithoutBound && view.config.querylogExtended && !identity.empty(), "[",
                        EscapedText<false>{identity}, "] "));
}

static void writeQuestion(LineWriter& line, const EventView& view) {
  const DnsMessage& message = view.message;
  if (message.qdcount == 0) return line.write("- ", when(view.config.querylogExtended, "[] "), "- - ");
  line.write(PlainText{message.at(message.qname)}, " ", inBrackets(view, message.domain()),
             DnsWord{record_classes, message.qclass}, " ", DnsWord{record_types, message.qtype}, " ");
}

static void writeFlags(LineWriter& line, const EventView& view) {
  const auto& message = view.message;
  const Edns& edns = message.edns;
  line.write(either(message.has(DnsMessage::FlagRd), "+", "-"), when(message.hasTsig, "S"),
             when(edns.present, "E(", uint32_t{edns.version}, ")"), when(isTcp(view.event.proto), "T"),
             when(edns.present && edns.dnssecOk, "D"), when(message.has(DnsMessage::FlagCd), "C"));
  if (edns.present) line.write(describeCookie(edns));
}

static void writeResponse(LineWriter& line, const EventView& view, Cut cut) {
  const DnsMessage& message = view.message;
  line.write(" ", DnsWord{response_codes, message.extendedRcode()});
  const size_t limit = view.parts.end - std::min(view.parts.end, ClosingRoom);
  const size_t end = cut == Cut::Nothing ? SIZE_MAX : limit;
  const uint32_t leftOut = writeWithin(line, end, message.answers, message.ancount, 0,
                                       [&](const DnsRecord& record, bool) { writeAnswer(line, view, record); });
  line.write(when(leftOut != 0, "; +", leftOut, " records"));
}

static void writeEvent(LineWriter& line, const EventView& view, Cut cut) {
  const DnsMessageEvent& event = view.event;
  const bool extended = view.config.querylogExtended;
  writeClient(line, view, "queries: ", cut);
  line.write(complete_querylog_event_types[event.type], event.client, "#", event.port,
             when(extended, " %", view.message.id), either(event.isQuery, ": query: ", ": response: "));
  writeQuestion(line, view);
  writeFlags(line, view);
  line.write(" (", either(event.server.empty(), "<unknown>", event.server), when(extended, " ", view.message.size, "b"),
             ")");
  if (!event.isQuery) writeResponse(line, view, cut);
  line.write("\n");
}

static void writeError(LineWriter& line, const EventView& view, Cut cut) {
  const auto& event = view.event;
  line.write("errors: ", std::string_view(view.message.error), ": ");
  writeClient(line, view, "", cut);
  line.write("client ", event.client, "#", event.port, ": server ", event.server, ": packet \\# ", view.message.size,
             when(cut == Cut::Nothing, " ", HexText{event.message}), "\n");
}

template <void (*Write)(LineWriter&, const EventView&, Cut)>
static void write(LineWriter& line, const EventView& view) {
  writeBounded(line, view.parts.end, [&](Cut cut) { Write(line, view, cut); });
}

static DomainsOf domains(const EventFormatterConfig& config) {
  return config.querylogExtended && config.domainSuffixEnabled ? DomainsOf::Answers : DomainsOf::Nothing;
}

const EventBody complete_querylog_body{EventHeaderWriter::Kind::Syslog, no_complete_event_types, domains,
                                       write<writeEvent>, write<writeError>};

}  // namespace ns::net::dns
