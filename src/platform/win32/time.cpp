#include "platform/platform_time.h"

#include <cmath>
#include <ctime>
#include <windows.h>

int64_t utPlatWallMilliseconds() {
  constexpr int64_t epoch = 116444736000000000; // 1970 in steps of 100 ns since 1601
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  const int64_t steps = static_cast<int64_t>(now.dwHighDateTime) << 32 | now.dwLowDateTime;
  return (steps - epoch) / 10000;
}

// The runtime's own conversion is asked, because it alone follows TZ. Its result lives in a record
// of the thread.
PlatZone utPlatZone(int64_t utc) {
  const __time64_t time = utc;
  const tm *found = _localtime64(&time);
  if (!found) return {0, false};
  tm local = *found;
  return {static_cast<int32_t>(_mkgmtime64(&local) - utc), local.tm_isdst > 0};
}

void utPlatSleep(double seconds) {
  constexpr double longest = 4e6; // in milliseconds below the word that means for ever
  if (!(seconds > 0)) return;
  if (seconds > longest) seconds = longest;
  Sleep(static_cast<DWORD>(std::ceil(seconds * 1000)));
}
