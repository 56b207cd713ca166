#include "encoding/time.h"

#include <algorithm>
#include <cstring>

#include "encoding/data.h"

namespace ns::encoding::time {

static constexpr int64_t FirstSecond = -67768040609740800;  // -2147481748-01-01T00:00:00
static constexpr int64_t LastSecond = 67768036191676799;    // 2147485547-12-31T23:59:59

static constexpr int64_t SecondsPerDay = 86400;
static constexpr int64_t DaysPerEra = 146097;  // 400 years, after which the calendar repeats itself

struct Calendar {
  int64_t year;
  uint32_t month;  // from 0
  uint32_t day;    // from 1
  uint32_t hour;
  uint32_t minute;
  uint32_t second;
};

static int64_t divideDown(int64_t value, int64_t by) { return (value - (value < 0 ? by - 1 : 0)) / by; }

/// Years are counted from the 1st of March here, so that the leap day is the last of its year and the months before it
/// have the same lengths every year: 153 days in every five months.
static Calendar toCalendar(int64_t seconds) {
  seconds = std::clamp(seconds, FirstSecond, LastSecond);
  const int64_t days = divideDown(seconds, SecondsPerDay);
  const auto second = static_cast<uint32_t>(seconds - days * SecondsPerDay);

  const int64_t sinceMarch0 = days + 719468;  // the days from 0000-03-01 to 1970-01-01
  const int64_t era = divideDown(sinceMarch0, DaysPerEra);
  const auto dayOfEra = static_cast<uint32_t>(sinceMarch0 - era * DaysPerEra);
  const uint32_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const uint32_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const uint32_t month = (5 * dayOfYear + 2) / 153;  // March is 0
  const bool nextYear = month >= 10;                 // January and February

  return {era * 400 + yearOfEra + (nextYear ? 1 : 0),
          nextYear ? month - 10 : month + 2,
          dayOfYear - (153 * month + 2) / 5 + 1,
          second / 3600,
          second / 60 % 60,
          second % 60};
}

/// As printf("%04d") does: at least four characters, a sign included.
static unsigned char* writeYear(unsigned char* out, int64_t year) {
  if (year >= 0 && year <= 9999) [[likely]] {
    out = data::writeTwoDigits(out, static_cast<size_t>(year / 100));
    return data::writeTwoDigits(out, static_cast<size_t>(year % 100));
  }
  if (year < 0) {
    *out++ = '-';
    year = -year;
    if (year < 100) *out++ = '0';
    if (year < 10) *out++ = '0';
  }
  std::array<unsigned char, data::MaxUintDigits> digits;
  const unsigned char* const end = data::writeUint(digits.data(), static_cast<uint64_t>(year));
  return std::copy(static_cast<const unsigned char*>(digits.data()), end, out);
}

static unsigned char* writeClock(unsigned char* out, const Calendar& time) {
  out = data::writeTwoDigits(out, time.hour);
  *out++ = ':';
  out = data::writeTwoDigits(out, time.minute);
  *out++ = ':';
  return data::writeTwoDigits(out, time.second);
}

unsigned char* writeTimeIso(unsigned char* out, int64_t seconds, uint32_t nanoseconds) {
  const Calendar time = toCalendar(seconds);
  out = writeYear(out, time.year);
  *out++ = '-';
  out = data::writeTwoDigits(out, time.month + 1);
  *out++ = '-';
  out = data::writeTwoDigits(out, time.day);
  *out++ = 'T';
  out = writeClock(out, time);
  *out++ = '.';
  out = data::writeUint(out, nanoseconds / 1000);
  *out++ = 'Z';
  return out;
}

unsigned char* writeTimeDefault(unsigned char* out, int64_t seconds) {
  const Calendar time = toCalendar(seconds);
  out = writeYear(out, time.year);
  for (const uint32_t part : {time.month + 1, time.day, time.hour, time.minute, time.second})
    out = data::writeTwoDigits(out, part);
  return out;
}

unsigned char* writeTimeSyslogRfc3164(unsigned char* out, int64_t seconds) {
  const Calendar time = toCalendar(seconds);
  std::memcpy(out, format_time_months[time.month].data(), 3);
  out[3] = ' ';
  data::writeTwoDigits(out + 4, time.day);
  if (time.day < 10) out[4] = ' ';
  out[6] = ' ';
  return writeClock(out + 7, time);
}

unsigned char* writeMicroseconds(unsigned char* out, uint32_t microseconds) {
  for (const uint32_t unit : {10000U, 100U, 1U}) out = data::writeTwoDigits(out, microseconds / unit % 100);
  return out;
}

void formatTimeIso(Bytes& buffer, int64_t seconds, uint32_t nanoseconds) {
  unsigned char* const out = data::grow(buffer, TimeIsoRoom);
  data::cut(buffer, writeTimeIso(out, seconds, nanoseconds));
}

void formatTimeDefault(Bytes& buffer, int64_t seconds) {
  unsigned char* const out = data::grow(buffer, TimeDefaultRoom);
  data::cut(buffer, writeTimeDefault(out, seconds));
}

void formatTimeSyslogRfc3164(Bytes& buffer, int64_t seconds) {
  unsigned char* const out = data::grow(buffer, TimeSyslogRfc3164Room);
  data::cut(buffer, writeTimeSyslogRfc3164(out, seconds));
}

}  // namespace ns::encoding::time
