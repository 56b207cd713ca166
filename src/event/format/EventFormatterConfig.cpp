#include "event/format/EventFormatterConfig.h"

#include "encoding/data.h"

namespace ns::event::format {

EventFormatterConfig::EventFormatterConfig()
    : messageFormat(FormatJson),
      pid(0),
      syslogPriority(30),  // facility 3, daemon, and severity 6, informational (RFC 5424, 6.2.1)
      syslogRfc3164(false),
      querylogExtended(false),
      domainSuffixEnabled(true),
      domainSuffixBuiltin(true),
      domainSuffixConfig(true),
      fqdnTrailingDot(true) {
  // Eight characters: a host that shows up like this was never configured.
  encoding::data::formatChars(hostname, "127.0.0.");
}

}  // namespace ns::event::format
