#pragma once

#include <cstddef>
#include <cstdint>

#include "net/dns/message/MessageText.h"

// Character strings of record data (RFC 1035, 3.3): a length byte and that many bytes each.
namespace ns::net::dns {

/// The bytes that character strings stand in.
struct StringSource {
  const unsigned char* data;
  uint32_t declared;   // how long the strings say they are: may have come out of a subtraction below zero
  uint32_t available;  // how many bytes the message has there
};

/// Which of the strings to write, and how.
struct StringForm {
  bool quoted;  // in double quotes and with blanks between them; else back to back
  bool single;  // the first only
};

/// Writes the character strings of a source. One that runs past the declared length is cut off there. Returns the
/// number of bytes used. Throws DnsError once a string lies beyond what is available, and not before: with a declared
/// length far too long a single string can still be a good one.
uint32_t writeStrings(StringSource source, StringForm form, MessageText& text);

}  // namespace ns::net::dns
