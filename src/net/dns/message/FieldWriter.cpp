#include "net/dns/message/FieldWriter.h"

#include "encoding/base32.h"
#include "encoding/base64.h"
#include "encoding/data.h"
#include "encoding/hex.h"
#include "encoding/ip.h"
#include "encoding/time.h"
#include "net/dns/message/escape.h"
#include "net/dns/message/mnemonics.h"

using namespace ns::encoding;

namespace ns::net::dns {

FieldWriter FieldWriter::takePart(uint32_t count) {
  const uint32_t start = position;
  position += count;
  return {data, static_cast<uint32_t>(readable - data), start, position, text};
}

void FieldWriter::putMnemonic(const MnemonicTable& table, uint16_t key) {
  text.advance(writeDnsParameter(text.room(DnsParameterRoom), table, key));
}

/// Type 0 has an entry in the registry, but no mnemonic that a reader knows.
void FieldWriter::putType(uint16_t type) { type == 0 ? put("TYPE0") : putMnemonic(record_types, type); }

void FieldWriter::putHex(const unsigned char* bytes, uint32_t count) {
  text.advance(hex::writeHex(text.room(2 * size_t{count}), bytes, count));
}

void FieldWriter::putGroups(const unsigned char* bytes, uint32_t count, uint32_t width, char separator) {
  unsigned char* out = text.room(3 * size_t{count});
  for (uint32_t i = 0; i < count; ++i) {
    if (i != 0 && i % width == 0) *out++ = static_cast<unsigned char>(separator);
    *out++ = static_cast<unsigned char>(hex::HexCharsLower[bytes[i] >> 4]);
    *out++ = static_cast<unsigned char>(hex::HexCharsLower[bytes[i] & 15]);
  }
  text.advance(out);
}

void FieldWriter::putBase32(const unsigned char* bytes, uint32_t count) {
  text.advance(base32::writeBase32(text.room(base32::base32Length(count)), bytes, count));
}

void FieldWriter::putBase64(const unsigned char* bytes, uint32_t count) {
  text.advance(base64::writeBase64(text.room(base64::base64Length(count)), bytes, count));
}

void FieldWriter::putQuoted(const unsigned char* bytes, uint32_t count) {
  unsigned char* out = text.room(escapedRoom(count) + 2);
  *out++ = '"';
  out = writeEscaped(out, bytes, count, readable);
  *out++ = '"';
  text.advance(out);
}

void FieldWriter::putIpv4(const unsigned char* address) {
  text.advance(ip::writeIpv4(text.room(ip::Ipv4Room), address));
}

void FieldWriter::putIpv6(const unsigned char* address) {
  text.advance(ip::writeIpv6(text.room(ip::Ipv6Room), address));
}

void FieldWriter::putEscaped(const unsigned char* bytes, uint32_t count) {
  text.advance(writeEscaped(text.room(escapedRoom(count)), bytes, count, readable));
}

bool FieldWriter::writeUint8() {
  const unsigned char* const bytes = take(1);
  if (bytes != nullptr) putUint(*bytes);
  return bytes != nullptr;
}

bool FieldWriter::writeUint16() {
  const unsigned char* const bytes = take(2);
  if (bytes != nullptr) putUint(data::loadUint16(bytes));
  return bytes != nullptr;
}

bool FieldWriter::writeUint32() {
  const unsigned char* const bytes = take(4);
  if (bytes != nullptr) putUint(data::loadUint32(bytes));
  return bytes != nullptr;
}

bool FieldWriter::writeTime() {
  const unsigned char* const bytes = take(4);
  if (bytes != nullptr) {
    text.advance(time::writeTimeDefault(text.room(time::TimeDefaultRoom), data::loadUint32(bytes)));
  }
  return bytes != nullptr;
}

bool FieldWriter::writeType() {
  const unsigned char* const bytes = take(2);
  if (bytes != nullptr) putType(data::loadUint16(bytes));
  return bytes != nullptr;
}

bool FieldWriter::writeCertType() {
  const unsigned char* const bytes = take(2);
  if (bytes != nullptr) putMnemonic(cert_types, data::loadUint16(bytes));
  return bytes != nullptr;
}

bool FieldWriter::writeName(uint32_t maxPointers) {
  constexpr uint32_t MaxLabel = 63, MaxName = 255;
  uint32_t next = position, size = 0, pointers = 0;
  for (;;) {
    if (next >= end) return false;
    const uint32_t count = data[next];
    if (count > MaxLabel) {
      if (count < 0xC0 || end - next < 2 || ++pointers > maxPointers) return false;
      const uint32_t target = data::loadUint16(data + next) & 0x3FFFU;
      if (target >= next) return false;
      if (pointers == 1) position = next + 2;
      next = target;
      continue;
    }
    ++next;
    size += 1 + count;
    if (size > MaxName || count > end - next) return false;
    if (count == 0) break;
    unsigned char* out = text.room(escapedRoom(MaxLabel) + 1);
    out = writeEscaped<LabelEscapes>(out, data + next, count, readable);
    *out++ = '.';
    text.advance(out);
    next += count;
  }
  if (size == 1) put('.');
  if (pointers == 0) position = next;
  return true;
}

bool FieldWriter::writeIpv4() {
  const unsigned char* const address = take(4);
  if (address != nullptr) putIpv4(address);
  return address != nullptr;
}

bool FieldWriter::writeIpv6() {
  const unsigned char* const address = take(16);
  if (address != nullptr) putIpv6(address);
  return address != nullptr;
}

bool FieldWriter::writeGroups(uint32_t count, uint32_t width, char separator) {
  const unsigned char* const bytes = take(count);
  if (bytes != nullptr) putGroups(bytes, count, width, separator);
  return bytes != nullptr;
}

bool FieldWriter::writeString() {
  const unsigned char* const count = take(1);
  const unsigned char* const bytes = count == nullptr ? nullptr : take(*count);
  if (bytes != nullptr) putQuoted(bytes, *count);
  return bytes != nullptr;
}

bool FieldWriter::writeHex() {
  const uint32_t count = getLeft();
  putHex(take(count), count);
  return count != 0;
}

bool FieldWriter::writeBase64() {
  const uint32_t count = getLeft();
  putBase64(take(count), count);
  return count != 0;
}

}  // namespace ns::net::dns
