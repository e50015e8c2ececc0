#include "support/child.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#ifndef _WIN32
#  include <dlfcn.h>
#  include <sys/stat.h>
#  include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace {

void expectEnds(const char *child, int code, const Environment &environment = {}) {
  const Result result = runChild(child, environment);
  EXPECT_EQ(result.code, code) << child << ": " << result.out << result.err;
}

// Ends a child with 1 when one of its expectations failed.
void endChild() { std::exit(testing::Test::HasFailure() ? 1 : 0); }

// --- Identity ---

CHILD(fresh) {
  EXPECT_STREQ(ZutGetProcessType(), "unknown");
  EXPECT_EQ(ZutRandom(), 16838);
  EXPECT_EQ(ZutResourceLock(1), 1);
  EXPECT_EQ(ZutResourceUnlock(1), 1);
  EXPECT_EQ(ZutProcessMutexUnlock(), 1) << "no lock locks yet";
  const char *type = "util_test";
  EXPECT_EQ(ZutInit(type), 0);
  EXPECT_EQ(ZutGetProcessType(), type);
  EXPECT_EQ(ZutInitThreads(), 1);
  EXPECT_EQ(ZutInitThreads(), 1);
  EXPECT_EQ(ZutProcessMutexUnlock(), 0);
  EXPECT_EQ(ZutErrNumGet(), 7);
  endChild();
}

TEST(Start, BeforeAndAfter) {
  const TempDir directory;
  expectEnds("fresh", 0);
}

CHILD(names) {
  char name[256];
  ZutPutenv(("VN_FORCE_NODE_NAME=" + std::string(300, 'n')).c_str());
  EXPECT_EQ(ZutGetNodeName(name), std::string(255, 'n'));
  ZutPutenv(("VN_FORCE_USER_NAME=" + std::string(300, 'u')).c_str());
  EXPECT_EQ(ZutGetUserName(name), std::string(255, 'u'));
  ZutPutenv("VN_FORCE_USER_NAME=");
  EXPECT_EQ(ZutGetUserName(name), std::string(255, 'u')) << "found once";
  endChild();
}

TEST(Names, AreForcedAndCutAtTheCallersBuffer) { expectEnds("names", 0); }

// --- Locks by number and keyed objects ---

CHILD(resources) {
  ZutInitThreads();
  int counts[2] = {};
  const auto work = [&counts](ZutWord resource) {
    for (int i = 0; i < 2000; ++i) {
      ZutResourceLock(resource);
      ZutResourceLock(resource);
      ++counts[resource];
      ZutResourceUnlock(resource);
      ZutResourceUnlock(resource);
    }
  };
  ZutResourceLock(5);
  std::thread stray([] {
    EXPECT_EQ(ZutResourceUnlock(5), 0); // must not take the holder's lock away
    EXPECT_EQ(ZutResourceUnlock(6), 0);
  });
  stray.join();
  EXPECT_EQ(ZutResourceUnlock(5), 1);
  std::thread threads[4];
  for (int i = 0; i < 4; ++i) threads[i] = std::thread(work, i % 2);
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(counts[0], 4000);
  EXPECT_EQ(counts[1], 4000);
  endChild();
}

TEST(ResourceLock, IsExclusiveRecursiveAndSafeFromStrangers) { expectEnds("resources", 0); }

struct Counted {
  int made = 0;
  int destroyed = 0;
};

void *Z_CALL makeCounted(ZutWord key, void *argument) {
  if (key < 0) return nullptr;
  ++static_cast<Counted *>(argument)->made;
  return new ZutWord(key);
}

void Z_CALL destroyCounted(void *object, void *argument) {
  ++static_cast<Counted *>(argument)->destroyed;
  delete static_cast<ZutWord *>(object);
}

TEST(KeyedObjects, AreMadeOnceAndDestroyedWithTheLastReference) {
  Counted counted;
  static ZutDSMM *table = nullptr; // tables live as long as the process
  table = ZutDSMMCreate(3, makeCounted, destroyCounted, &counted);
  for (int round = 0; round < 2; ++round) {
    for (ZutWord key = 0; key < 20; ++key) {
      EXPECT_EQ(*static_cast<ZutWord *>(ZutDSMMObjectCreate(table, key)), key);
    }
  }
  EXPECT_EQ(counted.made, 20);
  EXPECT_EQ(ZutDSMMObjectDestroy(table, -1), 0);
  EXPECT_EQ(ZutErrNumGet(), 8);
  for (ZutWord key = 0; key < 20; ++key) EXPECT_EQ(ZutDSMMObjectDestroy(table, key), 1);
  EXPECT_EQ(counted.destroyed, 0);
  for (ZutWord key = 0; key < 20; ++key) EXPECT_EQ(ZutDSMMObjectDestroy(table, key), 1);
  EXPECT_EQ(counted.destroyed, 20);
  EXPECT_EQ(ZutDSMMObjectDestroy(table, 7), 0);
}

