#pragma once

#include <cstdint>

#include "encoding/Tail.h"
#include "net/dns/message/DnsMessage.h"
#include "net/dns/message/TextBudget.h"
#include "net/dns/message/decodeDnsMessage.h"
#include "net/dns/message/names.h"

namespace ns::net::dns {

/// One decode of one message: see decodeDnsMessage.
class MessageDecoder {
 public:
  MessageDecoder(const unsigned char* data, uint32_t length, DnsMessage& message, NameForms forms);

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
  void decodeSection(DnsMessage::Section& section, uint16_t& count, bool additional);
  bool decodeRecord(DnsRecord& record, bool additional);
  void decodeOwner(DnsRecord& record);
  const KnownName* findOwner() const;
  void readName(KnownName& known);
  TextView lowercase(TextView name);
  TextView textSince(uint32_t offset) const;
  uint16_t readUint16();

  const unsigned char* const data;
  const uint32_t length;
  uint32_t position = 0;
  DnsMessage& message;
  const NameForms forms;
  encoding::data::Tail text;
  TextBudget budget;
  KnownName question;
  KnownName owner;  // the last owner name that was read for itself
};

}  // namespace ns::net::dns
