#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "metrics/EventQueueMetrics.h"
#include "metrics/ForwarderMetrics.h"
#include "metrics/ListenerMetrics.h"

namespace ns::metrics {

/// One report on the whole daemon. The background logger builds one at its start and refills it for every report, so
/// that records and texts keep their storage.
struct MetricsEvent {
  uint64_t seconds = 0;  // the system clock at the report, since 1970
  uint32_t nanoseconds = 0;
  uint32_t listenerCount = 0;  // the entries of `listeners` to report
  std::vector<std::unique_ptr<ListenerMetrics>> listeners;
  uint32_t forwarderCount = 0;  // the entries of `forwarders` to report
  std::vector<std::unique_ptr<ForwarderMetrics>> forwarders;
  EventQueueMetrics queue;
};

}  // namespace ns::metrics
