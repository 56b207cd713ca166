#include "net/dns/event/DnsMessageEvent.h"

#include <algorithm>

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

// In microseconds, as far as they can be told apart; below 0 if a time is missing or they are out of order.
static int64_t measureLatency(const DnstapView& record) {
  constexpr uint64_t MostSeconds = uint64_t{1} << 40;  // far beyond any, and far from where a product overflows
  if (record.query_time_sec == 0 || record.response_time_sec == 0) return -1;
  if (std::max(record.query_time_sec, record.response_time_sec) > MostSeconds) return -1;
  const auto toMicroseconds = [](uint64_t seconds, uint32_t nanoseconds) {
    return static_cast<int64_t>(seconds) * 1000000 + nanoseconds / 1000;
  };
  const int64_t passed = toMicroseconds(record.response_time_sec, record.response_time_nsec) -
                         toMicroseconds(record.query_time_sec, record.query_time_nsec);
  return passed < 0 ? -1 : passed;
}

Extraction tryExtractCompleteEvent(DnsMessageEvent& event, const DnstapView& record) noexcept {
  constexpr uint64_t LastCompleteType = 14;  // UPDATE_RESPONSE
  event.type = record.type;
  event.proto = record.socket_protocol;
  event.port = record.query_port;
  event.more = {record.identity,      record.version,       record.query_zone,    record.policy_rule,
                record.policy_action, record.http_protocol, record.response_port, -1};
  if (record.type == 0 || record.type > LastCompleteType) return Extraction::Skipped;

  event.isQuery = record.type % 2 == 1;
  const DnstapView::Piece& message = event.isQuery ? record.query_message : record.response_message;
  if (message.empty()) return Extraction::Skipped;
  event.message = message;
  const bool takesQueryTime = event.isQuery ? record.query_time_sec != 0 : record.response_time_sec == 0;
  event.seconds = takesQueryTime ? record.query_time_sec : record.response_time_sec;
  event.nanoseconds = takesQueryTime ? record.query_time_nsec : record.response_time_nsec;
  if (event.seconds == 0 || event.nanoseconds > MaxNanoseconds) return Extraction::Broken;
  if (!event.isQuery && record.query_time_nsec <= MaxNanoseconds) event.more.latency = measureLatency(record);

  if (!extractAddress(event.client, record.query_address, record.socket_family)) return Extraction::Broken;
  if (!extractAddress(event.server, record.response_address, record.socket_family)) return Extraction::Broken;
  return Extraction::Event;
}

}  // namespace ns::net::dns
