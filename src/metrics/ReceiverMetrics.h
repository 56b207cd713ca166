#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace ns::metrics {

/// One live receiver: whom it serves, and what came in. The receiver's own record counts from its start, a report's the
/// time since the last one.
struct ReceiverMetrics {
  uint32_t id = 0;  // within its listener
  bool isUnix = false;
  bool useIpv6 = false;
  std::string path;  // of a Unix-domain peer, as are uid, gid and pid
  std::string host;  // of a TCP peer, as is port
  uint16_t port = 0;
  uint32_t uid = 0;
  uint32_t gid = 0;
  uint32_t pid = 0;
  std::atomic<uint64_t> bytesReceived{0};  // data frames with their length words
  std::atomic<uint64_t> eventsReceived{0};
};

}  // namespace ns::metrics
