#include "net/dns/message/MessageDecoder.h"

#include <string>

#include "encoding/data.h"
#include "net/dns/message/DnsError.h"
#include "net/dns/message/names.h"
#include "net/dns/message/rdata.h"

namespace data = ns::encoding::data;

namespace ns::net::dns {

/// Records that speak of the message and not of a name (RFC 6891, RFC 8945, RFC 2931).
static bool isAboutMessage(uint16_t type) {
  constexpr uint16_t Sig = 24, Opt = 41, Tsig = 250;
  return type == Opt || type == Tsig || type == Sig;
}

static encoding::Bytes& emptied(encoding::Bytes& text) {
  text.clear();
  return text;
}

MessageDecoder::MessageDecoder(const unsigned char* source, uint32_t sourceLength, DnsMessage& target,
                               NameForms nameForms)
    : data(source), length(sourceLength), message(target), forms(nameForms), text(emptied(target.text)) {}

void MessageDecoder::decode() {
  decodeHeader();
  decodeQuestion();
  if (message.ancount != 0) decodeSection(message.answers, message.ancount, false);
  if (message.nscount != 0) decodeSection(message.authorities, message.nscount, false);
  if (message.arcount != 0) decodeSection(message.additionals, message.arcount, true);
  text.advance(text.room(DnsMessage::Slack) + DnsMessage::Slack);
  text.finish();
}

uint16_t MessageDecoder::readUint16() {
  uint16_t value;
  position = data::decodeUint16(value, data, length, position);
  return value;
}

void MessageDecoder::decodeHeader() {
  message.id = readUint16();
  message.flags = readUint16();
  message.qdcount = readUint16();
  message.ancount = readUint16();
  message.nscount = readUint16();
  message.arcount = readUint16();
}

[[noreturn, gnu::cold, gnu::noinline]] static void failQuestions(uint16_t count) {
  throw DnsError("No question RRs " + std::to_string(count) + " is not 1");
}

void MessageDecoder::decodeQuestion() {
  if (message.qdcount != 1) [[unlikely]]
    failQuestions(message.qdcount);
  readName(question);
  message.qname = question.name;
  message.qnameLowercase = question.lowercase;
  message.qtype = readUint16();
  message.qclass = readUint16();
}

void MessageDecoder::decodeSection(DnsMessage::Section& section, uint16_t& count, bool additional) {
  for (uint32_t i = 0; i < count;) {
    if (i >= section.size()) [[unlikely]]
      section.emplace_back();
    if (decodeRecord(section[i], additional)) {
      ++i;
    } else {
      --count;
    }
  }
}

/// Returns false for a record that is not kept.
bool MessageDecoder::decodeRecord(DnsRecord& record, bool additional) {
  decodeOwner(record);
  record.type = readUint16();
  record.rrclass = readUint16();
  position = data::decodeUint32(record.ttl, data, length, position);
  const uint16_t rdlength = readUint16();
  if (position + rdlength > length) [[unlikely]]
    failRdataBounds(position, rdlength, length);
  const uint32_t rdata = position;
  position += rdlength;  // whatever is made of the data
  if (additional && isAboutMessage(record.type)) return false;
  const auto start = static_cast<uint32_t>(text.size());
  writeRdata(rdata, data, length, record.type, rdlength, text, forms.trailingDot, budget);
  record.rdata = textSince(start);
  budget.spend(record.rdata.length);
  return true;
}

void MessageDecoder::decodeOwner(DnsRecord& record) {
  const KnownName* known = findOwner();
  if (known != nullptr) {
    budget.spend(known->name.length);
    position += 2;
  } else {
    readName(owner);
    known = &owner;
  }
  record.name = known->name;
  record.nameLowercase = known->lowercase;
}

/// The name that was read before, if the one at the position is a pointer to it and nothing else.
const MessageDecoder::KnownName* MessageDecoder::findOwner() const {
  if (length - position < 2 || data[position] < 0xC0) return nullptr;
  const uint32_t target = data::loadUint16(data + position) & 0x3FFFU;
  const KnownName* known = nullptr;
  if (target == question.offset) {
    known = &question;
  } else if (target == owner.offset) {
    known = &owner;
  }
  // One pointer more than the name itself has may be one too many.
  return known != nullptr && known->pointers < MaxPointers ? known : nullptr;
}

/// Field by field into its place, as processors stall on a copy of what was only just stored in smaller pieces.
void MessageDecoder::readName(KnownName& known) {
  const auto start = static_cast<uint32_t>(text.size());
  const NameEnd end = dns::readName(position, data, length, text, forms.trailingDot, budget, start);
  known.name = textSince(start);
  known.lowercase = {};
  budget.spend(known.name.length);
  if (forms.lowercase) known.lowercase = lowercase(known.name);

  known.offset = position;
  known.pointers = end.pointers;
  if (end.pointers != 0 && data[position] > 63) {  // what it points at can be pointed at again, too
    known.offset = data::loadUint16(data + position) ^ 0xC000U;
    --known.pointers;
  }
  position = end.offset;
}

/// A lower-case copy.
TextView MessageDecoder::lowercase(TextView name) {
  const auto start = static_cast<uint32_t>(text.size());
  unsigned char* const out = text.room(name.length);
  text.advance(data::writeLowercase(out, text.at(name.offset), name.length));
  return textSince(start);
}

TextView MessageDecoder::textSince(uint32_t offset) const {
  return {offset, static_cast<uint32_t>(text.size()) - offset};
}

}  // namespace ns::net::dns
