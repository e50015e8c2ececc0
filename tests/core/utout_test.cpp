#include "support/child.h"

#include <algorithm>
#include <cstdlib>
#include <regex>
#include <thread>

namespace fs = std::filesystem;

namespace {

int32_t Z_CALL disturb(const char *, va_list) {
  ZutErrNumSet(99);
  errno = EDOM;
  return 7;
}

int32_t Z_CALL printTwice(const char *format, va_list args) {
  ZutOut("again ");
  return std::vprintf(format, args);
}

bool matches(const std::string &text, const char *pattern) {
  return std::regex_match(text, std::regex(pattern));
}

} // namespace

// --- Routing ---

TEST(Output, KeepsTheErrorState) {
  const Capture output;
  ZutErrNumSet(8);
  errno = ENOENT;
  EXPECT_EQ(ZutOut("%s %d\n", "one", 1), 1);
  ZutWarning("two\n");
  ZutOutStr(9, "three\n");
  EXPECT_EQ(ZutOutCat(2, 99999), 0);
  ZutOutCat(9, 5065, "four");
  EXPECT_EQ(ZutErrNumGet(), 8);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(output.text(), "one 1\nWARNING: two\nthree\n"
                           "ORL-WL-00000-W String lookup failed for message id 99999\n"
                           "ORL-WL-05065-I Unknown command <four>.\n");
  ZutSetOutputFunc(disturb);
  ZutSetOutFlushFunc(disturb);
  EXPECT_EQ(ZutOutFlush("x"), 7);
  ZutOutStr(1, "x");
  ZutOutDebug("x");
  EXPECT_EQ(ZutErrNumGet(), 8);
  EXPECT_EQ(errno, ENOENT);
}

CHILD(flush) {
  EXPECT_EQ(ZutSetOutFlushFunc(nullptr), 0);
  std::setvbuf(stdout, nullptr, _IOFBF, 4096);
  EXPECT_EQ(ZutOutFlush("%s\n", "seen"), 5);
  std::_Exit(testing::Test::HasFailure());
}

TEST(Output, Flush) {
  const Result result = runChild("flush");
  EXPECT_EQ(result.code, 0) << result.out;
  EXPECT_EQ(result.out, "seen\n");
}

TEST(Output, FunctionThatPrintsComesToAnEnd) {
  testing::internal::CaptureStdout();
  ZutSetOutputFunc(printTwice);
  ZutOut("end\n");
  ZutSetOutputFunc(nullptr);
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "again again again again again again again again end\n");
}

CHILD(levels) {
  ZutCommandParseStr("setopt catalog_flags");
  ZutOutStr(3, "shown\n");
  ZutOutStr(4, "not shown\n");
  ZutOutStr(-1, "always\n");
  ZutOutStrDefault("default\n");
  ZutOutCat(Z_TRACE_LEVEL_DEFAULT, 5065, "info");
  ZutOutCat(4, 5065, "too high");
  for (const char *line :
       {"setopt trace_level warning", "nosuch", "setopt trace_level info", "nosuch"}) {
    ZutCommandParseStr(line);
  }
  ZutCommandParseStr("setopt trace_flags level");
  ZutOutCat(2, 5065, "tagged");
  ZutOut("plain\n");
}

TEST(Output, Levels) {
  const Result result = runChild("levels", {{"VNTIMESTAMPOUTPUTSUPPRESS", "1"}});
  EXPECT_EQ(result.out,
            "catalog_flags id\nshown\nalways\ndefault\nORL-WL-05065-I Unknown command <info>.\n"
            "ORL-WL-05065-I Unknown command <nosuch>.\n"
            "WARNING: ORL-WL-05065-I Unknown command <tagged>.\nplain\n");
  const Result bare = runChild("levels", {{"VNTRACEPREFIXSUPPRESS", "1"}, {"VNHOME", "-"}});
  EXPECT_TRUE(matches(bare.out, "catalog_flags UNKNOWN\n(\\d\\d:\\d\\d:\\d\\d: \\w+\n){3}"
                                "(\\d\\d:\\d\\d:\\d\\d: Unknown command <\\w+>.\n){2}"
                                "WARNING: Unknown command <tagged>.\nplain\n"))
      << bare.out;
}

CHILD(stamped) {
  ZutOut("out\n");
  ZutCommandParseStr("setopt trace_level error");
  ZutOutStr(3, "refused\n");
  ZutOutStrDefault("by level\n");
  const Capture output;
  ZutOut("captured\n");
  const auto print = [](const char *format, ...) {
    va_list args;
    va_start(args, format);
    ZutVOut(format, args);
    va_end(args);
  };
  print("bare %s\n", "text");
  if (!matches(output.text(), "\\w{3} \\w{3} [ \\d]\\d [\\d:]{8} \\d{4}: captured\nbare text\n")) {
    ZutFatalError("%s", output.text().c_str());
  }
}

