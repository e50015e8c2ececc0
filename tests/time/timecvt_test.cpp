#include "support/child.h"
#include "support/errors.h"

#include <cmath>
#include <cstring>
#include <ctime>
#include <random>
#include <thread>

namespace {

constexpr double march15 = 321978235.25;  // 1980-03-15 14:23:55.25
constexpr double december5 = 344822400.0; // 1980-12-05 00:00:00

std::string toText(const char *converter, double time) {
  const char *text = "";
  const int32_t result = ZutTimeCvtNumToStr(ZutTimeCvtLookup(converter), time, &text);
  return (result ? "" : "failed: ") + std::string(text);
}

// -1 when the text is refused.
double toTime(const char *converter, const std::string &text) {
  double time = 0;
  return ZutTimeCvtStrToNum(ZutTimeCvtLookup(converter), text.c_str(), &time) ? time : -1;
}

// With a time zone of its own, and the fraction's usual format.
class TimeText : public testing::Test {
protected:
  void SetUp() override {
    ZutPutenv("TZ=UTC0");
    ZutPutenv("VNFULLFORMAT=%.3f");
  }
};
using TimeParse = TimeText;

} // namespace

TEST_F(TimeText, EveryBuiltInForm) {
  EXPECT_EQ(toText("full", march15), "Sat Mar 15 14:23:55.250 1980");
  EXPECT_EQ(toText("hms", march15), "14:23:55");
  EXPECT_EQ(toText("http", march15), "Sat, 15 Mar 1980 14:23:55 GMT");
  EXPECT_EQ(toText("smtp", march15), "Saturday, 15-Mar-80 14:23:55 GMT");
  EXPECT_EQ(toText("asctime", march15), "Sat Mar  15 14:23:55 1980");
  EXPECT_EQ(toText("asctime", december5), "Fri Dec 05 00:00:00 1980");
  EXPECT_EQ(toText("asctime", 2 * 86400), "Sat Jan  3 00:00:00 1970");
  EXPECT_EQ(toText("full", december5), "Fri Dec 05 00:00:00.000 1980");
  EXPECT_EQ(toText("http", 253402300799.0), "Fri, 31 Dec 9999 23:59:59 GMT");
  for (const double none : {-1.0, 253402300800.0, 1e300, std::nan("")}) {
    for (const char *name : {"full", "hms", "http", "smtp", "asctime"})
      EXPECT_EQ(toText(name, none), "failed: error") << name << none;
    EXPECT_STREQ(ZutTimeNumToStr(none), "<UNKNOWN>");
  }
}

TEST_F(TimeText, FormatOfTheFractionIsCutAndChecked) {
  const std::pair<const char *, const char *> rows[] = {
      {"%.1f", "Sat Mar 15 14:23:55.2 1980"},
      {"%.60f", "Sat Mar 15 14:23:55.25000000000000 1980"},
      {"x", "Sat Mar 15 14:23:55 1980"},
  };
  for (const auto &[format, expected] : rows) {
    ZutPutenv((std::string("VNFULLFORMAT=") + format).c_str());
    EXPECT_EQ(toText("full", march15), expected);
  }
  ZutPutenv("VNFULLFORMAT=%n%s%s%s");
  EXPECT_LT(toText("full", march15).size(), 40u);
}

TEST_F(TimeParse, ReadsWhatItPrints) {
  std::mt19937 random(3);
  for (int i = 0; i < 2000; ++i) {
    const double time = random() % 1609459200u; // up to 2020
    for (const char *name : {"full", "http", "asctime"}) {
      ASSERT_EQ(toTime(name, toText(name, time)), time) << name;
    }
    const double lastCentury = time / 2; // of two digits of the year
    ASSERT_EQ(toTime("smtp", toText("smtp", lastCentury)), std::floor(lastCentury));
    ZutSetCurrentTime(time + 0.5);
    ASSERT_EQ(toTime("hms", toText("hms", time)), time);
  }
  EXPECT_EQ(toTime("full", "x March 15 14:23:55.25 1980"), march15);
  EXPECT_EQ(toTime("http", "Sat,15 Mar 80 14:23:55.9 any"), std::floor(march15));
  EXPECT_EQ(toTime("http", " w (*c*) , 15/*c*/mAR 1980 14 : 23:5.5e1 GMT // c"),
            std::floor(march15));
  EXPECT_EQ(toTime("smtp", "w, 31-Feb-2019 0:0:0 z"), toTime("smtp", "w, 3-Mar-2019 0:0:0 z"));
  ZutSetCurrentTime(86400.0);
  EXPECT_EQ(toTime("hms", "01:00:59.5"), 86400 + 3659.5);
  EXPECT_EQ(toTime("numeric", " +1.5e3 and more"), 1500);
  EXPECT_EQ(toText("numeric", 12.5).substr(0, 4), "12.5");
  for (const char *wrong : {"", "x", "+-1", "1e999", "inf", "nan"}) {
    EXPECT_EQ(toTime("numeric", wrong), -1) << wrong;
  }
}

