#pragma once

#include <cstdint>

#include "encoding/Bytes.h"

namespace ns::event::format {

/// What EventFormatterConfig::messageFormat says.
enum MessageFormat : uint32_t { FormatJson = 0, FormatQuerylog = 1, FormatDnstap = 2 };

/// All settings of the text formats: plain values, filled before any worker thread starts and only read after that.
struct EventFormatterConfig {
  /// Sets the defaults.
  EventFormatterConfig();

  uint32_t messageFormat;    // a MessageFormat; of any other there is no text
  uint32_t pid;              // in syslog headers
  uint32_t syslogPriority;   // facility * 8 + severity as one number, not checked
  bool syslogRfc3164;        // else RFC 5424
  encoding::Bytes hostname;  // in both kinds of header
  bool querylogExtended;
  bool domainSuffixEnabled;  // whether domains are shown
  bool domainSuffixBuiltin;  // whether they are found by the built-in suffixes, by the configured ones, or by both
  bool domainSuffixConfig;
  bool fqdnTrailingDot;
  bool paddedFraction = false;  // fractions of a second have six digits, not the microseconds as a plain number
  bool completeEvents = false;  // with all that records and messages tell: see writeCompleteJson
  bool rfcRecordData = false;   // record data in the presentation form of its RFC
  uint32_t lineLimit = 0;       // the most bytes of a complete event's line; 0 is none
};

}  // namespace ns::event::format
