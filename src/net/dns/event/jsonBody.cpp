#include "encoding/data.h"
#include "encoding/hex.h"
#include "encoding/json.h"
#include "net/dns/event/eventBodies.h"
#include "net/dns/event/eventWords.h"
#include "net/dns/event/put.h"
#include "net/dns/message/mnemonics.h"

using namespace ns::encoding;

namespace ns::net::dns {

/// More than the literals, numbers, addresses and mnemonics of any one object here take.
static constexpr size_t FixedRoom = 512;

static size_t nameRoom(TextView name) { return 2 * json::jsonStrRoom(name.length); }

static unsigned char* putString(unsigned char* out, const DnsMessage& message, TextView text, uint32_t from = 0) {
  return json::writeJsonStr(out, message.at(text).data() + from, text.length - from);
}

static unsigned char* putBool(unsigned char* out, bool value) { return value ? put(out, "true") : put(out, "false"); }

/// What good events and error events have in common, behind `"data":`.
static unsigned char* putClient(unsigned char* out, const DnsMessageEvent& event) {
  out = put(out, "{\"client\":\"");
  out = put(out, event.client);
  out = put(out, "\",\"server\":\"");
  out = put(out, event.server);
  out = put(out, "\",\"port\":");
  return data::writeUint(out, event.port);
}

static unsigned char* putFlags(unsigned char* out, uint16_t flags, bool isQuery) {
  out = put(out, ",\"flags\":{\"rd\":");
  out = putBool(out, (flags & FlagRd) != 0);
  if (!isQuery) {
    out = put(out, ",\"ra\":");
    out = putBool(out, (flags & FlagRa) != 0);
    out = put(out, ",\"aa\":");
    out = putBool(out, (flags & FlagAa) != 0);
    out = put(out, ",\"tc\":");
    out = putBool(out, (flags & FlagTc) != 0);
  }
  return put(out, "}");
}

static unsigned char* putQuestion(unsigned char* out, const DnsMessage& message, bool withDomain) {
  out = put(out, ",\"qname\":");
  out = putString(out, message, message.qname);
  if (withDomain) {
    out = put(out, ",\"qdomain\":");
    out = putString(out, message, message.qnameLowercase, message.domainOffset);
  }
  out = put(out, ",\"qclass\":\"");
  out = writeDnsParameter(out, record_classes, message.qclass);
  out = put(out, "\",\"qtype\":\"");
  out = writeDnsParameter(out, record_types, message.qtype);
  return put(out, "\"");
}

/// With a comma behind it, which the end of the section takes back.
static void writeRecord(data::Tail& tail, const EventView& view, DnsMessage::Section& section, uint32_t index) {
  const DnsMessage& message = view.message;
  const DnsRecord& record = section[index];
  unsigned char* out = tail.room(FixedRoom + nameRoom(record.name) + json::jsonStrRoom(record.rdata.length));
  out = put(out, "{\"name\":");
  out = putString(out, message, record.name);
  if (view.config.domainSuffixEnabled) {
    findDomain(message, section, index, view.config);
    out = put(out, ",\"domain\":");
    out = putString(out, message, record.nameLowercase, record.domainOffset);
  }
  out = put(out, ",\"ttl\":");
  out = data::writeUint(out, record.ttl);
  out = put(out, ",\"rrclass\":\"");
  out = writeDnsParameter(out, record_classes, record.rrclass);
  out = put(out, "\",\"rrtype\":\"");
  out = writeDnsParameter(out, record_types, record.type);
  out = put(out, "\",\"data\":");
  out = putString(out, message, record.rdata);
  tail.advance(put(out, "},"));
}

static void writeSection(data::Tail& tail, const EventView& view, DnsMessage::Section& section, uint16_t count) {
  for (uint32_t i = 0; i < count; ++i) writeRecord(tail, view, section, i);
  if (count != 0) {
    tail.replaceLast(']');
  } else {
    tail.character(']');
  }
}

static void writeResponse(data::Tail& tail, const EventView& view) {
  DnsMessage& message = view.message;
  unsigned char* out = tail.room(FixedRoom);
  out = put(out, ",\"rcode\":\"");
  out = writeDnsParameter(out, response_codes, message.flags & RcodeMask);
  tail.advance(put(out, "\",\"answers\":["));
  writeSection(tail, view, message.answers, message.ancount);
  tail.advance(put(tail.room(FixedRoom), ",\"authority\":["));
  writeSection(tail, view, message.authorities, message.nscount);
  tail.advance(put(tail.room(FixedRoom), ",\"additional\":["));
  writeSection(tail, view, message.additionals, message.arcount);
}

void writeJsonBody(data::Tail& tail, const EventView& view) {
  const DnsMessageEvent& event = view.event;
  DnsMessage& message = view.message;
  const bool withDomain = view.config.domainSuffixEnabled;
  if (withDomain) findDomain(message, view.config);

  tail.text(",\"type\":");
  tail.text(json_event_types[event.type]);
  unsigned char* out = tail.room(FixedRoom + nameRoom(message.qname));
  out = put(out, ",\"data\":");
  out = putClient(out, event);
  out = put(out, ",\"proto\":\"");
  out = writeDnsParameter(out, socket_protocols, static_cast<uint16_t>(event.proto));
  out = put(out, "\",\"size\":");
  out = data::writeUint(out, message.size);
  out = put(out, ",\"txid\":");
  out = data::writeUint(out, message.id);
  out = putFlags(out, message.flags, event.isQuery);
  tail.advance(putQuestion(out, message, withDomain));
  if (!event.isQuery) writeResponse(tail, view);
  tail.text("}}\n");
}

void writeJsonError(data::Tail& tail, const EventView& view) {
  const DnsMessageEvent& event = view.event;
  const auto size = static_cast<uint32_t>(event.message.size());
  const std::string& error = view.message.error;
  const auto errorSize = static_cast<uint32_t>(error.size());

  unsigned char* out = tail.room(FixedRoom + 2 * size_t{size} + json::jsonStrRoom(errorSize));
  out = put(out, ",\"type\":\"error\",\"data\":");
  out = putClient(out, event);
  out = put(out, ",\"size\":");
  out = data::writeUint(out, size);
  out = put(out, ",\"packet\":\"");
  out = hex::writeHex(out, event.message.data(), size);
  out = put(out, "\",\"text\":");
  out = json::writeJsonStr(out, static_cast<const unsigned char*>(static_cast<const void*>(error.data())), errorSize);
  tail.advance(put(out, "}}\n"));
}

}  // namespace ns::net::dns
