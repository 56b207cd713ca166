#pragma once

#include <atomic>
#include <cstdint>

namespace ns::metrics {

/// What the event queue counts. The queue's own record counts from the start, a report's the time since the last one.
struct EventQueueMetrics {
  std::atomic<uint64_t> eventsProcessed{0};  // taken by consumers
  std::atomic<uint64_t> eventsQueued{0};     // in the ring now, in a report too
  std::atomic<uint64_t> eventsDropped{0};    // thrown away to make room for newer ones
};

}  // namespace ns::metrics
