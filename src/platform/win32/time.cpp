#include "platform/platform_time.h"

#include <atomic>
#include <cmath>
#include <ctime>
#include <windows.h>

namespace {

std::atomic<uint32_t> generation{0};
std::atomic<uint64_t> known{0}; // what the runtime said of the zone when it was last looked at

} // namespace

int64_t utPlatWallMilliseconds() {
  constexpr int64_t epoch = 116444736000000000; // 1970 in steps of 100 ns since 1601
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  const int64_t steps = static_cast<int64_t>(now.dwHighDateTime) << 32 | now.dwLowDateTime;
  return (steps - epoch) / 10000;
}

// The runtime is asked, because it alone follows TZ. It knows no year after 3000; the calendar, and
// with it the rule of the zone, repeats itself after 400 years. Both of its results are written to
// the same record of the thread.
PlatZone utPlatZone(int64_t utc) {
  constexpr int64_t end = 32503680000; // of the year 2999
  constexpr int64_t era = 146097 * int64_t{86400};
  const __time64_t time = utc < end ? utc : utc - ((utc - end) / era + 1) * era;
  const tm *found = _localtime64(&time);
  if (!found) return {0, false};
  const tm local = *found;
  const tm &here = *_gmtime64(&time);
  const int32_t days =
      local.tm_year != here.tm_year ? local.tm_year - here.tm_year : local.tm_yday - here.tm_yday;
  const int32_t hours = days * 24 + local.tm_hour - here.tm_hour;
  const int32_t minutes = hours * 60 + local.tm_min - here.tm_min;
  return {minutes * 60 + local.tm_sec - here.tm_sec, local.tm_isdst > 0};
}

void utPlatZoneRefresh() {
  _tzset();
  generation.fetch_add(1, std::memory_order_release);
}

uint32_t utPlatZoneGeneration() {
  const auto seconds = static_cast<uint32_t>(_timezone);
  const uint64_t zone = uint64_t{seconds} << 1 | (_daylight ? 1 : 0);
  if (known.load(std::memory_order_acquire) != zone) {
    generation.fetch_add(1, std::memory_order_release);
    known.store(zone, std::memory_order_release);
  }
  return generation.load(std::memory_order_acquire);
}

void utPlatSleep(double seconds) {
  constexpr double longest = 4e6; // in milliseconds below the word that means for ever
  if (!(seconds > 0)) return;
  if (seconds > longest) seconds = longest;
  Sleep(static_cast<DWORD>(std::ceil(seconds * 1000)));
}
