#include "event/format/headers.h"

#include <gtest/gtest.h>

#include "support/appended.h"

using namespace ns::event::format;
using ns::encoding::Bytes;

TEST(Headers, AreWrittenAsTheyStand) {
  EventFormatterConfig bare, full, bsd;
  full.hostname = bsd.hostname = {'a', '"', '/'};
  full.pid = bsd.pid = 4242;
  full.syslogPriority = bsd.syslogPriority = 4294967295;
  bsd.syslogRfc3164 = true;
  constexpr auto json = formatJsonHeader, syslog = formatSyslogHeader;
  const std::tuple<decltype(&formatJsonHeader), EventFormatterConfig, int64_t, uint32_t, const char*> cases[] = {
      {json, bare, 0, 999999999, R"({"timestamp":"1970-01-01T00:00:00.999999Z","host":"127.0.0.","schema":1)"},
      {json, bsd, 253402300800, 5999, R"({"timestamp":"10000-01-01T00:00:00.5Z","host":"a\"\/","schema":1)"},
      {syslog, bare, 0, 0, "<30>1 1970-01-01T00:00:00.0Z 127.0.0. wirelark 0 - - "},
      {syslog, full, 1709967902, 123456789, "<4294967295>1 2024-03-09T07:05:02.123456Z a\"/ wirelark 4242 - - "},
      {syslog, bsd, 1709967902, 123456789, "<4294967295>Mar  9 07:05:02 a\"/ wirelark[4242]: "},
  };
  for (const auto& [format, config, seconds, nanoseconds, text] : cases) {
    Bytes buffer(1, '>');
    format(buffer, config, seconds, nanoseconds);
    EXPECT_EQ(std::string(">") + text, test::text(buffer));
  }
}