TEST(Output, TimeStamps) {
  const Result result = runChild("stamped", {{"VNTIMESTAMPOUTPUT", "1"}});
  // The last is the time for the captured bare text, which goes to the default trace object.
  EXPECT_TRUE(matches(result.out, "[\\d:]{8}: out\n[\\d:]{8}: by level\n"
                                  "[\\d:]{8}: \\w{3} \\w{3} [ \\d]\\d [\\d:]{8} \\d{4}: "))
      << result.out << result.err;
}

CHILD(together) {
  ZutInitThreads();
  ZutCommandSetStopAtFailure(1);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      ZutCommandFailed(); // what the set-up does is not stopped by the program's failures
      for (int k = 0; k < 20; ++k) ZutOutCat(1, 5065, "x"), ZutOut("y\n");
    });
  }
  for (std::thread &thread : threads) thread.join();
}

TEST(Output, ThreadsThatBeginTogether) {
  const Result result = runChild("together", {{"VNTIMESTAMPOUTPUTSUPPRESS", "1"}});
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 160);
  EXPECT_TRUE(matches(result.out, "((ORL-WL-05065-I Unknown command <x>.|y)\n)*"));
}

// Two first uses, each while another thread's change callback waits to print: whoever registers a
// callback waits for it, and must not hold what it waits for.
CHILD(firstUse) {
  ZutInitThreads();
  ZutDebugOpen("firstUse");
  ZutVerbose("silent\n");
  static std::atomic<bool> running{false};
  const auto callback = [](void *, void *, ZutWord) {
    running = true;
    ZutSleep(0.05);
    ZutOut("changed\n");
  };
  const auto meanwhile = [&](ZutOption *option, auto set, auto print) {
    ZutOptionChangeCbCreate(option, callback, 0);
    running = false;
    std::thread other(set);
    while (!running) ZutSleep(0.001);
    print();
    other.join();
  };
  ZutOption *level = ZutOptionLookup("trace_level"), *verbose = ZutOptionLookup("verbose");
  meanwhile(
      level, [=] { ZutOptionSetEnum(level, "error"); },
      [] {
        ZutProcessMutexLock();
        ZutOutCat(1, 5065, "x");
        ZutProcessMutexUnlock();
        ZutOutCat(1, 5065, "y");
      });
  ZutOutCat(2, 5065, "refused");
  ZutOptionSetEnum(level, "info");
  ZutOutCat(2, 5065, "followed");
  meanwhile(
      verbose, [=] { ZutOptionSetBool(verbose, 1); }, [] { ZutVerbose("said\n"); });
  std::_Exit(0);
}

TEST(Output, FirstUseDoesNotWaitForACallbackThatPrints) {
  const TempDir directory;
  const Result result = runChild("firstUse");
  EXPECT_EQ(result.code, 0) << result.out << result.err;
  EXPECT_EQ(result.out.find("refused"), std::string::npos);
  EXPECT_NE(result.out.find("followed"), std::string::npos);
  EXPECT_EQ(readFile("firstUse.dbg"), "said\n");
}

// --- Debug stream ---

