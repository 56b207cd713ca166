#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "encoding/Bytes.h"

// Points in time as text, always in UTC, from seconds since 1970. The calendar is computed here: gmtime(3) has one
// result for all threads, and gmtime_r(3) takes the lock of the time zone at every call.
// A year above 9999 is written with all its digits, one below 0 as printf("%04d") does. Seconds come unchecked off the
// wire: those outside of what a struct tm can hold, whose year is an int counted from 1900, are taken as the first or
// last second that it can (years -2147481748 and 2147485547).
namespace ns::encoding::time {

inline constexpr std::array<std::string_view, 12> format_time_months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                                        "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

/// What the writers need as room: the longest year, and for ISO the digits of any number.
constexpr size_t TimeIsoRoom = 48;
constexpr size_t TimeDefaultRoom = 21;
constexpr size_t TimeSyslogRfc3164Room = 15;

/// Writes a time such as `2024-02-29T23:59:59.5Z` at `out`, which has room for TimeIsoRoom. Returns its end.
/// Behind the point stand the microseconds as a plain number: no leading zeros, so `.5` is 5 microseconds.
unsigned char* writeTimeIso(unsigned char* out, int64_t seconds, uint32_t nanoseconds);

/// Writes a time such as `20240229235959`, as RRSIG records have it (RFC 4034, 3.2), at `out`, which has room for
/// TimeDefaultRoom. Returns its end.
unsigned char* writeTimeDefault(unsigned char* out, int64_t seconds);

/// Writes a time such as `Feb  9 23:59:59` (RFC 3164, 4.1.2) at `out`, which has room for TimeSyslogRfc3164Room.
/// Returns its end.
unsigned char* writeTimeSyslogRfc3164(unsigned char* out, int64_t seconds);

/// Writes microseconds, below 1000000, as six digits at `out`, which has room for MicrosecondsRoom. Returns their end.
constexpr size_t MicrosecondsRoom = 6;
unsigned char* writeMicroseconds(unsigned char* out, uint32_t microseconds);

/// Append what the writers above write.
void formatTimeIso(Bytes& buffer, int64_t seconds, uint32_t nanoseconds);
void formatTimeDefault(Bytes& buffer, int64_t seconds);
void formatTimeSyslogRfc3164(Bytes& buffer, int64_t seconds);

}  // namespace ns::encoding::time
