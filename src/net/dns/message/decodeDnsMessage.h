#pragma once

#include <cstdint>

#include "net/dns/message/DnsMessage.h"

namespace ns::net::dns {

/// How a message becomes text.
struct TextForms {
  bool trailingDot;            ///< at the end of names
  bool lowercase;              ///< each name's lower-case form too, for its domain; else that stays empty
  bool complete = false;       ///< takes a message without a question, too, and notes what OPT and TSIG say
  bool rfcRecordData = false;  ///< record data as its RFC has it; see writePresentation
};

/// Decodes the DNS message of `length` bytes at `data` into `message`, overwriting what was there. A bad packet is a
/// normal outcome: the failure's text goes to `message.error`, nothing is thrown. OPT, TSIG and SIG records of the
/// additional section are left out: they speak of the message, not of a name.
/// Exactly one question is asked for, or with `complete` at most one. Bytes behind the last record are ignored.
void decodeDnsMessage(const unsigned char* data, uint32_t length, DnsMessage& message, TextForms forms);

}  // namespace ns::net::dns
