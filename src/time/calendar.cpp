// Own calendar arithmetic, the same on every platform; only the zone's offset comes from the
// system, which takes longer to tell it than all the rest. So weeks in which the zone does not
// change are remembered: each entry of `zones` holds a week, its zone and the generation of the
// process's zone in one word, read and written whole, without a lock. The table spans 78 years
// without a collision. An entry of another generation is as good as none.
#include "time/calendar.h"

#include "base/check.h"

#include <algorithm>
#include <atomic>
#include <cstring>

const char *const utMonthNames[12] = {"January",   "February", "March",    "April",
                                      "May",       "June",     "July",     "August",
                                      "September", "October",  "November", "December"};
const char *const utDayNames[7] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                   "Thursday", "Friday", "Saturday"};

const char utDigitPairs[] = "00010203040506070809101112131415161718192021222324"
                            "25262728293031323334353637383940414243444546474849"
                            "50515253545556575859606162636465666768697071727374"
                            "75767778798081828384858687888990919293949596979899";

namespace {

constexpr int64_t daySeconds = 86400;
constexpr int64_t weekSeconds = 7 * daySeconds;
constexpr uint32_t zoneCount = 4096;

// From the lowest bit on: the zone, the week's number plus one (0: empty), the generation.
constinit std::atomic<uint64_t> zones[zoneCount] = {};
constexpr int zoneBits = 19, weekBits = 19;

constexpr uint64_t keyOf(uint32_t generation, uint32_t week) {
  return uint64_t{generation} << weekBits | (week + 1);
}

// A zone is twice the offset, which is less than 28 hours either way, plus the daylight flag; or
// `mixed`, for a week in which the zone changes.
constexpr int32_t bias = 100000;
constexpr uint32_t mixed = (1u << zoneBits) - 1;

constexpr uint32_t pack(PlatZone zone) {
  if (zone.offset <= -bias || zone.offset >= bias) return mixed;
  return static_cast<uint32_t>(zone.offset + bias) * 2 + (zone.daylight ? 1 : 0);
}

constexpr PlatZone unpack(uint32_t zone) {
  return {static_cast<int32_t>(zone >> 1) - bias, (zone & 1) != 0};
}

// No zone changes and changes back within a day, so a look at every day finds each change.
uint32_t zoneOfWeek(int64_t start) {
  utCheck(start >= 0 && start % weekSeconds == 0);
  const uint32_t zone = pack(utPlatZone(start));
  for (int64_t time = start + daySeconds; time < start + weekSeconds; time += daySeconds) {
    if (pack(utPlatZone(time)) != zone) return mixed;
  }
  return pack(utPlatZone(start + weekSeconds - 1)) == zone ? zone : mixed;
}

} // namespace

// The year is taken to begin in March, so that the day of the leap year is its last; eras of 400
// years are all alike.
int64_t utDaysOfDate(int64_t year, int32_t month, int64_t day) {
  utCheck(month >= 1 && month <= 12);
  if (month <= 2) --year;
  const int64_t era = (year >= 0 ? year : year - 399) / 400;
  const int64_t yearOfEra = year - era * 400;
  const int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

// The inverse, in the same eras, counted from their beginning: nothing is negative, and 32 bits
// hold every day up to the year 9999.
CivilTime utCivilTime(int64_t seconds) {
  utCheck(seconds >= -daySeconds && seconds < utTimeEnd);
  constexpr uint32_t before1970 = 719468;
  seconds += before1970 * daySeconds;
  const auto shifted = static_cast<uint32_t>(seconds / daySeconds);
  const uint32_t era = shifted / 146097;
  const uint32_t dayOfEra = shifted - era * 146097;
  const uint32_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const uint32_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const uint32_t fromMarch = (5 * dayOfYear + 2) / 153;
  const uint32_t month = fromMarch < 10 ? fromMarch + 3 : fromMarch - 9;
  CivilTime civil;
  civil.year = static_cast<int32_t>(yearOfEra + era * 400 + (month <= 2 ? 1 : 0));
  civil.month = static_cast<int32_t>(month);
  civil.day = static_cast<int32_t>(dayOfYear - (153 * fromMarch + 2) / 5 + 1);
  civil.weekday = static_cast<int32_t>((shifted + 3) % 7);
  civil.second = static_cast<int32_t>(seconds - static_cast<int64_t>(shifted) * daySeconds);
  utCheck(civil.month >= 1 && civil.month <= 12 && civil.day >= 1 && civil.day <= 31);
  utCheck(civil.year >= 1969 && civil.year <= 9999 && civil.second >= 0);
  return civil;
}

PlatZone utZone(int64_t utc) {
  utc = std::clamp(utc, int64_t{0}, utTimeEnd - 1); // beyond, not every system knows the zone
  const auto week = static_cast<uint32_t>(utc / weekSeconds);
  utCheck(week + 1 < 1u << weekBits);
  std::atomic<uint64_t> &entry = zones[week % zoneCount];
  constexpr uint64_t zoneMask = (uint64_t{1} << zoneBits) - 1;
  const uint64_t key = keyOf(utPlatZoneGeneration(), week) << zoneBits;
  uint64_t word = entry.load(std::memory_order_relaxed);
  if ((word & ~zoneMask) != key) {
    word = key | zoneOfWeek(week * weekSeconds);
    entry.store(word, std::memory_order_relaxed);
  }
  const auto zone = static_cast<uint32_t>(word & zoneMask);
  return zone == mixed ? utPlatZone(utc) : unpack(zone);
}

int64_t utLocalMoment(int64_t local) {
  // The offsets around the moment differ only near a change; the earlier offset is tried first.
  const int32_t before = utZone(local - daySeconds).offset;
  if (utZone(local - before).offset == before) return local - before;
  const int32_t after = utZone(local + daySeconds).offset;
  // In the hour that a change leaves out no moment fits; the clock is read as before the change.
  return utZone(local - after).offset == after ? local - after : local - before;
}

int64_t utLocalMomentLike(int64_t local, int64_t now) {
  const PlatZone like = utZone(now);
  const int64_t moment = local - like.offset;
  const PlatZone zone = utZone(moment);
  // The same season: the zone's offset of that time holds, even where the zone itself has moved.
  return zone.daylight == like.daylight ? local - zone.offset : moment;
}

bool utLocalClock(int64_t utc, int64_t *local) {
  if (utc < 0 || utc >= utTimeEnd) return false;
  *local = utc + utZone(utc).offset;
  return *local < utTimeEnd;
}

bool utLocalText(int64_t utc, char *out) {
  int64_t local;
  if (!utLocalClock(utc, &local)) return false;
  const CivilTime civil = utCivilTime(local);
  std::memcpy(out, "Www Mmm dd hh:mm:ss yyyy", utLocalTextSize);
  std::memcpy(out, utDayNames[civil.weekday], 3);
  std::memcpy(out + 4, utMonthNames[civil.month - 1], 3);
  utTwoDigits(out + 8, civil.day);
  utClockText(out + 11, civil.second);
  utTwoDigits(out + 20, civil.year / 100);
  utTwoDigits(out + 22, civil.year % 100);
  return true;
}
