#include "support/child.h"
#include "support/errors.h"

#include <cstdlib>
#include <regex>
#include <thread>

namespace fs = std::filesystem;

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
  EXPECT_EQ(output.text(), "one 1\nWARNING: two\nthree\n"
                           "ORL-WL-00000-W String lookup failed for message id 99999\n"
                           "ORL-WL-05065-I Unknown command <four>.\n");
  const auto disturb = [](const char *, va_list) -> int32_t {
    ZutErrNumSet(99);
    errno = EDOM;
    return 7;
  };
  ZutSetOutputFunc(disturb);
  ZutSetOutFlushFunc(disturb);
  EXPECT_EQ(ZutOutFlush("x"), 7);
  ZutOutStr(1, "x");
  ZutOutDebug("x");
  EXPECT_EQ(ZutErrNumGet(), 8);
  EXPECT_EQ(errno, ENOENT);
}

CHILD(flush) {
  std::setvbuf(stdout, nullptr, _IOFBF, 4096);
  std::_Exit(ZutOutFlush("%s\n", "seen"));
}

TEST(Output, Flush) {
  const Result result = runChild("flush");
  EXPECT_EQ(result.code, 5);
  EXPECT_EQ(result.out, "seen\n");
}

TEST(Output, FunctionThatPrintsComesToAnEnd) {
  testing::internal::CaptureStdout();
  ZutSetOutputFunc([](const char *format, va_list args) -> int32_t {
    ZutOut("again ");
    return std::vprintf(format, args);
  });
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
  for (const char *level : {"warning", "info"}) {
    ZutOptionSetEnum(ZutOptionLookup("trace_level"), level);
    ZutCommandParseStr("nosuch");
  }
  ZutCommandParseStr("setopt trace_flags level");
  ZutOutCat(2, 5065, "tagged");
  ZutOut("plain\n");
  const Capture output;
  ZutOut("captured\n");
  ZutOutDebug("bare\n");
  std::fputs(output.text().c_str(), stdout);
}

TEST(Output, LevelsTagsAndTimeStamps) {
  const std::string time = "\\d\\d:\\d\\d:\\d\\d: ",
                    date = "\\w{3} \\w{3} [ \\d]\\d [\\d:]{8} \\d{4}: ";
  const std::string id = "ORL-WL-05065-I ", message = "Unknown command <\\w+>.\n";
  const std::pair<Environment, std::string> rows[] = {
      {{{"VNTIMESTAMPOUTPUTSUPPRESS", "1"}},
       "catalog_flags id\nshown\nalways\ndefault\n(" + id + message + "){2}WARNING: " + id +
           message + "plain\ncaptured\nbare\n"},
      {{{"VNTRACEPREFIXSUPPRESS", "1"}, {"VNHOME", "-"}},
       "catalog_flags UNKNOWN\n(" + time + "\\w+\n){3}(" + time + message +
           "){2}WARNING: " + message + "plain\ncaptured\nbare\n"},
      // The time of a captured bare text goes to the default trace object.
      {{{"VNTIMESTAMPOUTPUT", "1"}},
       time + "catalog_flags id\n(" + time + "\\w+\n){3}(" + time + id + message + "){2}" + time +
           "WARNING: " + id + message + time + "plain\n" + time + "INFO: " + date + date +
           "captured\nbare\n"},
  };
  for (const auto &[environment, pattern] : rows) {
    const Result result = runChild("levels", environment);
    EXPECT_TRUE(std::regex_match(result.out, std::regex(pattern))) << result.out << result.err;
  }
}

TEST(Output, ThreadsThatBeginTogether) {
  const Capture output;
  ZutInitThreads();
  ZutCommandSetStopAtFailure(1);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      ZutCommandFailed(); // what the set-up does is not stopped by the program's failures
      for (int k = 0; k < 40; ++k) ZutOutCat(1, 5065, "x");
    });
  }
  for (std::thread &thread : threads) thread.join();
  ZutCommandSetStopAtFailure(0);
  EXPECT_TRUE(
      std::regex_match(output.text(), std::regex("(ORL-WL-05065-I Unknown command <x>.\n){160}")))
      << output.text();
}

// Two first uses, each while the change callback of another thread waits to print: registering a
// callback waits for the running ones, so it must not hold the process mutex.
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
  const auto during = [&](ZutOption *option, auto set, auto print) {
    ZutOptionChangeCbCreate(option, callback, 0);
    running = false;
    std::thread other(set);
    while (!running) ZutSleep(0.001);
    print();
    other.join();
  };
  ZutOption *level = ZutOptionLookup("trace_level"), *verbose = ZutOptionLookup("verbose");
  const auto print = [] {
    ZutProcessMutexLock();
    ZutOutCat(1, 5065, "x");
    ZutProcessMutexUnlock();
    ZutOutCat(1, 5065, "y");
  };
  during(
      level, [=] { ZutOptionSetEnum(level, "error"); }, print);
  ZutOutCat(2, 5065, "refused");
  ZutOptionSetEnum(level, "info");
  ZutOutCat(2, 5065, "followed");
  during(
      verbose, [=] { ZutOptionSetBool(verbose, 1); }, [] { ZutVerbose("said\n"); });
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

