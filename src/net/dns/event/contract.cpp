#include "net/dns/event/contract.h"

#include <string>

#include "net/dns/event/eventWords.h"
#include "net/dns/message/DnsError.h"
#include "net/dns/message/contract.h"

using ns::encoding::dnstap::DnstapEvent;
using ns::encoding::dnstap::DnstapView;

namespace ns::net::dns {

static bool hasSizeOfAddress(DnstapView::Piece bytes) {
  return bytes.empty() || bytes.size() == 4 || bytes.size() == 16;
}

/// The rule that a broken record breaks: the first of them in the order in which they are looked at.
static std::string describe(const DnsMessageEvent& event, const DnstapView& record) {
  const std::string side = event.isQuery ? "query" : "response";
  if (event.seconds == 0) {
    // The query's time, whichever one is missing: log watchers know the text like that.
    return "Expected message " + side + "_time_sec not to be 0 but got " + std::to_string(record.query_time_sec);
  }
  if (event.nanoseconds > MaxNanoseconds) {
    return "Expected message " + side + "_time_nsec to be less than 1000000000 but got " +
           std::to_string(event.nanoseconds);
  }
  const bool isQueryAddress = !hasSizeOfAddress(record.query_address);
  return std::string("Expected message ") + (isQueryAddress ? "query" : "response") +
         "_address to be 0, 4 or 16 bytes but got " +
         std::to_string((isQueryAddress ? record.query_address : record.response_address).size());
}

bool extractDnsMessageEventFromDnstapEvent(DnsMessageEvent& event, const DnstapEvent& dnstapEvent) {
  const DnstapView record(dnstapEvent);
  const Extraction extraction = tryExtractDnsMessageEvent(event, record);
  if (extraction == Extraction::Broken) throw DnsError(describe(event, record));
  return extraction == Extraction::Event;
}

void formatSocketProtocol(encoding::Bytes& buffer, uint16_t key) {
  formatDnsParameter(buffer, socket_protocols, key, socket_protocols.prefix);
}

}  // namespace ns::net::dns
