#pragma once

#include <span>

#include "net/dns/event/EventBody.h"
#include "net/dns/event/LineWriter.h"
#include "net/dns/message/mnemonics.h"

// What the query log's lines of both kinds have in common.
namespace ns::net::dns {

/// Whether the socket protocol runs over TCP: TCP itself, DOT, DOH and DNSCrypt over TCP.
inline bool isTcp(uint64_t proto) { return proto == 2 || proto == 3 || proto == 4 || proto == 6; }

/// The domain of a name in brackets, which stand in extended lines even where no domains are shown.
inline auto inBrackets(const EventView& view, std::span<const unsigned char> domain) {
  return when(view.config.querylogExtended, "[", when(view.config.domainSuffixEnabled, PlainText{domain}), "] ");
}

/// An answer of a response.
inline void writeAnswer(LineWriter& line, const EventView& view, const DnsRecord& record) {
  const DnsMessage& message = view.message;
  line.write("; ", PlainText{message.at(record.name)}, " ", inBrackets(view, message.domainOf(record)), record.ttl, " ",
             DnsWord{record_classes, record.rrclass}, " ", DnsWord{record_types, record.type}, " ",
             PlainText{message.at(record.rdata)});
}

}  // namespace ns::net::dns
