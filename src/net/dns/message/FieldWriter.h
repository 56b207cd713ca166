#pragma once

#include <cstdint>
#include <string_view>

#include "net/dns/message/MessageText.h"
#include "net/dns/message/MnemonicTable.h"
#include "net/dns/message/names.h"

namespace ns::net::dns {

/// The data of one record on its way into the text of its RFC, field by field. Every write* takes one field off the
/// record and returns true, or returns false, with anything read and written, if what is left of the record is not such
/// a field. Nothing is thrown but for too much text: a message may hold thousands of bad records.
class FieldWriter {
 public:
  /// Fields from `position` up to `end` of the message of `length` bytes at `data`, which has both. What is written
  /// goes behind what `text` holds.
  FieldWriter(const unsigned char* data, uint32_t length, uint32_t position, uint32_t end, MessageText& text)
      : data(data), readable(data + length), position(position), end(end), text(text) {}

  bool atEnd() const { return position == end; }
  uint32_t getLeft() const { return end - position; }

  /// The byte `count` bytes before the next one, of a field that was taken before.
  uint8_t back(uint32_t count) const { return data[position - count]; }

  /// The next `count` bytes; null if fewer are left.
  const unsigned char* take(uint32_t count) {
    if (count > end - position) [[unlikely]]
      return nullptr;
    const unsigned char* const first = data + position;
    position += count;
    return first;
  }
  /// The next `count` bytes, which are there, as a record of their own.
  FieldWriter takePart(uint32_t count);

  void put(char value) { text.character(value); }
  void put(std::string_view value) { text.text(value); }
  void putUint(uint64_t value) { text.uint(value); }
  void putMnemonic(const MnemonicTable& table, uint16_t key);
  void putType(uint16_t type);
  void putHex(const unsigned char* bytes, uint32_t count);
  /// Lower-case hex with `separator` between groups of `width` bytes.
  void putGroups(const unsigned char* bytes, uint32_t count, uint32_t width, char separator);
  void putBase32(const unsigned char* bytes, uint32_t count);
  void putBase64(const unsigned char* bytes, uint32_t count);
  void putQuoted(const unsigned char* bytes, uint32_t count);
  void putIpv4(const unsigned char* address);
  void putIpv6(const unsigned char* address);
  /// Text between quotes, without them.
  void putEscaped(const unsigned char* bytes, uint32_t count);

  bool writeUint8();
  bool writeUint16();
  bool writeUint32();
  bool writeTime();
  bool writeType();
  bool writeCertType();
  /// A name of at most 255 bytes (RFC 1035, 2.3.4), with a dot at its end. Compression pointers have to lead back.
  bool writeName(uint32_t maxPointers = MaxPointers);
  bool writeIpv4();
  bool writeIpv6();
  /// `count` bytes as by putGroups.
  bool writeGroups(uint32_t count, uint32_t width, char separator);
  /// A character string (RFC 1035, 3.3), in quotes.
  bool writeString();
  // All that is left, and that is not nothing: readers of zone files miss a field that is empty.
  bool writeHex();
  bool writeBase64();

 private:
  const unsigned char* const data;
  const unsigned char* const readable;  // the end of the message
  uint32_t position;
  const uint32_t end;
  MessageText& text;
};

}  // namespace ns::net::dns
