#pragma once

#include <cstdint>

#include "encoding/Bytes.h"
#include "encoding/Tail.h"
#include "encoding/time.h"
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
    if (fraction) writeFraction(tail, nanoseconds / 1000);
    tail.bytes(back);
  }

 private:
  void renderFront(int64_t seconds);
  void writeFraction(encoding::data::Tail& tail, uint32_t microseconds) const {
    if (padded) {
      tail.advance(encoding::time::writeMicroseconds(tail.room(encoding::time::MicrosecondsRoom), microseconds));
    } else {
      tail.uint(microseconds);  // as a plain number, without leading zeros
    }
  }

  encoding::Bytes opening;  // what stands before the time
  encoding::Bytes front;    // the opening and the time, up to its fraction; empty before the first event
  encoding::Bytes back;     // what stands behind the fraction
  bool fraction;            // RFC 3164 has none
  bool padded;
  int64_t second = 0;  // the one in `front`
};

}  // namespace ns::event::format
