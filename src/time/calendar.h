// The calendar: days to dates and back, and the local time of the process's time zone.
#pragma once

#include "base/check.h"
#include "platform/platform_time.h"

#include <cstdint>
#include <cstring>

struct CivilTime {
  int32_t year;  // 1969..9999
  int32_t month; // 1..12
  int32_t day;
  int32_t weekday; // 0 is Sunday
  int32_t second;  // of the day
};

extern const char *const utMonthNames[12]; // in full, the first letter a capital
extern const char *const utDayNames[7];

// The moments that have a text: from 1970 to the last second of the year 9999.
inline constexpr int64_t utTimeEnd = 253402300800;

// Days since 1970-01-01 of a date; month 1..12, any day.
int64_t utDaysOfDate(int64_t year, int32_t month, int64_t day);
// The date and time of -86400 <= seconds < utTimeEnd.
CivilTime utCivilTime(int64_t seconds);

// The zone at a moment. Any thread, no lock.
PlatZone utZone(int64_t utc);

// The moment at which a clock on the wall shows `local` (seconds since 1970 as if universal).
// Of the two moments of a repeated hour the first.
int64_t utLocalMoment(int64_t local);
// The same, with daylight-saving time in force or not as it is at `now`, like mktime with the
// daylight flag of that moment: what differs from the zone's own rule is moved by their difference.
int64_t utLocalMomentLike(int64_t local, int64_t now);

// What a clock on the wall shows at `utc`, in seconds since 1970 as if universal: below 0 in the
// first hours of 1970 where a zone west of Greenwich is still in 1969. False for a moment that has
// no text.
bool utLocalClock(int64_t utc, int64_t *local);
// "Wed Jan 02 02:03:55 1980" of a moment in local time, 24 characters and the end. False: no text.
inline constexpr int32_t utLocalTextSize = 25;
bool utLocalText(int64_t utc, char *out);

extern const char utDigitPairs[201];
// Two digits of 0..99.
inline void utTwoDigits(char *out, int32_t value) {
  utCheck(value >= 0 && value < 100);
  std::memcpy(out, utDigitPairs + 2 * value, 2);
}
// "hh:mm:ss" of a second of the day, not terminated.
inline void utClockText(char *out, int32_t second) {
  utCheck(second >= 0 && second < 86400);
  utTwoDigits(out, second / 3600);
  out[2] = ':';
  utTwoDigits(out + 3, second / 60 % 60);
  out[5] = ':';
  utTwoDigits(out + 6, second % 60);
}
