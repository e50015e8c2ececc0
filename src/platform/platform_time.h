// What the library needs of the system's clock, time zone and scheduler.
#pragma once

#include <cstdint>

// Milliseconds since 1970-01-01 00:00:00 UTC.
int64_t utPlatWallMilliseconds();

// The process's time zone (TZ, else the system's) at a moment of universal time.
struct PlatZone {
  int32_t offset; // seconds east of universal time
  bool daylight;
};
PlatZone utPlatZone(int64_t utc);

// Reads TZ again. The runtime does so only on request.
void utPlatZoneRefresh();
// A number that is another one after a refresh, and after the program has told the runtime itself
// (tzset) and got another distance from universal time or another use of daylight-saving time.
uint32_t utPlatZoneGeneration();

// Lets the calling thread rest for at least `seconds`, whatever signals arrive. Nothing happens
// for 0, negative numbers and NaN; very long times are cut to a few weeks.
void utPlatSleep(double seconds);
