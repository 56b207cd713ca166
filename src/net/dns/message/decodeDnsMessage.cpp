#include "net/dns/message/decodeDnsMessage.h"

#include <exception>
#include <span>
#include <string>

#include "encoding/data.h"
#include "net/dns/message/DnsError.h"
#include "net/dns/message/MessageText.h"
#include "net/dns/message/names.h"
#include "net/dns/message/presentation.h"
#include "net/dns/message/rdata.h"

namespace data = ns::encoding::data;

namespace ns::net::dns {

// Records that speak of the message and not of a name (RFC 6891, RFC 8945, RFC 2931).
static constexpr uint16_t Sig = 24, Opt = 41, Tsig = 250;

static bool isAboutMessage(uint16_t type) { return type == Opt || type == Tsig || type == Sig; }

[[noreturn, gnu::cold, gnu::noinline]] static void failQuestions(uint16_t count) {
  throw DnsError("No question RRs " + std::to_string(count) + " is not 1");
}

static encoding::Bytes& emptied(encoding::Bytes& text) {
  text.clear();
  return text;
}

namespace {

/// One decode of one message.
class MessageDecoder {
 public:
  MessageDecoder(const unsigned char* data, uint32_t length, DnsMessage& message, TextForms forms)
      : data(data),
        length(length),
        message(message),
        withLowercase(forms.lowercase),
        complete(forms.complete),
        writeData(forms.rfcRecordData ? writePresentation : writeRdata),
        text(emptied(message.text), forms.trailingDot) {}

  /// Throws DnsError or DataError on a bad packet, with the message's numbers as far as they were read and no text.
  void decode();

 private:
  /// A name that was read before. Compression makes most owner names pointers to the question or to the owner of the
  /// record before: then they are the same text.
  struct KnownName {
    uint32_t offset = UINT32_MAX;  // where a pointer to the name leads; beyond all of them for none
    uint32_t pointers = 0;         // how many more have to be followed from there
    TextView name;
    TextView lowercase;
  };

  void decodeHeader();
  void decodeQuestion();
  void decodeNoQuestion();
  void decodeSection(DnsMessage::Section& section, uint16_t& count, bool additional);
  bool decodeRecord(DnsRecord& record, bool additional);
  void noteAboutMessage(const DnsRecord& record, std::span<const unsigned char> rdata);
  void decodeOwner(DnsRecord& record);
  const KnownName* findOwner() const;
  void readName(KnownName& known);
  uint16_t readUint16();

  const unsigned char* const data;
  const uint32_t length;
  uint32_t position = 0;
  DnsMessage& message;
  const bool withLowercase;
  const bool complete;
  void (*const writeData)(RdataWriter& writer, uint16_t type);
  MessageText text;
  KnownName question;
  KnownName owner;  // the last owner name that was read for itself
};

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
  message.edns.present = false;
  message.edns.upperRcode = 0;
  message.hasTsig = false;
}

// Leaves nothing of the message before.
void MessageDecoder::decodeNoQuestion() {
  if (message.qdcount != 0 || !complete) failQuestions(message.qdcount);
  message.qname = {};
  message.qnameLowercase = {};
  message.domainOffset = 0;
  message.qtype = 0;
  message.qclass = 0;
}

void MessageDecoder::decodeQuestion() {
  if (message.qdcount != 1) [[unlikely]]
    return decodeNoQuestion();
  readName(question);
  message.qname = question.name;
  message.qnameLowercase = question.lowercase;
  message.domainOffset = 0;
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
  RdataWriter rdata(data, length, position, rdlength, text);
  position += rdlength;  // whatever is made of the data
  if (additional && isAboutMessage(record.type)) {
    if (complete) noteAboutMessage(record, {data + position - rdlength, rdlength});
    return false;
  }
  const uint32_t start = text.size();
  writeData(rdata, record.type);
  record.rdata = text.since(start);
  return true;
}

// Of several OPT records the first one counts; there must be one at most (RFC 6891, 6.1.1).
void MessageDecoder::noteAboutMessage(const DnsRecord& record, std::span<const unsigned char> rdata) {
  if (record.type == Tsig) message.hasTsig = true;
  if (record.type != Opt || message.edns.present) return;
  message.edns = {true,
                  (record.ttl & 0x8000) != 0,
                  static_cast<uint8_t>(record.ttl >> 16),
                  static_cast<uint8_t>(record.ttl >> 24),
                  record.rrclass,
                  rdata};
}

void MessageDecoder::decodeOwner(DnsRecord& record) {
  const KnownName* known = findOwner();
  if (known != nullptr) {
    text.repeat(known->name);
    position += 2;
  } else {
    readName(owner);
    known = &owner;
  }
  record.name = known->name;
  record.nameLowercase = known->lowercase;
  record.domainOffset = 0;
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

/// Field by field into its place, and not as a value to be copied there: a copy loads 16 bytes at once of what was only
/// just stored in smaller pieces. Store forwarding can't serve that, and the load waits until the stores are done: 7 ns
/// more on a query log event's 114.
void MessageDecoder::readName(KnownName& known) {
  const uint32_t start = text.size();
  const NameEnd end = dns::readName(position, data, length, text);
  known.name = text.since(start);
  known.lowercase = {};
  if (withLowercase) known.lowercase = text.lowercase(known.name);

  known.offset = position;
  known.pointers = end.pointers;
  if (end.pointers != 0 && data[position] > 63) {  // what it points at can be pointed at again, too
    known.offset = data::loadUint16(data + position) ^ 0xC000U;
    --known.pointers;
  }
  position = end.offset;
}

}  // namespace

/// How much memory the text of one message may leave for the next one. Far above what real traffic needs; without it
/// the worst packet's 16 MiB, and as much in lower case, would stay for good.
static constexpr size_t MaxMemory = size_t{8} << 20;

void decodeDnsMessage(const unsigned char* data, uint32_t length, DnsMessage& message, TextForms forms) {
  if (message.text.capacity() > MaxMemory) [[unlikely]]
    message.text = encoding::Bytes();
  message.error.clear();
  message.size = length;
  try {
    MessageDecoder(data, length, message, forms).decode();
  } catch (const std::exception& e) {
    message.error = "Read DNS message failed: ";
    message.error += e.what();
  }
}

}  // namespace ns::net::dns
