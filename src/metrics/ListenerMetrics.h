#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "metrics/EtwReaderMetrics.h"
#include "metrics/ReceiverMetrics.h"

namespace ns::metrics {

/// One listener with its receivers.
struct ListenerMetrics {
  uint32_t id = 0;
  bool isEtw = false;
  bool isUnix = false;
  bool useIpv6 = false;
  std::string path;  // of a Unix-domain socket
  std::string host;  // of a TCP socket, as is port
  uint16_t port = 0;
  std::atomic<uint64_t> accepts{0};          // in a report: since the last one
  std::atomic<uint64_t> activeReceivers{0};  // alive now
  std::atomic<uint64_t> peakReceivers{0};    // the most alive at once since the start
  EtwReaderMetrics etwReader;

  /// How many entries of `receivers` this report fills. The entries behind them are left over from a report with more
  /// connections and are kept for the next such one.
  uint32_t receiverCount = 0;
  std::vector<std::unique_ptr<ReceiverMetrics>> receivers;
};

}  // namespace ns::metrics
