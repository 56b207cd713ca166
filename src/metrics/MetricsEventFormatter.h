#pragma once

#include "encoding/Bytes.h"
#include "metrics/MetricsEvent.h"

namespace ns::metrics {

/// Turns a report into one line of text, without a line end. Holds nothing; any thread may use it.
class MetricsEventFormatter {
 public:
  /// Appends the report: a JSON object if `useJson`, else groups of key=value such as
  /// "queue[type=message eventsProcessed=7 eventsQueued=0 eventsDropped=0]".
  void format(encoding::Bytes& buffer, const MetricsEvent& event, bool useJson) const;
};

}  // namespace ns::metrics