// --- Stopping ---

void expectInOrder(const std::string &text, std::initializer_list<const char *> parts) {
  size_t at = 0;
  for (const char *part : parts) {
    at = text.find(part, at);
    ASSERT_NE(at, std::string::npos) << "no <" << part << "> in " << text;
  }
}

CHILD(fatal) {
  ZutInit("util_test");
  ZutSetCurrentTime(12.5);
  ZutErrNumSet(9);
  ZutFatalError("gone at %ld in %s", 7L, "tests");
  ZutFatalError("gone again");
}

TEST(FatalError, ReportsToItsStreamAndTheDebugFileThenAborts) {
  const TempDir directory;
  const Result result =
      runChild("fatal", {{"VN_FATAL_ERROR_ABORT", "1"}, {"VNDEBUGFILENAME", "fatal.dbg"}});
  EXPECT_TRUE(result.aborted()) << result.code;
  const auto expectReport = [](const std::string &text) {
    expectInOrder(text,
                  {"\n*** FATAL ERROR ***\ngone at 7 in tests\nWall Clock Time: ",
                   "\nVantrel Time: 12.500000\n", "Last Vantrel Error Code: 9\n",
                   "Last C Error Code: ", "Last OS Error Code: ", "Last Socket Error Code: "});
  };
  expectReport(result.out);
  expectReport(readFile("fatal.dbg"));
  expectInOrder(result.out, {"See debug file: fatal.dbg\n"});
}

TEST(FatalError, ContinuesWhenToldAndReportsTheNextOneToo) {
  const TempDir directory;
  const Result result = runChild("fatal", {{"VN_FATAL_ERROR_CONTINUE", "0"}});
  EXPECT_EQ(result.code, 0);
  expectInOrder(result.out,
                {"gone at 7", "Continuing execution.\n", "gone again", "Continuing execution.\n"});
}

void Z_CALL sayLast() { // by another thread, which needs the process mutex
  std::thread([] { ZutOut("last\n"); }).join();
}

// The first one's wait before the end is time for a second.
CHILD(two) {
  ZutInitThreads();
  ZutSetFatalErrorFile(std::fopen("report.txt", "w"));
  ZutAtExit(sayLast);
  ZutAtExit([] { ZutFatalError("the third"); });
  ZutProcessMutexLock();
  std::thread([] { ZutFatalError("the first"); }).detach();
  while (readFile("report.txt").find("Last Socket") == std::string::npos) ZutSleep(0.01);
  ZutFatalError("the second");
}

std::atomic<bool> held{false};

CHILD(deadlocked) {
  ZutInit("util_test");
  ZutInitThreads();
  ZutWinStartWinsock(); // whose end at exit must not wait either
  std::thread([] {
    ZutProcessMutexLock();
    held = true;
    ZutSleep(60.0);
  }).detach();
  while (!held) ZutSleep(0.01);
  ZutAssert(0, "a == b", "here.c", 3);
}

// The one test that waits out the 5 seconds before the end.
TEST(FatalError, EndsTheProcessWhateverOtherThreadsDo) {
  const TempDir directory;
  Result two;
  std::thread beside([&two] { two = runChild("two"); });
  const Result result = runChild("deadlocked");
  beside.join();
  EXPECT_EQ(result.code, 2);
  expectInOrder(result.out, {"Assertion <a == b> failed, file: here.c, line 3\n"});
  EXPECT_EQ(two.code, 2) << two.err;
  EXPECT_EQ(two.out, "last\n");
  const std::string report = readFile("report.txt");
  expectInOrder(report, {"the first", "Last Socket"});
  for (const char *later : {"second", "third"}) EXPECT_EQ(report.find(later), report.npos);
}

void Z_CALL sayAdded() { std::fputs("added\n", stdout); }
void Z_CALL exitAgain() { ZutExit(5); }
void Z_CALL addOne() {
  std::fputs("first\n", stdout);
  ZutAtExit(sayAdded);
}

