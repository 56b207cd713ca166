#include "event/format/headers.h"

#include <gtest/gtest.h>

#include "encoding/data.h"
#include "event/format/EventHeaderWriter.h"
#include "support/appended.h"

using namespace ns::event::format;
using ns::encoding::Bytes;

static constexpr int64_t March9 = 1709967902;  // 2024-03-09 07:05:02 UTC

static EventFormatterConfig makeConfig(const char* hostname, bool rfc3164 = false) {
  EventFormatterConfig config;
  config.pid = 4242;
  config.syslogRfc3164 = rfc3164;
  config.hostname.clear();
  ns::encoding::data::formatChars(config.hostname, hostname);
  return config;
}

TEST(Headers, AreWrittenAsTheyStand) {
  const EventFormatterConfig ns1 = makeConfig("ns1"), bsd = makeConfig("ns1", true), odd = makeConfig("a\"b/"), bare;
  constexpr auto json = formatJsonHeader, syslog = formatSyslogHeader;
  const struct {
    void (*format)(Bytes&, const EventFormatterConfig&, int64_t, uint32_t);
    const EventFormatterConfig& config;
    int64_t seconds;
    uint32_t nanoseconds;
    const char* text;
  } cases[] = {
      {json, ns1, March9, 123456789, R"({"timestamp":"2024-03-09T07:05:02.123456Z","host":"ns1","schema":1)"},
      {json, bsd, March9, 5999, R"({"timestamp":"2024-03-09T07:05:02.5Z","host":"ns1","schema":1)"},
      {json, odd, 253402300800, 0, R"({"timestamp":"10000-01-01T00:00:00.0Z","host":"a\"b\/","schema":1)"},
      {json, bare, 0, 999999999, R"({"timestamp":"1970-01-01T00:00:00.999999Z","host":"127.0.0.","schema":1)"},
      {syslog, ns1, March9, 123456789, "<30>1 2024-03-09T07:05:02.123456Z ns1 wirelark 4242 - - "},
      {syslog, odd, 0, 1000, "<30>1 1970-01-01T00:00:00.1Z a\"b/ wirelark 4242 - - "},
      {syslog, bare, 0, 0, "<30>1 1970-01-01T00:00:00.0Z 127.0.0. wirelark 0 - - "},
      {syslog, bsd, March9, 123456789, "<30>Mar  9 07:05:02 ns1 wirelark[4242]: "},
  };
  for (const auto& c : cases)
    EXPECT_EQ(c.text, test::appended([&](Bytes& out) { c.format(out, c.config, c.seconds, c.nanoseconds); }));
}

TEST(EventHeaderWriter, RendersEachSecondAnew) {
  using Kind = EventHeaderWriter::Kind;
  for (const bool rfc3164 : {false, true}) {
    EventFormatterConfig config = makeConfig("", rfc3164);
    config.syslogPriority = 4294967295;
    EventHeaderWriter json(config, Kind::Json), syslog(config, Kind::Syslog);
    for (const int64_t seconds : {int64_t{0}, March9, March9, March9 + 1, INT64_MAX, INT64_MIN, March9}) {
      const auto write = [&](EventHeaderWriter& writer, Bytes& out) {
        ns::encoding::data::Tail tail(out);
        writer.write(tail, seconds, UINT32_MAX);
        tail.finish();
      };
      EXPECT_EQ(test::appended([&](Bytes& out) { formatJsonHeader(out, config, seconds, UINT32_MAX); }),
                test::appended([&](Bytes& out) { write(json, out); }));
      EXPECT_EQ(test::appended([&](Bytes& out) { formatSyslogHeader(out, config, seconds, UINT32_MAX); }),
                test::appended([&](Bytes& out) { write(syslog, out); }));
    }
  }
}
