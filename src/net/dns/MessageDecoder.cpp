#include "net/dns/MessageDecoder.h"

#include <string>

#include "encoding/Tail.h"
#include "encoding/data.h"
#include "net/dns/DnsError.h"
#include "net/dns/decodeDnsMessageFqdn.h"
#include "net/dns/decodeDnsMessageRdata.h"

namespace data = ns::encoding::data;
using ns::encoding::Bytes;

namespace ns::net::dns {

/// Records that speak of the message and not of a name (RFC 6891, RFC 8945, RFC 2931).
static bool isAboutMessage(uint16_t type) {
  constexpr uint16_t Sig = 24, Opt = 41, Tsig = 250;
  return type == Opt || type == Tsig || type == Sig;
}

static void assign(Bytes& to, const Bytes& from) {
  to.resize(from.size());
  if (!from.empty()) std::memcpy(to.data(), from.data(), from.size());
}

MessageDecoder::MessageDecoder(const unsigned char* source, uint32_t sourceLength, DnsMessage& target, bool dot)
    : data(source), length(sourceLength), message(target), withTrailingDot(dot) {}

void MessageDecoder::decode() {
  decodeHeader();
  decodeQuestion();
  decodeSection(message.answers, message.ancount, false);
  decodeSection(message.authorities, message.nscount, false);
  decodeSection(message.additionals, message.arcount, true);
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
  question = readLowercased(message.qname, message.qnameLowercase);
  question.domainOffset = &message.domainOffset;
  message.qtype = readUint16();
  message.qclass = readUint16();
}

void MessageDecoder::decodeSection(DnsMessage::Section& section, uint16_t& count, bool additional) {
  for (uint32_t i = 0; i < count;) {
    if (i >= section.size()) [[unlikely]]
      section.push_back(std::make_unique<DnsRecord>());
    if (decodeRecord(*section[i], additional)) {
      ++i;
    } else {
      --count;
    }
  }
}

/// Keeps count of the memory in a record's vectors, whether or not the record turns out well.
class MemoryCount {
 public:
  MemoryCount(DnsMessage& ofMessage, DnsRecord& ofRecord) : message(ofMessage), record(ofRecord) {}
  MemoryCount(const MemoryCount&) = delete;
  MemoryCount& operator=(const MemoryCount&) = delete;
  ~MemoryCount() {
    const size_t memory = record.name.capacity() + record.nameLowercase.capacity() + record.rdata.capacity();
    message.memory += memory - record.memory;
    record.memory = memory;
  }

 private:
  DnsMessage& message;
  DnsRecord& record;
};

/// Returns false for a record that is not kept.
bool MessageDecoder::decodeRecord(DnsRecord& record, bool additional) {
  const MemoryCount count(message, record);
  decodeOwner(record);
  record.type = readUint16();
  record.rrclass = readUint16();
  position = data::decodeUint32(record.ttl, data, length, position);
  const uint16_t rdlength = readUint16();
  if (position + rdlength > length) [[unlikely]]
    failRdataBounds(position, rdlength, length);
  const uint32_t rdata = position;
  position += rdlength;  // whatever is made of the data
  if (additional && isAboutMessage(record.type)) {
    owner = KnownName();  // may be this one, whose place the next record takes
    return false;
  }
  record.rdata.clear();
  decodeDnsMessageRdata(rdata, data, length, record.type, rdlength, record.rdata, withTrailingDot, budget);
  budget.spend(record.rdata.size());
  return true;
}

void MessageDecoder::decodeOwner(DnsRecord& record) {
  if (const KnownName* const known = findOwner()) {
    budget.spend(known->name->size());
    assign(record.name, *known->name);
    assign(record.nameLowercase, *known->lowercase);
    record.sharedDomainOffset = known->domainOffset;
    position += 2;
  } else {
    owner = readLowercased(record.name, record.nameLowercase);
    owner.domainOffset = &record.domainOffset;
    record.sharedDomainOffset = nullptr;
  }
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

MessageDecoder::KnownName MessageDecoder::readLowercased(Bytes& name, Bytes& lowercase) {
  name.clear();
  const NameEnd end = readText(name);
  lowercase.clear();
  data::lowercase(lowercase, name.data(), static_cast<uint32_t>(name.size()));

  KnownName known{position, end.pointers, &name, &lowercase, nullptr};
  if (end.pointers != 0 && data[position] > 63) {  // what it points at can be pointed at again, too
    known.offset = data::loadUint16(data + position) ^ 0xC000U;
    --known.pointers;
  }
  position = end.offset;
  return known;
}

NameEnd MessageDecoder::readText(Bytes& name) {
  data::Tail text(name);
  const NameEnd end = readName(position, data, length, text, withTrailingDot, budget, text.size());
  budget.spend(text.size());
  text.finish();
  return end;
}

}  // namespace ns::net::dns
