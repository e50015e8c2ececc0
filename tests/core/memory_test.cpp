#include "support/child.h"

#include <algorithm>
#include <thread>

namespace {

const Environment aborting = {{"VN_FATAL_ERROR_ABORT", "1"}};

TEST(Memory, ZeroBytesAreABlockAndNullIsOneToo) {
  void *block = ZutMalloc(0);
  EXPECT_NE(block, nullptr);
  block = ZutRealloc(block, 0);
  EXPECT_NE(block, nullptr);
  ZutFree(block);
  auto *made = static_cast<char *>(ZutReallocCheck(nullptr, 3, "thing", "file", 1));
  std::copy_n("ab", 3, made);
  made = static_cast<char *>(Z_REALLOC(made, 1000, "thing"));
  EXPECT_STREQ(made, "ab");
  Z_FREE(made, "thing");
  ZutFree(nullptr);
  char *zeros = static_cast<char *>(ZutCalloc(64));
  EXPECT_EQ(std::count(zeros, zeros + 64, 0), 64);
  ZutFree(zeros);
}

CHILD(malloc) { ZutMallocCheck(-1, "thing", "here.c", 12); }
CHILD(calloc) { ZutCallocCheck(INT32_MIN, "thing", "here.c", 12); }
CHILD(realloc) { ZutReallocCheck(ZutMalloc(1), -5, "thing", "here.c", 12); }
CHILD(realloc_null) { ZutReallocCheck(nullptr, -5, "thing", "here.c", 12); }
CHILD(plain) { ZutMalloc(-1); }

TEST(Memory, AnImpossibleSizeIsAFatalErrorThatNamesTheBlock) {
  const std::pair<const char *, const char *> rows[] = {
      {"malloc", "Z_MALLOC <thing>: -1 bytes: out of heap: file here.c, line 12\n"},
      {"calloc", "Z_CALLOC <thing>: -2147483648 bytes: out of heap: file here.c, line 12\n"},
      {"realloc", "Z_REALLOC <thing>: -5 bytes: out of heap: file here.c, line 12\n"},
      {"realloc_null", "Z_MALLOC <var>: -5 bytes: out of heap: file util, line 1677\n"},
      {"plain", "Out of memory\n"},
  };
  for (const auto &[child, text] : rows) {
    const Result result = runChild(child, aborting);
    EXPECT_TRUE(result.aborted()) << child;
    EXPECT_NE(result.out.find(text), std::string::npos) << result.out;
  }
  const Result result = runChild("malloc", {{"VN_FATAL_ERROR_CONTINUE", "1"}});
  EXPECT_TRUE(result.aborted()); // no caller sees null
  EXPECT_NE(result.out.find("Continuing execution.\n"), std::string::npos);
}

CHILD(much) {
  ZutInit("memory_test");
  ZutInitThreads();
  std::thread([] { ZutErrNumSet(1); }).join(); // makes that thread's own words
  ZutPutenv("MEMORY_TEST=x");
  ZutOutInit();
  ZutCommandParseStr("setopt trace_level info");
}

// In a build for tests the heap is exhausted from the allocation on whose number stands in the
// environment.
TEST(Memory, WhereverTheHeapIsExhaustedTheReportIsPrinted) {
  const TempDir directory;
  for (int n = 1; n < 20000; n = n < 40 ? n + 1 : n * 3 / 2) {
    const Result result =
        runChild("much", {aborting.front(), {"ZUT_FAIL_ALLOC", std::to_string(n)}});
    if (result.code == 0 && n == 1) GTEST_SKIP() << "this build does not fail allocations";
    if (result.code == 0) break; // there are fewer allocations
    EXPECT_TRUE(result.aborted()) << n << result.err;
    EXPECT_NE(result.out.find("Last Socket Error Code"), std::string::npos) << n << result.err;
  }
}

} // namespace
