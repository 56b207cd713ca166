#pragma once

#include <cstddef>
#include <cstdint>

#include "encoding/Bytes.h"
#include "net/dns/message/MessageText.h"

// Character strings of record data (RFC 1035, 3.3): a length byte and that many bytes each.
namespace ns::net::dns {

/// Appends `length` bytes as presentation text.
void decodeRdataString(const unsigned char* data, uint32_t length, encoding::Bytes& out);

/// Appends the character strings in the `length` bytes at `data`; with `quoted` in double quotes and with blanks
/// between them, otherwise back to back; with `single` the first only. A string that runs past `length` is cut off
/// there. Returns the number of bytes used.
uint32_t decodeRdataStrings(const unsigned char* data, uint32_t length, encoding::Bytes& out, bool quoted, bool single);

/// The bytes that character strings stand in.
struct StringSource {
  const unsigned char* data;
  uint32_t declared;   // how long the strings say they are: may have come out of a subtraction below zero
  uint32_t available;  // how many bytes the message has there
};

/// Which of the strings to write, and how; see decodeRdataStrings.
struct StringForm {
  bool quoted;
  bool single;
};

/// decodeRdataStrings as a part of a message's text. Throws DnsError once a string lies beyond what is available, and
/// not before: with a declared length far too long a single string can still be a good one.
uint32_t writeStrings(StringSource source, StringForm form, MessageText& text);

}  // namespace ns::net::dns
