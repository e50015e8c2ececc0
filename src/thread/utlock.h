// Mutexes as the threads' modules see them, and timeouts.
#pragma once

#include "base/fastlock.h"
#include "zut.h"

#include <bit>

// A mutex of either kind; `fast` says which. All zeros but `fast` is a free fast mutex.
struct ZutMutex {
  union {
    FastLock lock;
    PlatMutex *kernel;
  };
  int32_t fast;
};

// --- Timeouts in seconds ---
inline constexpr double Z_FOREVER = -1.0;

// By the bits, which takes no thought of NaN.
constexpr bool utIsForever(double timeout) {
  return std::bit_cast<uint64_t>(timeout) == std::bit_cast<uint64_t>(Z_FOREVER);
}

// NaN is no timeout.
constexpr bool utIsTimeout(double timeout) { return timeout >= 0.0 || timeout == Z_FOREVER; }

// A timeout in milliseconds, towards zero; -1 for ever. What is longer than the systems can wait
// is cut to what they can (49 days).
constexpr int64_t utMilliseconds(double seconds) {
  if (utIsForever(seconds)) return -1;
  return seconds >= 4294967.294 ? 4294967294 : static_cast<int64_t>(seconds * 1000.0);
}
