#pragma once

#include <cstdint>

#include "encoding/Bytes.h"
#include "encoding/Tail.h"
#include "event/format/EventFormatterConfig.h"

namespace ns::event::format {

/// Writes the header of one event after the other, with all that does not change from event to event ready as text: the
/// time up to the second is rendered once a second, the host name once for all. One thread at a time.
class EventHeaderWriter {
 public:
  enum class Kind {
    Json,   ///< `{"timestamp":"2024-03-09T07:05:02.123456Z","host":"ns1","schema":1`; the object stays open
    Syslog  ///< as `syslogRfc3164` says, up to and with the blank before the message
  };

  EventHeaderWriter(const EventFormatterConfig& config, Kind kind);

  /// Writes the header of an event at `seconds` since the epoch.
  void write(encoding::data::Tail& tail, int64_t seconds, uint32_t nanoseconds) {
    if (seconds != second || front.empty()) [[unlikely]]
      renderFront(seconds);
    tail.bytes(front);
    if (fraction) tail.uint(nanoseconds / 1000);  // as a plain number, without leading zeros
    tail.bytes(back);
  }

 private:
  void renderFront(int64_t seconds);

  encoding::Bytes opening;  // what stands before the time
  encoding::Bytes front;    // the opening and the time, up to its fraction; empty before the first event
  encoding::Bytes back;     // what stands behind the fraction
  bool fraction;            // RFC 3164 has none
  int64_t second = 0;       // the one in `front`
};

}  // namespace ns::event::format
