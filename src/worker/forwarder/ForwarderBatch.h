#pragma once

#include <cstdint>
#include <vector>

#include "encoding/Bytes.h"
#include "worker/forwarder/LargeMemory.h"

namespace ns::worker::forwarder {

/// Events taken from the queue together, in hand until they were sent and, as the previous batch, for one cycle more.
struct ForwarderBatch {
  encoding::Bytes events;              // the raw records of all events taken; for a target of dnstap, as data frames
  std::vector<uint32_t> eventLengths;  // for each event taken: its raw length if it is in the send buffer, else 0
  uint32_t sendSize = 0;               // bytes that the batch puts on the wire
  uint32_t eventCount = 0;             // events that are in the send buffer
  LargeMemory eventsMemory;            // of `events`
  LargeMemory lengthsMemory;           // of `eventLengths`

  void clear() {
    eventsMemory.clear(events);
    lengthsMemory.clear(eventLengths);
    sendSize = 0;
    eventCount = 0;
  }
};

}  // namespace ns::worker::forwarder
