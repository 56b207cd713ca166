#include "net/dns/event/DnsMessageEvent.h"

using ns::encoding::dnstap::DnstapView;

namespace ns::net::dns {

static constexpr uint64_t LastType = 12;  // TOOL_RESPONSE; from 1 on, queries are odd and responses even
static constexpr uint64_t SocketFamilyInet = 1;

/// Returns false if the address has no length that an address can have.
static bool extractAddress(AddressText& text, DnstapView::Piece address, uint64_t family) {
  if (address.size() == 4) {
    text.setIpv4(address.data());
  } else if (address.size() == 16) {
    if (family == SocketFamilyInet) {  // some servers keep IPv4 addresses in the last bytes of an IPv6 one
      text.setIpv4(address.data() + 12);
    } else {
      text.setIpv6(address.data());
    }
  } else {
    text.clear();
    return address.empty();
  }
  return true;
}

Extraction tryExtractDnsMessageEvent(DnsMessageEvent& event, const DnstapView& record) noexcept {
  event.type = record.type;
  event.proto = record.socket_protocol;
  event.port = record.query_port;
  if (record.type == 0 || record.type > LastType) return Extraction::Skipped;

  event.isQuery = record.type % 2 == 1;
  event.seconds = event.isQuery ? record.query_time_sec : record.response_time_sec;
  event.nanoseconds = event.isQuery ? record.query_time_nsec : record.response_time_nsec;
  const DnstapView::Piece& message = event.isQuery ? record.query_message : record.response_message;
  event.message = {message.data(), message.size()};  // one by one as they were stored, for store forwarding
  if (event.seconds == 0) return Extraction::Broken;
  if (event.nanoseconds > MaxNanoseconds) return Extraction::Broken;
  if (event.message.empty()) return Extraction::Skipped;

  if (!extractAddress(event.client, record.query_address, record.socket_family)) return Extraction::Broken;
  if (!extractAddress(event.server, record.response_address, record.socket_family)) return Extraction::Broken;
  return Extraction::Event;
}

}  // namespace ns::net::dns
