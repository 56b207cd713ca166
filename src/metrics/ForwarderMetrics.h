#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace ns::metrics {

/// One forwarder. Its own record counts from the start, a report's the time since the last one.
struct ForwarderMetrics {
  uint32_t id = 0;
  bool useIpv6 = false;
  std::string host;
  uint16_t port = 0;
  std::atomic<bool> connected{false};  // when the report was made
  std::atomic<uint64_t> bytesSent{0};
  std::atomic<uint64_t> eventsSent{0};
  std::atomic<uint64_t> connects{0};  // attempts, failed ones included
  std::atomic<uint64_t> dnstapErrors{0};
  bool tellsSkipped = false;  // whether the report shows the next
  std::atomic<uint64_t> eventsSkipped{0};
};

}  // namespace ns::metrics
