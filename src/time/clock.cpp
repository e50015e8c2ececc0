// The three clocks: the wall clock, the wall clock as a test has frozen it, and the current time
// that the program sets. Each value is one word, written under the process mutex and read without
// it; the current time's two forms are written together, so that the last setter wins in both.
#include "time/clock.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/processlock.h"
#include "base/text.h"
#include "base/threadblock.h"
#include "platform/platform_time.h"
#include "time/calendar.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>

namespace {

constexpr int32_t million = 1000000;

// A pair in one word: an atomic of a record may need a run-time library of the compiler's.
class AtomicPair {
public:
  explicit constexpr AtomicPair(ZutTimePair pair) : word_(std::bit_cast<uint64_t>(pair)) {}
  ZutTimePair load() const {
    return std::bit_cast<ZutTimePair>(word_.load(std::memory_order_acquire));
  }
  void store(ZutTimePair pair) {
    word_.store(std::bit_cast<uint64_t>(pair), std::memory_order_release);
  }

private:
  std::atomic<uint64_t> word_;
  static_assert(std::atomic<uint64_t>::is_always_lock_free);
};

constinit std::atomic<double> currentTime{0.0};
constinit AtomicPair currentPair{ZutTimePair{-1, 0}};
constinit AtomicPair testTime{ZutTimePair{-1, 0}};
constinit std::atomic<ZutCbType *> changeType{nullptr};
static_assert(std::atomic<double>::is_always_lock_free);

constexpr bool isSet(const ZutTimePair &pair) {
  return pair.seconds >= 0 && pair.microseconds >= 0;
}

double pairToSeconds(const ZutTimePair &pair) { return pair.seconds + pair.microseconds * 1e-6; }

constexpr int32_t saturate(int64_t value) {
  return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX));
}

ZutTimePair pairOf(double time) {
  const double whole = std::floor(time);
  // A tenth of a microsecond guards against x.999999 where the decimal fraction is not exact.
  const int32_t fraction = utToInt32(((time - whole) * 1e7 + 1.0) * 0.1);
  utCheck(fraction >= 0 && fraction <= million);
  if (fraction < million) return {utToInt32(whole), fraction};
  return {utToInt32(whole + 1), fraction - million};
}

// False while the test time is off.
bool testPair(ZutTimePair *out) {
  const ZutTimePair pair = testTime.load();
  if (pair.seconds == -1 || pair.microseconds == -1) return false;
  *out = pair;
  return true;
}

void storeCurrent(double time, const ZutTimePair &pair) {
  utCheck(time >= 0 && isSet(pair));
  {
    const ProcessGuard guard;
    currentTime.store(time, std::memory_order_release);
    currentPair.store(pair);
  }
  ZutCbType *type = changeType.load(std::memory_order_acquire);
  if (!type) return;
  ZutTimeChangeData data = {nullptr, pair};
  ZutCbTypeCall(type, nullptr, &data);
}

ZutCbType *makeChangeType() {
  const ProcessGuard guard;
  ZutCbType *type = changeType.load(std::memory_order_relaxed);
  if (!type) {
    type = ZutCbTypeCreate(Z_CB_TYPE_TIME_CHANGE, "time_change");
    utCheck(type);
    ZutCbTypeSetGlobFlag(type, Z_CB_GLOBAL_ONLY);
    changeType.store(type, std::memory_order_release);
  }
  return type;
}

} // namespace

double utCurrentTimeUnlocked() { return currentTime.load(std::memory_order_acquire); }

extern "C" {

double Z_CALL ZutGetWallTime(void) {
  ZutTimePair test;
  if (testPair(&test)) return pairToSeconds(test);
  const int64_t now = utPlatWallMilliseconds();
  const int64_t seconds = now / 1000;
  return static_cast<double>(seconds) + static_cast<double>(now % 1000) * 0.001;
}

int32_t Z_CALL ZutGetWallTimeStruct(ZutTimePair *out) {
  if (!out) return utFail(Err::nullPointer);
  if (testPair(out)) return 1;
  const int64_t now = utPlatWallMilliseconds();
  *out = {saturate(now / 1000), static_cast<int32_t>(now % 1000) * 1000};
  return 1;
}

int32_t Z_CALL ZutSetTestWallTimeStruct(const ZutTimePair *time) {
  if (!time) return utFail(Err::nullPointer);
  testTime.store(*time);
  return 1;
}

const char *Z_CALL ZutGetWallTimeStr(void) {
  char *text = utThreadText(TextSlot::wallTime, utLocalTextSize);
  if (!utLocalText(utPlatWallMilliseconds() / 1000, text)) text[0] = 0;
  return text;
}

double Z_CALL ZutGetCurrentTime(void) { return utCurrentTimeUnlocked(); }

int32_t Z_CALL ZutGetCurrentTimeStruct(ZutTimePair *out) {
  if (!out) return utFail(Err::nullPointer);
  const ZutTimePair pair = currentPair.load();
  if (!isSet(pair)) return utFail(Err::tooSmall);
  *out = pair;
  return 1;
}

int32_t Z_CALL ZutSetCurrentTime(double time) {
  if (!(time >= 0.0)) return utFail(Err::tooSmall); // NaN as well
  storeCurrent(time, pairOf(time));
  return 1;
}

int32_t Z_CALL ZutSetCurrentTimeStruct(const ZutTimePair *time) {
  if (!time) return utFail(Err::nullPointer);
  if (!isSet(*time)) return utFail(Err::tooSmall);
  storeCurrent(pairToSeconds(*time), *time);
  return 1;
}

ZutCb *Z_CALL ZutTimeChangeCbCreate(ZutCbFunc function, ZutWord argument) {
  return ZutCbCreateGlobal(makeChangeType(), function, argument);
}

ZutCb *Z_CALL ZutTimeChangeCbLookup(ZutCbFunc function, ZutWord argument) {
  if (!changeType.load(std::memory_order_acquire)) return nullptr;
  return ZutCbTypeNumCbLookup(Z_CB_TYPE_TIME_CHANGE, nullptr, function, argument);
}

int32_t Z_CALL ZutTimeRatio(const ZutTimePair *a, const ZutTimePair *b) {
  if (!a || !b) return utFail(Err::nullPointer);
  const double divisor = pairToSeconds(*b);
  const double dividend = pairToSeconds(*a);
  // Written out for the divisor 0: an infinity saturates, 0 by 0 gives 0.
  if (divisor == 0) return dividend > 0 ? INT32_MAX : dividend < 0 ? INT32_MIN : 0;
  return utToInt32(dividend / divisor);
}

int32_t Z_CALL ZutTimeMultInt(ZutTimePair *out, const ZutTimePair *time, int32_t n) {
  if (!out || !time) return utFail(Err::nullPointer);
  int64_t seconds = static_cast<int64_t>(time->seconds) * n;
  int64_t microseconds = static_cast<int64_t>(time->microseconds) * n;
  if (microseconds >= million) {
    seconds += microseconds / million;
    microseconds %= million;
  }
  *out = {saturate(seconds), saturate(microseconds)};
  return 1;
}

} // extern "C"
