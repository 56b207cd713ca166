#include "encoding/Bytes.h"
#include "net/dns/event/ClientSubnet.h"
#include "net/dns/event/EventBody.h"
#include "net/dns/event/completeItems.h"
#include "net/dns/event/eventWords.h"
#include "net/dns/event/jsonMembers.h"
#include "net/dns/message/mnemonics.h"

using ns::event::format::EventFormatterConfig;
using ns::event::format::EventHeaderWriter;

namespace ns::net::dns {

// What closes a response whose records don't all fit.
static constexpr size_t ClosingRoom = sizeof(R"(],"authority":[],"additional":[],"leftout":196605}})");

namespace {

/// Writes one event.
class CompleteJson {
 public:
  CompleteJson(LineWriter& line, const EventView& view, Cut cut)
      : line(line),
        view(view),
        more(view.event.more),
        message(view.message),
        cut(cut),
        whole(cut != Cut::AllWithoutBound) {}

  void write() {
    writeClient(json_event_types[view.event.type]);
    writeHead();
    if (message.qdcount != 0) writeQuestion();
    if (!view.event.isQuery) line.write(member<"rcode">(DnsWord{response_codes, message.extendedRcode()}));
    if (message.edns.present) writeEdns();
    if (!view.event.isQuery) writeResponse();
    line.write("}}\n");
  }

  void writeError() {
    writeClient("\"error\"");
    line.write(member<"size">(message.size), when(cut == Cut::Nothing, member<"packet">(HexText{view.event.message})),
               member<"text">(JsonText{encoding::bytesOf(message.error)}), "}}\n");
  }

 private:
  // Two objects stay open.
  void writeClient(std::string_view type) {
    const DnsMessageEvent& event = view.event;
    line.write(when(whole && !more.identity.empty(), R"(,"identity":")", EscapedText<true>{more.identity}, "\""),
               when(whole && !more.version.empty(), R"(,"version":")", EscapedText<true>{more.version}, "\""),
               member<"type">(type), R"(,"data":)", firstMember<"client">(event.client), member<"server">(event.server),
               member<"port">(event.port), when(more.serverPort != 0, member<"serverport">(more.serverPort)));
  }

  void writeHead() {
    line.write(member<"proto">(DnsWord{socket_protocols, static_cast<uint16_t>(view.event.proto)}),
               member<"size">(message.size), member<"txid">(message.id),
               member<"opcode">(DnsWord{opcodes, message.opcode()}), R"(,"flags":)",
               firstMember<"qr">(message.has(DnsMessage::FlagQr)), member<"aa">(message.has(DnsMessage::FlagAa)),
               member<"tc">(message.has(DnsMessage::FlagTc)), member<"rd">(message.has(DnsMessage::FlagRd)),
               member<"ra">(message.has(DnsMessage::FlagRa)), member<"ad">(message.has(DnsMessage::FlagAd)),
               member<"cd">(message.has(DnsMessage::FlagCd)), "}",
               when(whole && !view.parts.zone.empty(), member<"zone">(JsonText{view.parts.zone})));
    const bool hasRule = whole && !view.parts.policyRule.empty(), hasAction = more.policyAction != 0;
    if (hasRule || hasAction) {
      line.write(R"(,"policy":{)", when(hasRule, R"("rule":)", JsonText{view.parts.policyRule}),
                 when(hasRule && hasAction, ","),
                 when(hasAction, R"("action":")", word(policy_actions, more.policyAction), "\""), "}");
    }
    line.write(when(more.httpProtocol != 0, member<"http">(word(http_protocols, more.httpProtocol))));
  }

  static DnsWord word(const MnemonicTable& table, uint64_t value) { return {table, static_cast<uint16_t>(value)}; }

  void writeQuestion() {
    line.write(member<"qname">(JsonText{message.at(message.qname)}),
               when(view.config.domainSuffixEnabled, member<"qdomain">(JsonText{message.domain()})),
               member<"qclass">(DnsWord{record_classes, message.qclass}),
               member<"qtype">(DnsWord{record_types, message.qtype}));
  }

  void writeEdns() {
    const Edns& edns = message.edns;
    line.write(R"(,"edns":)", firstMember<"version">(uint32_t{edns.version}), member<"udpsize">(edns.udpSize),
               member<"do">(edns.dnssecOk));
    if (const auto subnet = ClientSubnet::of(edns)) {
      line.write(R"(,"subnet":")", subnet->address, "/", uint32_t{subnet->prefix}, "\"");
    }
    line.write(R"(,"options":[)");
    std::span<const unsigned char> left = edns.options;
    bool first = true;
    for (Edns::Option option{}; whole && Edns::take(left, option); first = false) {
      line.write(when(!first, ","), firstMember<"code">(option.code), member<"data">(HexText{option.data}), "}");
    }
    line.write("]}");
  }

  void writeResponse() {
    const size_t limit = view.parts.end - std::min(view.parts.end, ClosingRoom);
    const size_t end = cut == Cut::Nothing ? SIZE_MAX : limit;
    uint32_t leftOut = 0;
    line.write(when(more.latency >= 0, member<"latency">(SecondsItem{static_cast<uint64_t>(more.latency)})),
               R"(,"answers":[)");
    leftOut = writeRecords(message.answers, message.ancount, end, leftOut);
    line.write(R"(],"authority":[)");
    leftOut = writeRecords(message.authorities, message.nscount, end, leftOut);
    line.write(R"(],"additional":[)");
    leftOut = writeRecords(message.additionals, message.arcount, end, leftOut);
    line.write("]", when(leftOut != 0, member<"leftout">(leftOut)));
  }

  uint32_t writeRecords(const DnsMessage::Section& section, uint32_t count, size_t end, uint32_t leftOut) {
    return writeWithin(line, end, section, count, leftOut,
                       [this](const DnsRecord& record, bool isFirst) { writeRecord(record, isFirst); });
  }

  void writeRecord(const DnsRecord& record, bool isFirst) {
    line.write(when(!isFirst, ","), firstMember<"name">(JsonText{message.at(record.name)}),
               when(view.config.domainSuffixEnabled, member<"domain">(JsonText{message.domainOf(record)})),
               member<"ttl">(record.ttl), member<"rrclass">(DnsWord{record_classes, record.rrclass}),
               member<"rrtype">(DnsWord{record_types, record.type}), member<"data">(JsonText{message.at(record.rdata)}),
               "}");
  }

  LineWriter& line;
  const EventView& view;
  const DnsMessageEvent::More& more;
  const DnsMessage& message;
  const Cut cut;
  const bool whole;  // with what has no bound but the record's length
};

}  // namespace

static void writeEvent(LineWriter& line, const EventView& view) {
  writeBounded(line, view.parts.end, [&](Cut cut) { CompleteJson(line, view, cut).write(); });
}

static void writeError(LineWriter& line, const EventView& view) {
  writeBounded(line, view.parts.end, [&](Cut cut) { CompleteJson(line, view, cut).writeError(); });
}

static DomainsOf domains(const EventFormatterConfig& config) {
  return config.domainSuffixEnabled ? DomainsOf::AllRecords : DomainsOf::Nothing;
}

const EventBody complete_json_body{EventHeaderWriter::Kind::Json, no_complete_event_types, domains, writeEvent,
                                   writeError};

}  // namespace ns::net::dns
