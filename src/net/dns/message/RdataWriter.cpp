#include "net/dns/message/RdataWriter.h"

#include <string>

#include "encoding/base32.h"
#include "encoding/base64.h"
#include "encoding/hex.h"
#include "encoding/ip.h"
#include "encoding/time.h"
#include "net/dns/message/DnsError.h"
#include "net/dns/message/escape.h"
#include "net/dns/message/names.h"

using namespace ns::encoding;

namespace ns::net::dns {

void RdataWriter::failBounds(uint32_t offset, uint32_t rdlength, uint32_t length) {
  throw DnsError("Offset " + std::to_string(offset) + " + record data length " + std::to_string(rdlength) +
                 " is out of bounds for packet of " + std::to_string(length) + " bytes");
}

uint8_t RdataWriter::readUint8() {
  uint8_t value;
  position = data::decodeUint8(value, data, length, position);
  return value;
}

uint16_t RdataWriter::readUint16() {
  uint16_t value;
  position = data::decodeUint16(value, data, length, position);
  return value;
}

uint32_t RdataWriter::readUint32() {
  uint32_t value;
  position = data::decodeUint32(value, data, length, position);
  return value;
}

[[noreturn, gnu::cold, gnu::noinline]] static void failTake(uint32_t position, uint32_t count, uint32_t length) {
  throw DnsError("Read record data failed: Offset " + std::to_string(position) + " + " + std::to_string(count) +
                 " is out of bounds for packet of " + std::to_string(length) + " bytes");
}

const unsigned char* RdataWriter::take(uint32_t count) {
  if (count > length - position) [[unlikely]]
    failTake(position, count, length);
  const unsigned char* const first = data + position;
  position += count;
  return first;
}

void RdataWriter::writeParameter(const MnemonicTable& table, uint16_t key) {
  text.advance(writeDnsParameter(text.room(DnsParameterRoom), table, key));
}

void RdataWriter::writeName() { position = readName(position, data, length, text).offset; }

void RdataWriter::writeTime() {
  const uint32_t seconds = readUint32();
  text.advance(time::writeTimeDefault(text.room(time::TimeDefaultRoom), seconds));
}

void RdataWriter::writeIpv4() {
  const unsigned char* const address = take(4);
  text.advance(ip::writeIpv4(text.room(ip::Ipv4Room), address));
}

void RdataWriter::writeIpv6() {
  const unsigned char* const address = take(16);
  text.advance(ip::writeIpv6(text.room(ip::Ipv6Room), address));
}

void RdataWriter::writeHex(uint32_t count) {
  const unsigned char* const bytes = take(count);
  text.advance(hex::writeHex(text.room(2 * size_t{count}), bytes, count));
}

void RdataWriter::writeBase32(uint32_t count) {
  const unsigned char* const bytes = take(count);
  text.advance(base32::writeBase32(text.room(base32::base32Length(count)), bytes, count));
}

void RdataWriter::writeBase64(uint32_t count) {
  const unsigned char* const bytes = take(count);
  text.advance(base64::writeBase64(text.room(base64::base64Length(count)), bytes, count));
}

void RdataWriter::writeString(uint32_t count) {
  const unsigned char* const bytes = take(count);
  text.advance(writeEscaped(text.room(escapedRoom(count)), bytes, count, data + length));
}

uint32_t RdataWriter::writeStringsAt(uint32_t offset, uint32_t declared, StringForm form) {
  return writeStrings({data + offset, declared, length - offset}, form, text);
}

uint8_t RdataWriter::item8() {
  const uint8_t value = readUint8();
  writeUint(value);
  writeChar(' ');
  return value;
}

void RdataWriter::item16() {
  writeUint(readUint16());
  writeChar(' ');
}

void RdataWriter::item32() {
  writeUint(readUint32());
  writeChar(' ');
}

void RdataWriter::itemName() {
  writeName();
  writeChar(' ');
}

}  // namespace ns::net::dns