TEST_F(TimeParse, LocalTimeFollowsTheZone) {
  ZutPutenv("TZ=EST5EDT");
  const double january = 1326639600.0; // 2012-01-15 10:00 local
  const double july = 1342360800.0;    // 2012-07-15 10:00 local
  ASSERT_EQ(toText("hms", january) + toText("hms", july), "10:00:0010:00:00");
  for (std::time_t time = 1325376000; time < 1356998400; time += 1799) { // through 2012
    char expected[40];
    std::strftime(expected, sizeof expected, "%H:%M:%S", std::localtime(&time));
    ASSERT_EQ(toText("hms", static_cast<double>(time)), expected) << time;
  }
  // "full" reads a time in the season that it names, the others in that of the current time.
  for (const double now : {january, july}) {
    ZutSetCurrentTime(now);
    EXPECT_EQ(toTime("full", toText("full", january)), january);
    EXPECT_EQ(toTime("full", toText("full", july)), july);
    EXPECT_EQ(toTime("http", "w, 15 Jul 2012 10:00:00 GMT"), now == july ? july : july + 3600);
  }
  EXPECT_EQ(toTime("asctime", "w Jan 15 10:00:00 2012"), january - 3600);
  EXPECT_EQ(toTime("hms", "10:00:00"), july);
  // Far from today: in the year 5000, and when the local day is the last one of 1969.
  EXPECT_EQ(toText("hms", 95618847600.0), "10:00:00");
  EXPECT_EQ(toText("hms", 95634482400.0), "10:00:00");
  ZutSetCurrentTime(3600.0);
  EXPECT_EQ(toTime("hms", "23:00:00"), 4 * 3600);
  EXPECT_EQ(toText("full", 2 * 3600), "Wed Dec 31 21:00:00.000 1969");
  EXPECT_EQ(toText("hms", 2 * 3600), "21:00:00");
  // A change of the zone reaches weeks that were looked up before it.
  ZutPutenv("TZ=UTC0");
  EXPECT_EQ(toText("hms", july), "14:00:00");
  static char pacific[] = "TZ=PST8PDT";
  putenv(pacific);
  tzset();
  EXPECT_EQ(toText("hms", july), "07:00:00");
}

TEST_F(TimeParse, BadTextsAreRefusedByName) {
  const struct {
    const char *converter, *text, *message;
  } rows[] = {
      {"hms", "1.5:0:0", "hour must be an integer: <1.5>"},
      {"hms", "24:00:00", "hour must be below 24: <24>"},
      {"hms", "9:0.5:0", "minute must be an integer: <0.5>"},
      {"hms", "9:60:0", "minute must be below 60: <60>"},
      {"hms", "9:0:60.5", "60.5 is not a valid second"},
      {"hms", "9:0:0 x", "extra tokens after second"},
      {"hms", "9:0", "not a time: <9:0>"},
      {"hms", "", "not a time: <>"},
      {"hms", "9:0:\"0\"", "not a time"},
      {"http", "w, 1.5 Jan 1990 0:0:0 z", "day must be an integer: <1.5>"},
      {"http", "w, 32 Jan 1990 0:0:0 z", "day must be from 1 to 31: <32>"},
      {"http", "w, 1 January 1990 0:0:0 z", "no month named <January>"},
      {"http", "w, 1 Jan 2021 0:0:0 z", "<2021>"},
      {"http", "w, 1 Jan 69 0:0:0 z", "<69>"},
      {"smtp", "w, 1-Jan-90.5 0:0:0 z", "year must be an integer: <90.5>"},
      {"http", "w, 1 Jan 1990 2.5:0:0 z", "hour must be an integer: <2.5>"},
      {"http", "w, 1 Jan 1990 24:0:0 z", "hour must be below 24: <24>"},
      {"http", "w, 1 Jan 1990 0:1.5:0 z", "minute must be an integer: <1.5>"},
      {"http", "w, 1 Jan 1990 0:60:0 z", "minute must be below 60: <60>"},
      {"http", "w, 1 Jan 1990 0:0:60 z", "second must be below 60: <60>"},
      {"http", "w, 1 Jan 1990 0:0:0 z 5", "after the date: <5>"},
      {"http", "w, 1 Jan 1990 0:0:0", "not a time"},
      {"http", "w?, 1 Jan 1990 0:0:0 z", "not a time"},
      {"http", "w, 1 Jan 1990 0:0:0 z /* open", "after the date"},
      {"http", "w, 1 Jan 1990 0 /* /* */ */:0:0 z", "not a time"},
      {"asctime", "w Foo 1 0:0:0 1990", "no month named <Foo>"},
      {"asctime", "w Jan 32 0:0:0 1990", "day must be from 1 to 31: <32>"},
      {"asctime", "w Jan 1 0:0:60 1990", "second must be below 60: <60>"},
      {"full", "w Jan 1 0:0:0 1969", "<1969>"},
      {"full", "w Jan 0 0:0:0 1990", "day must be from 1 to 31: <0>"},
      {"full", "w Jan 1 0:0:0 1990 x", "after the time: <x>"},
  };
  Capture capture;
  const std::string longWord(64, 'w');
  for (const auto &row : rows) {
    EXPECT_EQ(toTime(row.converter, row.text), -1) << row.text;
    const std::string printed = capture.take();
    EXPECT_NE(printed.find(row.message), std::string::npos) << row.text << ": " << printed;
  }
  EXPECT_EQ(toTime("asctime", longWord + " Jan 1 0:0:0 1990"), -1);
  EXPECT_EQ(toTime("asctime", longWord.substr(1) + " Jan 1 0:0:0 1990"),
            toTime("asctime", "w Jan 1 0:0:0 1990"));
  EXPECT_GE(toTime("asctime", "w Jan 1 9999999999:0:0 1990"), 0); // hours are not checked here
}

