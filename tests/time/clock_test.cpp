#include "support/child.h"

#include <climits>
#include <cmath>
#include <ctime>

static std::string text(const ZutTimePair &pair) {
  return std::to_string(pair.seconds) + "/" + std::to_string(pair.microseconds);
}

static std::string currentPair() {
  ZutTimePair pair;
  return ZutGetCurrentTimeStruct(&pair) ? text(pair) : "error " + std::to_string(ZutErrNumGet());
}

TEST(Clock, CurrentTimeIsUnsetThenKeptInBothForms) {
  EXPECT_EQ(ZutGetCurrentTime(), 0.0);
  EXPECT_EQ(currentPair(), "error 4");
  const struct {
    double time;
    const char *pair;
  } rows[] = {
      {12.5, "12/500000"},   {0.1, "0/100000"}, {1e9 + 0.999999, "1000000000/999999"},
      {12.99999995, "13/0"}, // microseconds stay below a million
      {3e9, "2147483647/0"},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(ZutSetCurrentTime(row.time), 1);
    EXPECT_EQ(ZutGetCurrentTime(), row.time);
    EXPECT_EQ(currentPair(), row.pair);
  }
  for (const double wrong : {-1.0, std::nan("")}) {
    EXPECT_EQ(ZutSetCurrentTime(wrong), 0);
    EXPECT_EQ(ZutErrNumGet(), 4);
  }
  const ZutTimePair negative = {5, -1};
  EXPECT_EQ(ZutSetCurrentTimeStruct(&negative), 0);
  EXPECT_EQ(ZutGetCurrentTime(), 3e9);
  const ZutTimePair pair = {7, 250000};
  EXPECT_EQ(ZutSetCurrentTimeStruct(&pair), 1);
  EXPECT_EQ(ZutGetCurrentTime(), 7.25);
}

TEST(Clock, WallTimeRunsUnlessATestStopsIt) {
  ZutTimePair pair;
  EXPECT_NEAR(ZutGetWallTime(), static_cast<double>(std::time(nullptr)), 2.0);
  ZutGetWallTimeStruct(&pair);
  EXPECT_NEAR(pair.seconds, static_cast<double>(std::time(nullptr)), 2.0);
  const ZutTimePair stopped = {100, 250001};
  ZutSetTestWallTimeStruct(&stopped);
  EXPECT_DOUBLE_EQ(ZutGetWallTime(), 100.250001);
  ZutGetWallTimeStruct(&pair);
  EXPECT_EQ(text(pair), "100/250001");
  EXPECT_EQ(std::string(ZutGetWallTimeStr()).substr(20, 2), "20"); // the system's clock
  const ZutTimePair off = {100, -1};
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

TEST(Clock, ChangesAreToldToCallbacks) {
  EXPECT_EQ(ZutTimeChangeCbLookup(hear, 1), nullptr);
  ZutCb *cb = ZutTimeChangeCbCreate(hear, 1);
  ASSERT_NE(cb, nullptr);
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
