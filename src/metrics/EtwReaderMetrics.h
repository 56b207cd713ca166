#pragma once

#include <atomic>
#include <cstdint>

namespace ns::metrics {

/// Counters of a reader of Event Tracing for Windows. Always zero: no listener on this platform has such a reader.
struct EtwReaderMetrics {
  std::atomic<uint32_t> eventsReceived{0};
  std::atomic<uint32_t> eventsIgnored{0};
  std::atomic<uint32_t> eventsLost{0};
  std::atomic<uint32_t> buffersRead{0};
  std::atomic<uint32_t> buffersLost{0};
  std::atomic<uint32_t> errors{0};
};

}  // namespace ns::metrics
