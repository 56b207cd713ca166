#include "net/dns/event/DnsMessageEvent.h"

#include <string>

#include "net/dns/message/DnsError.h"

using ns::encoding::dnstap::DnstapEvent;
using ns::encoding::dnstap::DnstapView;

namespace ns::net::dns {

static constexpr uint64_t LastType = 12;  // TOOL_RESPONSE; from 1 on, queries are odd and responses even
static constexpr uint64_t SocketFamilyInet = 1;

/// The rule that a record breaks.
enum class Fault { None, Seconds, Nanoseconds, QueryAddress, ResponseAddress };

struct Result {
  Extraction extraction;
  Fault fault = Fault::None;
};

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

static Result extract(DnsMessageEvent& event, const DnstapView& record) {
  event.type = record.type;
  event.proto = record.socket_protocol;
  event.port = record.query_port;
  if (record.type == 0 || record.type > LastType) return {Extraction::Skipped};

  event.isQuery = record.type % 2 == 1;
  event.seconds = event.isQuery ? record.query_time_sec : record.response_time_sec;
  event.nanoseconds = event.isQuery ? record.query_time_nsec : record.response_time_nsec;
  const DnstapView::Piece& message = event.isQuery ? record.query_message : record.response_message;
  event.message = {message.data(), message.size()};  // as it was stored just now: in two pieces
  if (event.seconds == 0) return {Extraction::Broken, Fault::Seconds};
  if (event.nanoseconds > 999999999) return {Extraction::Broken, Fault::Nanoseconds};
  if (event.message.empty()) return {Extraction::Skipped};

  if (!extractAddress(event.client, record.query_address, record.socket_family))
    return {Extraction::Broken, Fault::QueryAddress};
  if (!extractAddress(event.server, record.response_address, record.socket_family))
    return {Extraction::Broken, Fault::ResponseAddress};
  return {Extraction::Event};
}

[[gnu::cold]] static std::string describe(Fault fault, const DnsMessageEvent& event, const DnstapView& record) {
  const std::string side = event.isQuery ? "query" : "response";
  switch (fault) {
    case Fault::Seconds:
      // The query's time, whichever one is missing: log watchers know the text like that.
      return "Expected message " + side + "_time_sec not to be 0 but got " + std::to_string(record.query_time_sec);
    case Fault::Nanoseconds:
      return "Expected message " + side + "_time_nsec to be less than 1000000000 but got " +
             std::to_string(event.nanoseconds);
    case Fault::QueryAddress:
      return "Expected message query_address to be 0, 4 or 16 bytes but got " +
             std::to_string(record.query_address.size());
    default:
      return "Expected message response_address to be 0, 4 or 16 bytes but got " +
             std::to_string(record.response_address.size());
  }
}

Extraction tryExtractDnsMessageEvent(DnsMessageEvent& event, const DnstapView& record) noexcept {
  return extract(event, record).extraction;
}

bool extractDnsMessageEventFromDnstapEvent(DnsMessageEvent& event, const DnstapEvent& dnstapEvent) {
  const DnstapView record(dnstapEvent);
  const Result result = extract(event, record);
  if (result.extraction == Extraction::Broken) throw DnsError(describe(result.fault, event, record));
  return result.extraction == Extraction::Event;
}

}  // namespace ns::net::dns
