#pragma once

#include <cstdint>
#include <string_view>

#include "net/dns/message/MessageText.h"
#include "net/dns/message/mnemonics.h"
#include "net/dns/message/rdataStrings.h"

namespace ns::net::dns {

/// The data of one record on its way from the packet into text: a position in the whole message, and the text so far.
/// Reading goes on to the end of the message, past that of the record if its fields do: their own lengths count.
/// Whatever lies beyond the message is a DataError from the readers of numbers and a DnsError from all others.
class RdataWriter {
 public:
  /// The message of `length` bytes at `data`, with `rdlength` bytes of record data at `offset` of it. Throws DnsError
  /// if they run past its end. What is written goes behind what `text` holds.
  RdataWriter(const unsigned char* data, uint32_t length, uint32_t offset, uint32_t rdlength, MessageText& text)
      : data(data), length(length), position(offset), end(offset + rdlength), text(text) {
    if (uint64_t{offset} + rdlength > length) [[unlikely]]
      failBounds(offset, rdlength, length);
  }

  /// The message, and where the text goes.
  const unsigned char* getData() const { return data; }
  uint32_t getLength() const { return length; }
  MessageText& getText() const { return text; }

  uint32_t getPosition() const { return position; }
  uint32_t getEnd() const { return end; }
  /// The number of bytes up to the record's end; from behind that end it is far too large for any message.
  uint32_t getLeft() const { return end - position; }
  void setPosition(uint32_t offset) { position = offset; }

  uint8_t readUint8();
  uint16_t readUint16();
  uint32_t readUint32();
  /// The next `count` bytes. Throws DnsError if the message has fewer.
  const unsigned char* take(uint32_t count);

  void writeChar(char value) { text.character(value); }
  void writeText(std::string_view value) { text.text(value); }
  void writeUint(uint64_t value) { text.uint(value); }
  void writeParameter(const MnemonicTable& table, uint16_t key);

  // Each of these takes what it writes off the packet.
  void writeName();
  void writeTime();
  void writeIpv4();
  void writeIpv6();
  void writeHex(uint32_t count);
  void writeBase32(uint32_t count);
  void writeBase64(uint32_t count);
  void writeString(uint32_t count);

  /// Writes the strings of `declared` bytes at `offset` of the message; the position stays. Returns the bytes used.
  uint32_t writeStringsAt(uint32_t offset, uint32_t declared, StringForm form);

  /// A number, or a name, and the blank between it and the item that follows.
  uint8_t item8();
  void item16();
  void item32();
  void itemName();

 private:
  [[noreturn, gnu::cold, gnu::noinline]] static void failBounds(uint32_t offset, uint32_t rdlength, uint32_t length);

  const unsigned char* const data;
  const uint32_t length;
  uint32_t position;
  const uint32_t end;
  MessageText& text;
};

}  // namespace ns::net::dns
