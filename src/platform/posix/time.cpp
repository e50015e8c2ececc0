#include "platform/platform_time.h"

#include <atomic>
#include <cerrno>
#include <ctime>

namespace {

std::atomic<uint32_t> generation{0};
std::atomic<uint64_t> known{0}; // what the runtime said of the zone when it was last looked at

} // namespace

int64_t utPlatWallMilliseconds() {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

PlatZone utPlatZone(int64_t utc) {
  const time_t time = utc;
  tm local;
  if (!localtime_r(&time, &local)) return {0, false}; // a year beyond 31 bits
  return {static_cast<int32_t>(local.tm_gmtoff), local.tm_isdst > 0};
}

void utPlatZoneRefresh() {
  tzset();
  generation.fetch_add(1, std::memory_order_release);
}

uint32_t utPlatZoneGeneration() {
  const auto seconds = static_cast<uint32_t>(timezone);
  const uint64_t zone = uint64_t{seconds} << 1 | (daylight ? 1 : 0);
  if (known.load(std::memory_order_acquire) != zone) {
    generation.fetch_add(1, std::memory_order_release);
    known.store(zone, std::memory_order_release);
  }
  return generation.load(std::memory_order_acquire);
}

void utPlatSleep(double seconds) {
  constexpr double longest = 4e6;
  if (!(seconds > 0)) return;
  if (seconds > longest) seconds = longest;
  timespec until;
  clock_gettime(CLOCK_MONOTONIC, &until);
  const auto nanoseconds = static_cast<int64_t>(seconds * 1e9) + until.tv_nsec;
  until.tv_sec += nanoseconds / 1000000000;
  until.tv_nsec = nanoseconds % 1000000000;
  // A moment, not a span: signals that come again and again do not lengthen it.
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
}
