#pragma once

#include <cstdint>

#include "encoding/Bytes.h"
#include "encoding/dnstap/DnstapEvent.h"
#include "net/dns/event/DnsMessageEvent.h"

// Part of this library's contract, although the daemon doesn't call them.
namespace ns::net::dns {

/// tryExtractDnsMessageEvent for a record that owns its bytes, with the reason of a refusal: returns whether there is
/// an event, and throws DnsError for a record that breaks the rules.
bool extractDnsMessageEventFromDnstapEvent(DnsMessageEvent& event, const encoding::dnstap::DnstapEvent& dnstapEvent);

/// Appends the word for a dnstap socket protocol, or else "PROTO" and `key` in decimal.
void formatSocketProtocol(encoding::Bytes& buffer, uint16_t key);

}  // namespace ns::net::dns
