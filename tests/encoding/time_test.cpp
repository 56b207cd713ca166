#include "encoding/time.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <random>

#include "support/appended.h"

namespace ns::encoding::time {

using test::appended;

/// The three forms, one behind the other.
static std::string byUs(int64_t seconds, uint32_t nanoseconds) {
  return appended([&](Bytes& b) {
    formatTimeIso(b, seconds, nanoseconds);
    formatTimeDefault(b, seconds);
    formatTimeSyslogRfc3164(b, seconds);
  });
}

/// The same as the C library makes them.
static std::string byLibrary(int64_t seconds) {
  std::tm tm{};
  const time_t when = seconds;
  if (gmtime_r(&when, &tm) == nullptr) return "no such time";
  char year[16], rest[64];
  std::snprintf(year, sizeof(year), "%04ld", tm.tm_year + 1900L);
  std::strftime(rest, sizeof(rest), "-%m-%dT%H:%M:%S.0Z", &tm);
  const std::string iso = year + std::string(rest);
  std::strftime(rest, sizeof(rest), "%m%d%H%M%S%b %e %H:%M:%S", &tm);
  return iso + year + rest;
}

TEST(Times, AreThoseOfTheLibraryAndHeldAtItsLimits) {
  for (int64_t day = 0; day < 146097; ++day)  // 400 years, after which the calendar repeats itself
    ASSERT_EQ(byUs(day * 86400 - day % 2, 0), byLibrary(day * 86400 - day % 2)) << day;
  // Behind the ends of the years 9999, 1969, -1, -10, -100 and -1000.
  for (const int64_t end : {253402300800, 0L, -62167219200, -62451216000, -65291356800, -93692592000}) {
    for (const int64_t seconds : {end - 1, end}) EXPECT_EQ(byUs(seconds, 0), byLibrary(seconds));
  }
  const int64_t first = -67768040609740800, last = 67768036191676799;
  EXPECT_EQ(byLibrary(first - 1) + byLibrary(last + 1), "no such timeno such time");
  std::mt19937_64 random(1);
  for (int i = 0; i < 20000; ++i) {
    const int64_t seconds = static_cast<int64_t>(random()) >> random() % 48;
    ASSERT_EQ(byUs(seconds, 0), byLibrary(std::clamp(seconds, first, last))) << seconds;
  }
}

TEST(Times, ShowMicrosecondsAsAPlainNumber) {
  const std::tuple<int64_t, uint32_t, const char*> cases[] = {
      {0, 999, "1970-01-01T00:00:00.0Z19700101000000Jan  1 00:00:00"},
      {0, 5000, "1970-01-01T00:00:00.5Z19700101000000Jan  1 00:00:00"},
      {1709251199, 999999999, "2024-02-29T23:59:59.999999Z20240229235959Feb 29 23:59:59"},
      {2147483648, 500000000, "2038-01-19T03:14:08.500000Z20380119031408Jan 19 03:14:08"},
      {INT64_MAX, 4294967295, "2147485547-12-31T23:59:59.4294967Z21474855471231235959Dec 31 23:59:59"},
      {INT64_MIN, 0, "-2147481748-01-01T00:00:00.0Z-21474817480101000000Jan  1 00:00:00"},
  };
  for (const auto& [seconds, nanoseconds, text] : cases) EXPECT_EQ(byUs(seconds, nanoseconds), text);
}

}  // namespace ns::encoding::time
