#include "event/format/headers.h"

#include "encoding/Tail.h"
#include "event/format/EventHeaderWriter.h"

namespace ns::event::format {

static void formatHeader(encoding::Bytes& buffer, const EventFormatterConfig& config, EventHeaderWriter::Kind kind,
                         int64_t seconds, uint32_t nanoseconds) {
  encoding::data::Tail tail(buffer);
  EventHeaderWriter(config, kind).write(tail, seconds, nanoseconds);
  tail.finish();
}

void formatJsonHeader(encoding::Bytes& buffer, const EventFormatterConfig& config, int64_t seconds,
                      uint32_t nanoseconds) {
  formatHeader(buffer, config, EventHeaderWriter::Kind::Json, seconds, nanoseconds);
}

void formatSyslogHeader(encoding::Bytes& buffer, const EventFormatterConfig& config, int64_t seconds,
                        uint32_t nanoseconds) {
  formatHeader(buffer, config, EventHeaderWriter::Kind::Syslog, seconds, nanoseconds);
}

}  // namespace ns::event::format
