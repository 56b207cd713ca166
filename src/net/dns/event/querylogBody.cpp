#include "encoding/data.h"
#include "encoding/hex.h"
#include "net/dns/event/eventBodies.h"
#include "net/dns/event/eventWords.h"
#include "net/dns/event/put.h"
#include "net/dns/message/mnemonics.h"

using namespace ns::encoding;

namespace ns::net::dns {

/// More than the literals, numbers, addresses and mnemonics of any part that is written at once here take.
static constexpr size_t FixedRoom = 256;

/// Whether the socket protocol runs over TCP: TCP itself, DOT, DOH and DNSCrypt over TCP.
static bool isTcp(uint64_t proto) { return proto == 2 || proto == 3 || proto == 4 || proto == 6; }

static unsigned char* putClient(unsigned char* out, const DnsMessageEvent& event) {
  out = put(out, event.client);
  *out++ = '#';
  return data::writeUint(out, event.port);
}

/// The domain in brackets, which stand even where no domains are shown.
static unsigned char* putDomain(unsigned char* out, const DnsMessage& message, TextView name, uint32_t offset,
                                bool withDomain) {
  out = put(out, "[");
  if (withDomain) out = put(out, message.at(name).subspan(offset));
  return put(out, "] ");
}

static unsigned char* putClass(unsigned char* out, uint16_t rrclass) {
  out = writeDnsParameter(out, record_classes, rrclass);
  return put(out, " ");
}

static unsigned char* putType(unsigned char* out, uint16_t type) {
  out = writeDnsParameter(out, record_types, type);
  return put(out, " ");
}

static unsigned char* putQuestion(unsigned char* out, const EventView& view) {
  const DnsMessage& message = view.message;
  out = put(out, message.at(message.qname));
  out = put(out, " ");
  if (view.config.querylogExtended)
    out = putDomain(out, message, message.qnameLowercase, message.domainOffset, view.config.domainSuffixEnabled);
  out = putClass(out, message.qclass);
  out = putType(out, message.qtype);
  out = (message.flags & FlagRd) != 0 ? put(out, "+") : put(out, "-");
  return isTcp(view.event.proto) ? put(out, "T (") : put(out, " (");
}

static unsigned char* putServer(unsigned char* out, const EventView& view) {
  const AddressText& server = view.event.server;
  out = server.empty() ? put(out, "<unknown>") : put(out, server);
  if (view.config.querylogExtended) {
    out = put(out, " ");
    out = data::writeUint(out, view.message.size);
    out = put(out, "b");
  }
  return put(out, ")");
}

static void writeAnswer(data::Tail& tail, const EventView& view, uint32_t index) {
  DnsMessage& message = view.message;
  const DnsRecord& record = message.answers[index];
  unsigned char* out = tail.room(FixedRoom + 2 * size_t{record.name.length} + record.rdata.length);
  out = put(out, "; ");
  out = put(out, message.at(record.name));
  out = put(out, " ");
  if (view.config.querylogExtended) {
    const bool withDomain = view.config.domainSuffixEnabled;
    if (withDomain) findDomain(message, message.answers, index, view.config);
    out = putDomain(out, message, record.nameLowercase, record.domainOffset, withDomain);
  }
  out = data::writeUint(out, record.ttl);
  out = put(out, " ");
  out = putClass(out, record.rrclass);
  out = putType(out, record.type);
  tail.advance(put(out, message.at(record.rdata)));
}

static void writeAnswers(data::Tail& tail, const EventView& view) {
  unsigned char* out = put(tail.room(FixedRoom), " ");
  tail.advance(writeDnsParameter(out, response_codes, view.message.flags & RcodeMask));
  for (uint32_t i = 0; i < view.message.ancount; ++i) writeAnswer(tail, view, i);
}

void writeQuerylogBody(data::Tail& tail, const EventView& view) {
  const DnsMessageEvent& event = view.event;
  DnsMessage& message = view.message;
  const bool extended = view.config.querylogExtended;
  if (extended && view.config.domainSuffixEnabled) findDomain(message, view.config);

  tail.text(querylog_event_types[event.type]);
  unsigned char* out = tail.room(FixedRoom + 2 * size_t{message.qname.length});
  out = putClient(out, event);
  if (extended) {
    out = put(out, " %");
    out = data::writeUint(out, message.id);
  }
  out = event.isQuery ? put(out, ": query: ") : put(out, ": response: ");
  out = putQuestion(out, view);
  tail.advance(putServer(out, view));
  if (!event.isQuery) writeAnswers(tail, view);
  tail.character('\n');
}

void writeQuerylogError(data::Tail& tail, const EventView& view) {
  const DnsMessageEvent& event = view.event;
  const auto size = static_cast<uint32_t>(event.message.size());
  tail.text("errors: ");
  tail.text(view.message.error);
  unsigned char* out = tail.room(FixedRoom + 2 * size_t{size});
  out = put(out, ": client ");
  out = putClient(out, event);
  out = put(out, ": server ");
  out = put(out, event.server);
  out = put(out, ": packet \\# ");
  out = data::writeUint(out, size);
  out = put(out, " ");
  out = hex::writeHex(out, event.message.data(), size);
  tail.advance(put(out, "\n"));
}

}  // namespace ns::net::dns