static int32_t Z_CALL longText(double, const char **text) {
  *text = "a text of more than forty characters, longer than any built-in one";
  return 1;
}

static int32_t Z_CALL anyTime(const char *, double *time) {
  *time = 77;
  return 1;
}

static int destroyed = 0;
static void Z_CALL onDestroy() { ++destroyed; }

static int32_t Z_CALL listNames(const char *name, ZutTimeCvt *converter, ZutWord argument) {
  EXPECT_EQ(converter, ZutTimeCvtLookup(name));
  *reinterpret_cast<std::string *>(argument) += std::string(name) + " ";
  return 0;
}

TEST(TimeConverters, RegistryIgnoresCaseAndTheCurrentOneMakesEveryText) {
  EXPECT_EQ(ZutTimeCvtCreate("HTTP", longText, anyTime, nullptr), nullptr);
  ZutErrNumSet(28);
  ZutTimeCvt *mine = ZutTimeCvtCreate("MiNe", longText, anyTime, onDestroy);
  EXPECT_EQ(ZutErrNumGet(), 28); // success leaves the number alone
  EXPECT_EQ(ZutTimeCvtLookup("mINE"), mine);
  EXPECT_ERROR(8, ZutTimeCvtLookup("none"));
  std::string names;
  EXPECT_ERROR(18, ZutTimeCvtTraverse(listNames, reinterpret_cast<ZutWord>(&names)));
  EXPECT_NE(names.find("mine "), std::string::npos);
  EXPECT_EQ(std::count(names.begin(), names.end(), ' '), 7);

  char text[100];
  double time = 0;
  ZutTimeCvtSetCurrent(mine);
  EXPECT_EQ(std::string(ZutTimeToString(0.0, text)).substr(0, 6), "a text");
  EXPECT_TRUE(ZutTimeStrToNum("x", &time) && time == 77);
  EXPECT_TRUE(ZutTimeCvtDestroy(mine) && destroyed == 1);
  EXPECT_EQ(std::strlen(ZutTimeNumToStr(0.0)), 8u); // back to hms
  EXPECT_ERROR(8, ZutTimeCvtLookup("mine"));
}

TEST_F(TimeText, ThreadsKeepTheirOwnTexts) {
  ZutInitThreads();
  const auto work = [](int hour) {
    const std::string expected = "0" + std::to_string(hour) + ":00:00";
    for (int i = 0; i < 3000; ++i) {
      ZutSetCurrentTime(i);
      ASSERT_EQ(ZutTimeNumToStr(hour * 3600.0 + i * 86400.0), expected);
      double time;
      ASSERT_EQ(ZutTimeStrToNum("00:00:01", &time), 1);
      const ZutTimePair test = {i, hour};
      ZutSetTestWallTimeStruct(&test);
      ASSERT_GE(ZutGetWallTime(), 0.0);
      if (i % 100 == 0) ZutTimeCvtSetCurrent(ZutTimeCvtLookup("hms"));
    }
  };
  std::thread other(work, 5);
  work(3);
  other.join();
}
