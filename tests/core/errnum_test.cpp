#include "support/child.h"
#include "support/errors.h"

#include <cerrno>
#include <climits>
#include <thread>

TEST(ErrorTexts, AreReadAndReplacedWithoutTouchingTheErrorState) {
  const std::pair<int32_t, const char *> rows[] = {{1, "C"},
                                                   {524, "recf queued in driver"},
                                                   {24003, "proxy server error"},
                                                   {0, "unknown error 0"},
                                                   {4008, "unknown error 4008"},
                                                   {INT_MIN, "unknown error -2147483648"}};
  errno = EDOM;
  ZutErrNumSetSocket(10035);
  ZutErrNumSet(7);
  for (const auto &[number, text] : rows) EXPECT_STREQ(ZutErrNumToStr(number), text);
  for (const char *text : {"mine", "mine again"}) EXPECT_EQ(ZutErrStrCreate(77, text), 1);
  EXPECT_STREQ(ZutErrNumToStr(77), "mine again");
  EXPECT_EQ(ZutErrNumGet(), 7);
  EXPECT_EQ(ZutErrNumGetC(), EDOM);
  EXPECT_EQ(ZutErrNumGetSocket(), 10035);
  EXPECT_STREQ(ZutErrStrGet(), "value invalid");
}

TEST(ErrorState, ACodeOfZeroKeepsTheReason) {
  ZutErrNumSetC(EDOM);
  ZutErrNumSetC(0);
  EXPECT_EQ(ZutErrNumGet(), 1);
  EXPECT_EQ(errno, EDOM);
  ZutErrNumSetOs(4711);
  ZutErrNumSetOs(0);
  EXPECT_EQ(ZutErrNumGet(), 2);
  EXPECT_EQ(ZutErrNumGetOs(), 4711);
  ZutErrNumSetVms(EINTR, 99);
  EXPECT_EQ(ZutErrNumGet(), 2);
  EXPECT_EQ(errno, EINTR);
}

TEST(ErrorState, RestoreSkipsReasonsOfZeroAndTheCheapPairDoesNot) {
  ZutErrState state;
  errno = 0;
  ZutErrNumSet(5);
  ASSERT_EQ(ZutErrNumSave(&state), 1);
  void *tsd = ZutErrNumSaveTsd(&state);
  for (const int reason : {EDOM, 0}) {
    ZutErrNumSetC(EDOM);
    EXPECT_EQ(reason ? ZutErrNumRestore(&state) : ZutErrNumRestoreTsd(&state, tsd), 1);
    EXPECT_EQ(ZutErrNumGet(), 5);
    EXPECT_EQ(errno, reason);
  }
}

TEST(ErrorState, EachThreadHasItsOwn) {
  int32_t *word = ZutErrNumGetPtr();
  EXPECT_EQ(ZutErrNumSet(5), 5);
  EXPECT_EQ(*word, 5);
  ZutInitThreads();
  EXPECT_EQ(ZutErrNumGet(), 5);
  ZutErrNumSet(6);
  std::thread([] {
    errno = EDOM;
    ZutErrNumSetSocket(10054);
    EXPECT_EQ(ZutErrNumSet(9), 1); // makes the thread's block
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(ZutErrNumGetSocket(), 10054);
    EXPECT_EQ(*ZutErrNumGetPtr(), 9);
    EXPECT_STREQ(ZutErrNumToStr(-1), "unknown error -1");
  }).join();
  EXPECT_EQ(ZutErrNumGet(), 6);
  EXPECT_EQ(*word, 9) << "every set writes the word of the process";
}

TEST(Perror, PrintsTheReasonOfTheNumber) {
  const TempDir directory; // printing may open the debug file
  Capture output;
  const struct {
    int32_t (*set)(int32_t);
    int32_t code;
    const char *text;
  } rows[] = {
      {ZutErrNumSet, 7, ""},
      {ZutErrNumSetC, ENOENT, "x: No such file or directory\n"},
      {ZutErrNumSetC, 9999, "x: Error 9999\n"},
      {ZutErrNumSetOs, 0x50000, "x: Error 0\n"},
      {ZutErrNumSetOs, 29999, "x: Unknown Windows error number (29999)\n"},
#ifndef _WIN32
      {ZutErrNumSetSocket, 10091, "x: WSASYSNOTREADY - The network subsystem is unusable.\n"},
      {ZutErrNumSetSocket, 10061, "x: Connection refused\n"},
#endif
      {ZutErrNumSetSocket, 10001, "x: 1: Unknown Error\n"},
  };
  for (const int32_t on : {0, 1}) {
    ZutPerrorSetEnable(on);
    EXPECT_ERROR(7, ZutPerrorSetEnable(2));
    for (const auto &[set, code, text] : rows) {
      set(code);
      EXPECT_EQ(ZutPerror("x"), 1);
      EXPECT_EQ(output.take(), on ? text : "");
    }
  }
  EXPECT_EQ(ZutErrNumGet(), 29);
  EXPECT_EQ(ZutErrNumGetSocket(), 10001);

  ZutErrNumSetOs(2); // both systems have a text for 2, a missing file
  ZutPerror("x");
  EXPECT_GT(output.text().size(), 4u);
  EXPECT_EQ(output.text().find_first_of("\r\n"), output.text().size() - 1) << output.text();
}