CHILD(exit) {
  ZutInitThreads();
  ZutAtExit(sayLast);
  ZutAtExit(exitAgain);
  ZutAtExit(addOne);
  ZutProcessMutexLock();
  ZutExit(4);
}

TEST(Exit, RunsHandlersNewestFirstEachOnceEvenAddedOnes) {
  const Result result = runChild("exit");
  EXPECT_EQ(result.code, 5) << "a handler exited";
  EXPECT_EQ(result.out, "first\nadded\nlast\n");
  EXPECT_EQ(ZutAtExit(nullptr), 0);
  EXPECT_EQ(ZutErrNumGet(), 3);
}

std::atomic<bool> exiting{false};

void Z_CALL letTheOtherExit() {
  exiting = true;
  ZutSleep(0.1);
}

CHILD(exitsHolding) {
  ZutInitThreads();
  ZutAtExit(sayLast); // after the one below
  ZutAtExit(letTheOtherExit);
  std::thread([] {
    ZutProcessMutexLock();
    ZutProcessMutexLock();
    held = true;
    while (!exiting) ZutSleep(0.01);
    ZutExit(5);
  }).detach();
  while (!held) ZutSleep(0.01);
  ZutExit(4);
}

TEST(Exit, AThreadThatWaitsForTheEndHoldsNobodyUp) {
  const Result result = runChild("exitsHolding");
  EXPECT_EQ(result.code, 4);
  EXPECT_EQ(result.out, "last\n");
}

TEST(Expect, PrintsTheCodesAndKeepsThem) {
  const TempDir directory;
  Capture capture;
  ZutErrNumSetC(17);
  ZutErrNumSet(9);
  EXPECT_EQ(ZutExpect(5, "fine", "here.c", 1), 5);
  EXPECT_EQ(capture.take(), "");
  ZutPutenv("VN_EXPECT_ABORT=1"); // without effect
  EXPECT_EQ(ZutExpect(0, "a < b", "here.c", 31), 0);
  ZutPutenv("VN_EXPECT_ABORT=");
  EXPECT_EQ(ZutErrNumGet(), 9);
  EXPECT_EQ(ZutErrNumGetC(), 17);
  expectInOrder(capture.text(), {"a < b", "here.c", "31", "Last Vantrel Error Code: 9\n",
                                 "Last C Error Code: 17\n"});
}

// --- Environment ---

TEST(Environment, IsSetReadAndRemoved) {
  const char *value = nullptr, *path = nullptr;
  EXPECT_EQ(ZutPutenv("UTIL_TEST"), 0);
  EXPECT_EQ(ZutErrNumGet(), 7);
  EXPECT_EQ(ZutPutenv("UTIL_TEST=a=b"), 1);
  EXPECT_EQ(ZutGetenv("UTIL_TEST", &value), 1);
  EXPECT_EQ(ZutGetenv("PATH", &path), 1);
  EXPECT_STREQ(path, std::getenv("PATH"));
  EXPECT_STREQ(value, std::getenv("UTIL_TEST")); // still
  const std::string large(100000 / 4, 'x');
  EXPECT_EQ(ZutPutenv(("UTIL_TEST=" + large).c_str()), 1);
  ZutGetenv("UTIL_TEST", &value);
  EXPECT_EQ(value, large);
  EXPECT_EQ(ZutPutenv("UTIL_TEST="), 1);
  EXPECT_EQ(ZutGetenv("UTIL_TEST", &value), 1);
  EXPECT_EQ(value, nullptr);
  const TempDir directory;
  Capture capture;
  EXPECT_EQ(ZutPutenv("=x"), 0);
  EXPECT_EQ(ZutErrNumGet(), 0);
  EXPECT_NE(capture.text().find("<=x>"), std::string::npos);
}

#ifndef _WIN32
CHILD(trusting) {
  const char *value = nullptr;
  ZutGetenv("VNHOME", &value);
  std::puts(geteuid() == getuid() ? "plain" : value ? value : "unset");
  std::fflush(stdout);
  std::_Exit(0); // a sanitizer's checks at the exit may lack the rights
}

TEST(Environment, FamilyVariablesAreUnsetInAProcessWithMoreRightsThanItsUser) {
  const TempDir directory;
  fs::copy_file("/proc/self/exe", "setid");
  const Environment trap = {{"VNHOME", "trap"}};
  const auto run = [&] {
    return runProgram(fs::absolute("setid").string(), {"--child", "trusting"}, trap);
  };
  EXPECT_EQ(run().out, "plain\n");
  if (chown("setid", 65534, 65534) != 0 || chmod("setid", 04755) != 0 || run().out == "plain\n" ||
      run().code == 127) {
    GTEST_SKIP() << "no such process can be made here";
  }
  EXPECT_EQ(run().out, "unset\n");
}
#endif

