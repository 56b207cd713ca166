#include "event/format/EventHeaderWriter.h"

#include "encoding/data.h"
#include "encoding/json.h"
#include "encoding/time.h"

using namespace ns::encoding;

namespace ns::event::format {

static void formatJsonBack(Bytes& back, const EventFormatterConfig& config) {
  data::formatChars(back, "Z\",\"host\":");
  json::formatJsonStr(back, config.hostname.data(), static_cast<uint32_t>(config.hostname.size()));
  data::formatChars(back, config.completeEvents ? ",\"schema\":2" : ",\"schema\":1");
}

/// The program's name in a log is its own, not a setting: collectors sort by it.
static void formatSyslogBack(Bytes& back, const EventFormatterConfig& config) {
  data::formatChars(back, config.syslogRfc3164 ? " " : "Z ");
  data::formatBytes(back, config.hostname.data(), static_cast<uint32_t>(config.hostname.size()));
  data::formatChars(back, config.syslogRfc3164 ? " wirelark[" : " wirelark ");
  data::formatUint(back, config.pid);
  data::formatChars(back, config.syslogRfc3164 ? "]: " : " - - ");
}

EventHeaderWriter::EventHeaderWriter(const EventFormatterConfig& config, Kind kind)
    : fraction(kind == Kind::Json || !config.syslogRfc3164), padded(config.paddedFraction) {
  if (kind == Kind::Json) {
    data::formatChars(opening, "{\"timestamp\":\"");
    formatJsonBack(back, config);
  } else {
    data::formatChar(opening, '<');
    data::formatUint(opening, config.syslogPriority);
    data::formatChars(opening, config.syslogRfc3164 ? ">" : ">1 ");
    formatSyslogBack(back, config);
  }
  front.reserve(opening.size() + time::TimeIsoRoom);  // so that renderFront never fails half-way
}

void EventHeaderWriter::renderFront(int64_t seconds) {
  front.clear();
  data::formatBytes(front, opening.data(), static_cast<uint32_t>(opening.size()));
  if (fraction) {
    time::formatTimeIso(front, seconds, 0);
    front.resize(front.size() - 2);  // the fraction "0" and the "Z"
  } else {
    time::formatTimeSyslogRfc3164(front, seconds);
  }
  second = seconds;
}

}  // namespace ns::event::format
