#include "net/dns/message/contract.h"

#include "encoding/data.h"
#include "net/dns/message/MessageText.h"
#include "net/dns/message/decodeDnsMessage.h"
#include "net/dns/message/escape.h"
#include "net/dns/message/names.h"
#include "net/dns/message/rdata.h"
#include "net/dns/message/rdataStrings.h"

namespace data = ns::encoding::data;

namespace ns::net::dns {

void decodeDnsMessage(const unsigned char* data, uint32_t length, DnsMessage& message, bool withTrailingDot) {
  decodeDnsMessage(data, length, message, TextForms{.trailingDot = withTrailingDot, .lowercase = true});
}

uint32_t decodeDnsMessageFqdn(uint32_t offset, const unsigned char* data, uint32_t length, encoding::Bytes& name,
                              bool withTrailingDot) {
  MessageText text(name, withTrailingDot);
  const uint32_t end = readName(offset, data, length, text).offset;
  text.finish();
  return end;
}

void decodeDnsMessageRdata(uint32_t offset, const unsigned char* data, uint32_t length, uint16_t type,
                           uint32_t rdlength, encoding::Bytes& rdata, bool withTrailingDot) {
  MessageText text(rdata, withTrailingDot);
  RdataWriter writer(data, length, offset, rdlength, text);
  writeRdata(writer, type);
  text.finish();
}

void decodeRdataString(const unsigned char* data, uint32_t length, encoding::Bytes& out) {
  unsigned char* const begin = data::grow(out, escapedRoom(length));
  data::cut(out, writeEscaped(begin, data, length, data + length));
}

uint32_t decodeRdataStrings(const unsigned char* data, uint32_t length, encoding::Bytes& out, bool quoted,
                            bool single) {
  MessageText text(out, false);
  const uint32_t used = writeStrings({data, length, length}, {quoted, single}, text);
  text.finish();
  return used;
}

void formatDnsParameter(encoding::Bytes& buffer, const MnemonicTable& table, uint16_t key, std::string_view prefix) {
  if (const Mnemonic& word = table.find(key); word.length != 0) {
    data::formatChars(buffer, {word.text.data(), word.length});
  } else {
    data::formatChars(buffer, prefix);
    data::formatUint(buffer, key);
  }
}

static void formatByTable(encoding::Bytes& buffer, const MnemonicTable& table, uint16_t key) {
  formatDnsParameter(buffer, table, key, table.prefix);
}

void formatRecordType(encoding::Bytes& buffer, uint16_t key) { formatByTable(buffer, record_types, key); }
void formatRecordClass(encoding::Bytes& buffer, uint16_t key) { formatByTable(buffer, record_classes, key); }
void formatResponseCode(encoding::Bytes& buffer, uint16_t key) { formatByTable(buffer, response_codes, key); }
void formatCertType(encoding::Bytes& buffer, uint16_t key) { formatByTable(buffer, cert_types, key); }
void formatAlgorithmType(encoding::Bytes& buffer, uint16_t key) { formatByTable(buffer, algorithm_types, key); }

}  // namespace ns::net::dns
