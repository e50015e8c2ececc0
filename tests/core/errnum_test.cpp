#include "support/child.h"

#include <cerrno>
#include <climits>
#include <thread>

namespace {

TEST(ErrorTexts, KnownAndUnknownNumbersLeaveTheErrorStateAlone) {
  const std::pair<int32_t, const char *> rows[] = {
      {1, "C"},
      {18, "end of traversal"},
      {34, "session abandoned"},
      {524, "recf queued in driver"},
      {8002, "no encrypt key"},
      {24003, "proxy server error"},
      {0, "unknown error 0"},
      {22, "unknown error 22"},
      {4008, "unknown error 4008"},
      {INT_MIN, "unknown error -2147483648"},
  };
  errno = EDOM;
  ZutErrNumSetSocket(10035);
  ZutErrNumSet(7);
  for (const auto &[number, text] : rows) EXPECT_STREQ(ZutErrNumToStr(number), text);
  EXPECT_EQ(ZutErrNumGet(), 7);
  EXPECT_EQ(ZutErrNumGetC(), EDOM);
  EXPECT_EQ(ZutErrNumGetSocket(), 10035);
  EXPECT_STREQ(ZutErrStrGet(), "value invalid");
}

TEST(ErrorTexts, CanBeAddedAndReplaced) {
  EXPECT_EQ(ZutErrStrCreate(77, "mine"), 1);
  EXPECT_EQ(ZutErrStrCreate(77, "mine again"), 1);
  EXPECT_STREQ(ZutErrNumToStr(77), "mine again");
  EXPECT_EQ(ZutErrStrCreate(77, nullptr), 0);
  EXPECT_EQ(ZutErrNumGet(), 3);
}

TEST(ErrorState, ACodeOfZeroKeepsTheReason) {
  errno = ENOENT;
  ZutErrNumSetC(0);
  EXPECT_EQ(ZutErrNumGet(), 1);
  EXPECT_EQ(errno, ENOENT);
  ZutErrNumSetC(EDOM);
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
  ZutErrNumSetC(EDOM);
  ZutErrNumRestore(&state);
  EXPECT_EQ(ZutErrNumGet(), 5);
  EXPECT_EQ(errno, EDOM);

  errno = 0;
  void *tsd = ZutErrNumSaveTsd(&state);
  ZutErrNumSetC(EDOM);
  EXPECT_EQ(ZutErrNumRestoreTsd(&state, tsd), 1);
  EXPECT_EQ(ZutErrNumGet(), 5);
  EXPECT_EQ(errno, 0);
  EXPECT_EQ(ZutErrNumRestoreTsd(&state, nullptr), 0);
  EXPECT_EQ(ZutErrNumGet(), 3);
}

CHILD(threads) {
  int32_t *word = ZutErrNumGetPtr();
  EXPECT_EQ(ZutErrNumSet(5), 5);
  EXPECT_EQ(*word, 5);
  ZutInitThreads();
  EXPECT_EQ(ZutErrNumGet(), 5);
  ZutErrNumSet(6);
  std::thread([] {
    errno = EDOM;
    ZutErrNumSetSocket(10054);
    EXPECT_EQ(ZutErrNumSet(9), 1); // the thread's first words are made here
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(ZutErrNumGetSocket(), 10054);
    EXPECT_EQ(*ZutErrNumGetPtr(), 9);
    EXPECT_STREQ(ZutErrNumToStr(-1), "unknown error -1");
  }).join();
  EXPECT_EQ(ZutErrNumGet(), 6);
  EXPECT_EQ(*word, 9) << "the process's word is written by every set";
  std::exit(testing::Test::HasFailure() ? 1 : 0);
}

TEST(ErrorState, EachThreadHasItsOwn) {
  const Result result = runChild("threads");
  EXPECT_EQ(result.code, 0) << result.out << result.err;
}

class Perror : public testing::Test {
protected:
  Perror() { ZutPerrorSetEnable(1); }
  ~Perror() override { ZutPerrorSetEnable(0); }
  std::string print() {
    EXPECT_EQ(ZutPerror("x"), 1);
    return capture_.take();
  }

private:
  TempDir directory_; // printing may open the debug file
  Capture capture_;
};

TEST_F(Perror, PrintsTheReasonBehindTheNumber) {
  ZutErrNumSetC(ENOENT);
  EXPECT_EQ(print(), "x: No such file or directory\n");
  ZutErrNumSetC(9999);
  EXPECT_EQ(print(), "x: Error 9999\n");
  ZutErrNumSetOs(0x50000);
  EXPECT_EQ(print(), "x: Error 0\n");
  ZutErrNumSetOs(29999);
  EXPECT_EQ(print(), "x: Unknown Windows error number (29999)\n");
  ZutErrNumSetSocket(10001);
  EXPECT_EQ(print(), "x: 1: Unknown Error\n");
  EXPECT_EQ(ZutErrNumGet(), 29);
  EXPECT_EQ(ZutErrNumGetSocket(), 10001);
}

TEST_F(Perror, ATextOfTheSystemLosesItsLineEnd) {
  ZutErrNumSetOs(2); // both systems know 2 as a missing file
  const std::string text = print();
  EXPECT_GT(text.size(), 4u);
  EXPECT_EQ(text.find_first_of("\r\n"), text.size() - 1) << text;
#ifndef _WIN32
  ZutErrNumSetSocket(10091);
  EXPECT_EQ(print(), "x: WSASYSNOTREADY - The network subsystem is unusable.\n");
  ZutErrNumSetSocket(10061);
  EXPECT_EQ(print(), "x: Connection refused\n");
#endif
}

TEST_F(Perror, IsSilentWithoutAReasonOrWhenSwitchedOff) {
  ZutErrNumSet(7);
  EXPECT_EQ(print(), "");
  EXPECT_EQ(ZutPerrorSetEnable(2), 0);
  EXPECT_EQ(ZutErrNumGet(), 7);
  ZutPerrorSetEnable(0);
  ZutErrNumSetC(ENOENT);
  EXPECT_EQ(print(), "");
}

} // namespace