TEST(Debug, FileAndNames) {
  const TempDir directory;
  Capture output;
  EXPECT_EQ(ZutDebugFileName(), nullptr);
  EXPECT_ERROR(8, ZutDebugRename("early"));
  for (const char *name : {"prog", "second"}) ZutDebugOpen(name);
  EXPECT_STREQ(ZutDebugFileName(), "prog.dbg");
  ZutDebug("line %d\n", 1);
  EXPECT_ERROR(6, ZutDebugRename("prog.dbg"));
  for (const char *name : {"./prog.dbg", "new.dbg"}) EXPECT_EQ(ZutDebugRename(name), 1);
  ZutDebug("line 2\n");
  ZutDebugClose();
  ZutDebugReopen();
  ZutDebug("line 3\n");
  FILE *before = ZutDebugFilePtr();
  EXPECT_NE(ZutDebugReopen(), before);
  std::fclose(before);
  EXPECT_EQ(output.take(), "ORL-WL-05086-W The debug file is reopened while it is open.\n");
  EXPECT_EQ(readFile("new.dbg"), "line 1\nline 2\nline 3\n");
  EXPECT_FALSE(fs::exists("prog.dbg"));
  EXPECT_ERROR(1, ZutDebugRename("no/such/directory"));
  EXPECT_STREQ(ZutDebugFileName(), "new.dbg");
  EXPECT_EQ(ZutDebugRename("stderr"), 1);
  EXPECT_EQ(ZutDebugFilePtr(), stderr);
  EXPECT_ERROR(6, ZutDebugRename("stderr"));
  EXPECT_EQ(ZutDebugRename("file"), 1);
  ZutOutDebug("both\n");
  EXPECT_EQ(readFile("file") + output.take(), "both\nboth\n");
  ZutDebugClose();
  fs::remove("file");
  fs::create_directory("file");
  ZutErrNumSet(9);
  EXPECT_EQ(ZutDebugReopen(), stderr);
  EXPECT_EQ(ZutErrNumGet(), 9) << "no failure of the caller";
  EXPECT_EQ(output.text(), "ORL-WL-05258-I Cannot reopen the debug file <file>; debug output goes "
                           "to the standard error stream.\n");
  for (const char *name : {"Long.DBG", "trace.log", "stderr"}) {
    EXPECT_EQ(ZutDebugClose(), 1);
    EXPECT_EQ(ZutDebugOpen("Long.DBG"), 1);
    EXPECT_STREQ(ZutDebugFileName(), name);
    ZutPutenv(*name == 'L' ? "VNDEBUGFILENAME=trace.log" : "VNDEBUGFILENAME=STDERR");
  }
  ZutPutenv("VNDEBUGFILENAME=");
}

CHILD(warning) { ZutWarning("%s\n", "careful"); }

TEST(Debug, WarningMayAbort) {
  EXPECT_TRUE(runChild("warning", {{"VN_WARNING_ABORT", "1"}}).aborted());
}

// --- Dump file ---

TEST(Dump, OpenCloseRemove) {
  const TempDir directory;
  const char *name = nullptr;
  EXPECT_ERROR(8, ZutDumpGetName(&name));
  EXPECT_ERROR(8, ZutDumpClose());
  EXPECT_ERROR(8, ZutDumpView());
  ASSERT_NE(ZutDumpOpen(), nullptr);
  EXPECT_ERROR(6, ZutDumpOpen());
  EXPECT_EQ(ZutDumpOut("%s\n", "one"), 1);
  EXPECT_ERROR(6, ZutDumpRemove());
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
  EXPECT_ERROR(1, ZutDumpRemove());
  fs::create_directory(name);
  const Capture output;
  EXPECT_EQ(ZutDumpOut("four\n"), 1);
  EXPECT_EQ(output.text(), "ORL-WL-05088-W The dump file cannot be opened; its text goes to the "
                           "output.\nfour\n");
}

TEST(ProcInfo, CpuUsage) {
  double value = -1.0;
  EXPECT_ERROR(7, ZutProcInfo(1, &value));
  EXPECT_EQ(ZutProcInfo(0, &value), 1);
  EXPECT_EQ(value, 0.0);
  // Until the system has counted a tick of this process.
  const double end = ZutGetWallTime() + 10.0;
  while (value == 0.0 && ZutGetWallTime() < end) EXPECT_EQ(ZutProcInfo(0, &value), 1);
  EXPECT_GT(value, 0.0);
  EXPECT_LE(value, 100.0);
}