CHILD(debug) {
  EXPECT_EQ(ZutDebugFileName(), nullptr);
  EXPECT_EQ(ZutDebugRename("early"), 0);
  EXPECT_EQ(ZutErrNumGet(), 8);
  ZutDebugOpen("prog");
  ZutDebugOpen("second");
  EXPECT_STREQ(ZutDebugFileName(), "prog.dbg");
  ZutDebug("line %d\n", 1);
  EXPECT_EQ(ZutDebugRename("prog.dbg"), 0);
  EXPECT_EQ(ZutErrNumGet(), 6);
  for (const char *name : {"./prog.dbg", "new.dbg"}) EXPECT_EQ(ZutDebugRename(name), 1);
  ZutDebug("line 2\n");
  ZutDebugClose();
  ZutDebugReopen();
  ZutDebug("line 3\n");
  {
    const Capture output;
    ZutErrNumSet(9);
    FILE *before = ZutDebugFilePtr();
    EXPECT_NE(ZutDebugReopen(), before);
    std::fclose(before);
    EXPECT_EQ(output.text(), "ORL-WL-05086-W The debug file is reopened while it is open.\n");
  }
  EXPECT_EQ(readFile("new.dbg"), "line 1\nline 2\nline 3\n");
  EXPECT_FALSE(fs::exists("prog.dbg"));
  EXPECT_EQ(ZutDebugRename("no/such/directory"), 0);
  EXPECT_EQ(ZutErrNumGet(), 1);
  EXPECT_STREQ(ZutDebugFileName(), "new.dbg");
  EXPECT_EQ(ZutDebugRename("stderr"), 1);
  EXPECT_EQ(ZutDebugFilePtr(), stderr);
  EXPECT_EQ(ZutDebugRename("stderr"), 0);
  EXPECT_EQ(ZutErrNumGet(), 6);
  EXPECT_EQ(ZutDebugRename("file"), 1);
  ZutOutDebug("both\n");
  EXPECT_EQ(readFile("file"), "both\n");
  ZutDebugClose();
  fs::remove("file");
  fs::create_directory("file");
  const Capture output;
  ZutErrNumSet(9);
  EXPECT_EQ(ZutDebugReopen(), stderr);
  EXPECT_EQ(ZutErrNumGet(), 9) << "no failure of the caller";
  EXPECT_EQ(output.text(),
            "ORL-WL-05258-I Cannot reopen the debug file <file>; debug output goes to "
            "the standard error stream.\n");
  for (const char *name : {"Long.DBG", "trace.log", "stderr"}) {
    EXPECT_EQ(ZutDebugClose(), 1);
    EXPECT_EQ(ZutDebugOpen("Long.DBG"), 1);
    EXPECT_STREQ(ZutDebugFileName(), name);
    ZutPutenv(*name == 'L' ? "VNDEBUGFILENAME=trace.log" : "VNDEBUGFILENAME=STDERR");
  }
  std::exit(testing::Test::HasFailure());
}

TEST(Debug, FileAndNames) {
  const TempDir directory;
  const Result result = runChild("debug");
  EXPECT_EQ(result.code, 0) << result.out;
  EXPECT_EQ(result.out, "both\n");
}

CHILD(warning) { ZutWarning("%s\n", "careful"); }

TEST(Debug, WarningMayAbort) {
  EXPECT_EQ(runChild("warning").out, "WARNING: careful\n");
  EXPECT_TRUE(runChild("warning", {{"VN_WARNING_ABORT", "1"}}).aborted());
}

// --- Dump file ---

TEST(Dump, OpenCloseRemove) {
  const TempDir directory;
  const char *name = nullptr;
  EXPECT_EQ(ZutDumpGetName(&name), 0);
  EXPECT_EQ(ZutErrNumGet(), 8);
  EXPECT_EQ(ZutDumpClose(), 0);
  EXPECT_EQ(ZutDumpView(), 0);
  ASSERT_NE(ZutDumpOpen(), nullptr);
  EXPECT_EQ(ZutDumpOpen(), nullptr);
  EXPECT_EQ(ZutErrNumGet(), 6);
  EXPECT_EQ(ZutDumpOut("%s\n", "one"), 1);
  EXPECT_EQ(ZutDumpRemove(), 0);
  EXPECT_EQ(ZutDumpClose(), 1);
  ASSERT_EQ(ZutDumpGetName(&name), 1);
  ASSERT_NE(ZutDumpOpenAppend(), nullptr);
  ZutDumpOut("two\n");
  ZutDumpClose();
  EXPECT_EQ(readFile(name), "one\ntwo\n");
#ifndef _WIN32
  writeFile("victim", "precious");
  fs::remove(name);
  fs::create_symlink("victim", name);
  EXPECT_EQ(ZutDumpOpenAppend(), nullptr);
  ZutDumpOut("three\n");
  ZutDumpClose();
  EXPECT_EQ(readFile("victim"), "precious");
  ASSERT_EQ(ZutDumpGetName(&name), 1); // made anew after a failure
  EXPECT_EQ(readFile(name), "three\n");
#endif
  EXPECT_EQ(ZutDumpRemove(), 1);
  EXPECT_EQ(ZutDumpRemove(), 0);
  EXPECT_EQ(ZutErrNumGet(), 1);
  fs::create_directory(name);
  const Capture output;
  EXPECT_EQ(ZutDumpOut("four\n"), 1);
  EXPECT_EQ(output.text(), "ORL-WL-05088-W The dump file cannot be opened; its text goes to the "
                           "output.\nfour\n");
}

TEST(ProcInfo, CpuUsage) {
  double value = -1.0;
  EXPECT_EQ(ZutProcInfo(1, &value), 0);
  EXPECT_EQ(ZutProcInfo(0, &value), 1);
  EXPECT_EQ(value, 0.0);
  // On a busy machine a span may pass without a tick of this process's time.
  for (int span = 0; span < 50 && value == 0.0; ++span) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
    while (std::chrono::steady_clock::now() < end) {
    }
    EXPECT_EQ(ZutProcInfo(0, &value), 1);
  }
  EXPECT_GT(value, 0.0);
  EXPECT_LE(value, 100.0);
}