// --- Frames ---

void setWall(int32_t seconds, int32_t microseconds) {
  const ZutTimePair time = {seconds, microseconds};
  ZutSetTestWallTimeStruct(&time);
}

TEST(Frames, KeepTheInterval) {
  const TempDir directory;
  Capture capture;
  ZutOption *interval = ZutOptionLookup("frame_interval");
  ASSERT_NE(interval, nullptr);
  EXPECT_EQ(ZutFrameCheck(2), 0);
  EXPECT_EQ(ZutErrNumGet(), 7);
  setWall(100, 0);
  EXPECT_EQ(ZutFrameCheck(0), 1);
  setWall(200, 0);
  EXPECT_EQ(ZutFrameCheck(0), 1) << "no interval, no overrun";
  ZutOptionSetNum(interval, 2.0);
  ZutFrameReset();
  EXPECT_EQ(ZutFrameCheck(0), 1);
  setWall(201, 500000);
  EXPECT_EQ(ZutFrameCheck(0), 1);
  setWall(205, 0); // 3.5 seconds after the last check
  EXPECT_EQ(ZutFrameCheck(1), 0);
  EXPECT_EQ(ZutErrNumGet(), 9);
  EXPECT_NE(capture.take().find("1.5"), std::string::npos);
  setWall(-1, -1);
  ZutOptionSetNum(interval, 0.2);
  ZutFrameReset();
  const double start = ZutGetWallTime();
  EXPECT_EQ(ZutFrameCheck(1), 1);
  EXPECT_EQ(ZutFrameCheck(1), 1);
  EXPECT_GE(ZutGetWallTime() - start, 0.19);
  ZutOptionSetNum(interval, 0.0);
  ZutFrameReset();
}

// --- Notices, texts, process operations ---

TEST(SupportNotice, IsReadBelowTheHomeDirectory) {
  const TempDir directory;
  Capture capture;
  ZutSafeString notice;
  ZutSafeStringCreate(&notice);
  ZutOutInit(); // finds the catalog before the home directory changes
  ZutPutenv("VNHOME=./");
  EXPECT_EQ(ZutGetSupportNotice(&notice), 0);
  EXPECT_NE(capture.text().find("<./standard"), std::string::npos) << capture.text();
  fs::create_directory("standard");
  const std::string line(300, 'x');
  writeFile("standard/support.txt", "one\r\n" + line + "\nend");
  EXPECT_EQ(ZutGetSupportNotice(&notice), 1);
  EXPECT_EQ(notice.str, "one\n" + line + "\nend");
  ZutSafeStringDestroy(notice);
  ZutPutenv("VNHOME=");
}

TEST(Texts, CompareCopyAndIdentifiers) {
  EXPECT_EQ(ZutStrCmpi("AbC", "aBc"), 0);
  EXPECT_GT(ZutStrCmpi("\xe9", "z"), 0) << "bytes count as positive";
  EXPECT_LT(ZutStrCmpi(nullptr, ""), 0);
  char *text = nullptr;
  EXPECT_STREQ(ZutStringCopy(&text, "some text"), "some text");
  EXPECT_STREQ(ZutStringCopy(&text, text + 5), "text");
  EXPECT_EQ(ZutStringCopy(&text, nullptr), nullptr);
  EXPECT_EQ(text, nullptr);
  for (const char *good : {"a", "_x", "A9%?_"}) EXPECT_EQ(ZutIdIsValid(good), 1) << good;
  for (const char *bad : {"", "9a", "%a", "a b", "a-b", "\xe9"}) {
    EXPECT_EQ(ZutIdIsValid(bad), 0) << bad;
  }
  EXPECT_EQ(ZutIdIsValid(std::string(64, 'a').c_str()), 0);
}

#ifdef _WIN32
const fs::path bin = fs::path(_pgmptr).parent_path();
constexpr const char *self = "zut.dll", *copyName = "mine.dll", *systemLibrary = "kernel32";
constexpr const char *systemSymbol = "GetCurrentThreadId", *quotedShell = "\"cmd\" /c \"exit 4\"";
#else
const fs::path bin = fs::read_symlink("/proc/self/exe").parent_path();
constexpr const char *self = "libzut.so", *copyName = "mine.so", *systemLibrary = "libm.so.6";
constexpr const char *systemSymbol = "cos", *quotedShell = "\"sh\" -c \"exit 4\"";
#endif

