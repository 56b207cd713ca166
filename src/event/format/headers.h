#pragma once

#include <cstdint>

#include "encoding/Bytes.h"
#include "event/format/EventFormatterConfig.h"

// Part of this library's contract, although the daemon doesn't call them: the header of one event, rendered from
// nothing. For event after event there is EventHeaderWriter.
namespace ns::event::format {

/// Appends the opening of a JSON event with the keys `timestamp`, `host` and `schema`. The object stays open.
void formatJsonHeader(encoding::Bytes& buffer, const EventFormatterConfig& config, int64_t seconds,
                      uint32_t nanoseconds);

/// Appends a syslog header (RFC 3164 or RFC 5424, by `syslogRfc3164`) up to and with the blank before the message.
void formatSyslogHeader(encoding::Bytes& buffer, const EventFormatterConfig& config, int64_t seconds,
                        uint32_t nanoseconds);

}  // namespace ns::event::format
