#include "support/errors.h"

#include <climits>
#include <cmath>
#include <ctime>
#include <string>

static std::string text(const ZutTimePair &pair) {
  return std::to_string(pair.seconds) + "/" + std::to_string(pair.microseconds);
}

TEST(Clock, CurrentTimeIsUnsetThenKeptInBothForms) {
  ZutTimePair pair;
  EXPECT_EQ(ZutGetCurrentTime(), 0.0);
  EXPECT_ERROR(4, ZutGetCurrentTimeStruct(&pair));
  const std::pair<double, const char *> rows[] = {
      {12.5, "12/500000"},   {0.1, "0/100000"}, {1e9 + 0.999999, "1000000000/999999"},
      {12.99999995, "13/0"}, // microseconds stay below a million
      {3e9, "2147483647/0"},
  };
  for (const auto &[time, expected] : rows) {
    EXPECT_EQ(ZutSetCurrentTime(time), 1);
    EXPECT_EQ(ZutGetCurrentTime(), time);
    EXPECT_EQ(ZutGetCurrentTimeStruct(&pair), 1);
    EXPECT_EQ(text(pair), expected);
  }
  for (const double wrong : {-1.0, std::nan("")}) EXPECT_ERROR(4, ZutSetCurrentTime(wrong));
  pair = {5, -1};
  EXPECT_ERROR(4, ZutSetCurrentTimeStruct(&pair));
  EXPECT_EQ(ZutGetCurrentTime(), 3e9);
  pair = {7, 250000};
  EXPECT_EQ(ZutSetCurrentTimeStruct(&pair), 1);
  EXPECT_EQ(ZutGetCurrentTime(), 7.25);
}

TEST(Clock, WallTimeRunsUnlessATestFreezesIt) {
  ZutTimePair pair;
  EXPECT_NEAR(ZutGetWallTime(), static_cast<double>(std::time(nullptr)), 2.0);
  ZutGetWallTimeStruct(&pair);
  EXPECT_NEAR(pair.seconds, static_cast<double>(std::time(nullptr)), 2.0);
  const ZutTimePair frozen = {100, 250001}, off = {100, -1};
  ZutSetTestWallTimeStruct(&frozen);
  EXPECT_DOUBLE_EQ(ZutGetWallTime(), 100.250001);
  ZutGetWallTimeStruct(&pair);
  EXPECT_EQ(text(pair), "100/250001");
  EXPECT_EQ(std::string(ZutGetWallTimeStr()).substr(20, 2), "20"); // the system's clock
  ZutSetTestWallTimeStruct(&off);
  EXPECT_GT(ZutGetWallTime(), 1e9);
}

static std::string heard;
static void Z_CALL hear(void *owner, void *data, ZutWord argument) {
  const auto &change = *static_cast<ZutTimeChangeData *>(data);
  EXPECT_EQ(owner, nullptr);
  EXPECT_EQ(change.cb, ZutTimeChangeCbLookup(hear, argument));
  heard += text(change.time) + " ";
}

TEST(Clock, ChangesCallTheCallbacks) {
  EXPECT_EQ(ZutTimeChangeCbLookup(hear, 1), nullptr);
  ZutCb *cb = ZutTimeChangeCbCreate(hear, 1);
  ZutSetCurrentTime(1.5);
  const ZutTimePair pair = {2, 3};
  ZutSetCurrentTimeStruct(&pair);
  ZutSetCurrentTime(-1.0);
  ZutCbDestroy(cb);
  ZutSetCurrentTime(4.0);
  EXPECT_EQ(heard, "1/500000 2/3 ");
}

TEST(Clock, RatioAndMultipleStayWithin32Bits) {
  const auto ratio = [](ZutTimePair a, ZutTimePair b) { return ZutTimeRatio(&a, &b); };
  EXPECT_EQ(ratio({7, 500000}, {2, 0}), 3);
  EXPECT_EQ(ratio({-7, 0}, {2, 0}), -3);
  EXPECT_EQ(ratio({INT_MAX, 0}, {0, 1}), INT_MAX);
  EXPECT_EQ(ratio({-1, 0}, {0, 0}), INT_MIN);
  EXPECT_EQ(ratio({0, 0}, {0, 0}), 0);
  const auto times = [](ZutTimePair pair, int32_t n) {
    ZutTimeMultInt(&pair, &pair, n);
    return text(pair);
  };
  EXPECT_EQ(times({1, 500000}, 5), "7/500000");
  EXPECT_EQ(times({1, 500000}, -3), "-3/-1500000");
  EXPECT_EQ(times({2000000000, 999999}, 2000000000), "2147483647/0");
}