TEST(System, GivesTheExitCodeOfAQuotedProgram) { EXPECT_EQ(ZutSystem(quotedShell), 4); }

TEST(Library, IsFoundByTheSystemOrAbsolutelyButNotInTheWorkingDirectory) {
  ZutLibrary *library = ZutLibraryLoad(systemLibrary, 1);
  ASSERT_NE(library, nullptr);
  EXPECT_NE(ZutLibrarySymbolLookup(library, systemSymbol), nullptr);
  EXPECT_EQ(ZutLibrarySymbolLookup(library, "nosuch"), nullptr);
  EXPECT_EQ(ZutErrNumGet(), 8);
  const TempDir directory;
  fs::copy_file(bin / self, copyName);
  for (const char *name : {"mine", copyName, "./mine", "./mine.so", ".\\mine.dll"}) {
    EXPECT_EQ(ZutLibraryLoad(name, 1), nullptr) << name;
    EXPECT_EQ(ZutErrNumGet(), 8) << name;
  }
  library = ZutLibraryLoad((bin / self).string().c_str(), 0);
  EXPECT_NE(ZutLibrarySymbolLookup(library, "ZutInit"), nullptr);
}

#ifdef _WIN32
CHILD(ownFiles) {
  Capture capture;
  ZutPutenv("=x");
  EXPECT_NE(capture.text().find("<=x>"), std::string::npos) << "no catalog";
  EXPECT_NE(ZutLibraryLoad("mine", 1), nullptr);
  endChild();
}

TEST(Library, FindsItsOwnFilesBelowAPathOutsideTheCodePage) {
  const TempDir directory;
  const fs::path home = L"\u017c\u00f3\u0142\u0107 \U0001f600", program = home / "bin/own.exe";
  for (const char *name : {"bin/drivers", "share/zut"}) fs::create_directories(home / name);
  fs::copy(bin / "../share/zut/standard", home / "share/zut/standard", fs::copy_options::recursive);
  fs::copy_file(_pgmptr, program);
  for (const char *name : {"bin/zut.dll", "bin/drivers/mine.dll"}) {
    fs::copy_file(bin / self, home / name);
  }
  EXPECT_EQ(_wspawnl(_P_WAIT, program.c_str(), L"own", L"--child", L"ownFiles", nullptr), 0);
}
#else // the system keeps whole names there, and the library stays
CHILD(foreign) {
  for (const char *name : {"lib/drivers", "trap/lib/drivers"}) fs::create_directories(name);
  for (const char *name : {"lib/own", "trap/lib/own", "lib/drivers/good", "trap/lib/drivers/bad"}) {
    fs::copy_file(bin / self, std::string(name) + ".so");
  }
  void *own = dlopen("lib/own.so", RTLD_NOW | RTLD_LOCAL);
  reinterpret_cast<decltype(&ZutInitThreads)>(dlsym(own, "ZutInitThreads"))();
  const auto load = reinterpret_cast<decltype(&ZutLibraryLoad)>(dlsym(own, "ZutLibraryLoad"));
  fs::current_path("trap");
  std::thread user([&] {
    EXPECT_NE(load("good", 1), nullptr);
    EXPECT_EQ(load("bad", 1), nullptr); // sets the thread's error number
    dlclose(own);
  });
  user.join();
  endChild();
}

TEST(Library, KnowsItsDirectoryAndStaysWhateverTheProgramDoes) {
  const TempDir directory;
  expectEnds("foreign", 0);
}
#endif

CHILD(socket_dir) {
  const std::string name = ZutGetSocketDir();
  EXPECT_TRUE(fs::is_directory(name));
  ZutPutenv("TMP=.");
  EXPECT_EQ(name, ZutGetSocketDir()) << "found once";
  std::puts(name.c_str());
  endChild();
}

TEST(SocketDir, IsMadeBelowTheFirstWritableDirectory) {
  const TempDir directory;
  fs::create_directory("second");
  const Result result = runChild("socket_dir", {{"TMP", "nosuch"}, {"TEMP", "second"}});
  EXPECT_EQ(result.code, 0) << result.out << result.err;
  EXPECT_EQ(result.out, std::string("second") + char(fs::path::preferred_separator) + "vantrel\n");
}

} // namespace
