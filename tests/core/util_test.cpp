#include "support/child.h"
#include "support/errors.h"

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

// --- Identity, locks by number and keyed objects ---

TEST(Start, BeforeAndAfterThreadsAreInitialised) {
  const TempDir directory;
  EXPECT_STREQ(ZutGetProcessType(), "unknown");
  EXPECT_EQ(ZutRandom(), 16838);
  EXPECT_EQ(ZutResourceLock(1), 1);
  EXPECT_EQ(ZutResourceUnlock(1), 1);
  EXPECT_EQ(ZutProcessMutexUnlock(), 1) << "no lock locks yet";
  const char *type = "util_test";
  EXPECT_EQ(ZutInit(type), 0);
  EXPECT_EQ(ZutDebugClose(), 1);
  EXPECT_EQ(ZutGetProcessType(), type);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(ZutInitThreads(), 1);
  EXPECT_ERROR(7, ZutProcessMutexUnlock());
  // Locks by number exclude, are recursive and refuse strangers.
  ZutResourceLock(5);
  std::thread([] {
    EXPECT_EQ(ZutResourceUnlock(5), 0); // must not take the holder's lock away
    EXPECT_EQ(ZutResourceUnlock(6), 0);
  }).join();
  EXPECT_EQ(ZutResourceUnlock(5), 1);
  int counts[2] = {};
  std::vector<std::thread> threads;
  for (ZutWord resource : {0, 1, 0, 1}) {
    threads.emplace_back([&counts, resource] {
      for (int i = 0; i < 2000; ++i) {
        for (int k = 0; k < 2; ++k) ZutResourceLock(resource);
        ++counts[resource];
        for (int k = 0; k < 2; ++k) ZutResourceUnlock(resource);
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  for (int count : counts) EXPECT_EQ(count, 4000);
}

CHILD(surroundings) {
  const std::string sockets = ZutGetSocketDir();
  EXPECT_EQ(sockets, (fs::path("second") / "vantrel").string());
  EXPECT_TRUE(fs::is_directory(sockets));
  ZutPutenv("TMP=.");
  EXPECT_EQ(ZutGetSocketDir(), sockets);
  char name[256];
  ZutPutenv(("VN_FORCE_NODE_NAME=" + std::string(300, 'n')).c_str());
  EXPECT_EQ(ZutGetNodeName(name), std::string(255, 'n'));
  for (const size_t length : {300u, 0u}) {
    ZutPutenv(("VN_FORCE_USER_NAME=" + std::string(length, 'u')).c_str());
    EXPECT_EQ(ZutGetUserName(name), std::string(255, 'u'));
  }
  std::exit(testing::Test::HasFailure());
}

TEST(Surroundings, AreForcedCutAndFoundOnce) {
  const TempDir directory;
  fs::create_directory("second");
  const Result result = runChild("surroundings", {{"TMP", "nosuch"}, {"TEMP", "second"}});
  EXPECT_EQ(result.code, 0) << result.out << result.err;
}

TEST(KeyedObjects, AreMadeOnceAndDestroyedWithTheLastReference) {
  struct Counted {
    int made = 0;
    int destroyed = 0;
  } counted;
  static ZutDSMM *table = nullptr; // tables live as long as the process
  table = ZutDSMMCreate(
      3,
      [](ZutWord key, void *argument) -> void * {
        ++static_cast<Counted *>(argument)->made;
        return new ZutWord(key);
      },
      [](void *object, void *argument) {
        ++static_cast<Counted *>(argument)->destroyed;
        delete static_cast<ZutWord *>(object);
      },
      &counted);
  for (ZutWord step = 0; step < 40; ++step) {
    EXPECT_EQ(*static_cast<ZutWord *>(ZutDSMMObjectCreate(table, step % 20)), step % 20);
  }
  EXPECT_EQ(counted.made, 20);
  EXPECT_ERROR(8, ZutDSMMObjectDestroy(table, -1));
  for (int destroyed : {0, 20}) {
    for (ZutWord key = 0; key < 20; ++key) EXPECT_EQ(ZutDSMMObjectDestroy(table, key), 1);
    EXPECT_EQ(counted.destroyed, destroyed);
  }
  EXPECT_ERROR(8, ZutDSMMObjectDestroy(table, 7));
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

TEST(FatalError, ReportsToItsStreamAndTheDebugFileThenAbortsUnlessItMayContinue) {
  const TempDir directory;
  const Environment debug = {{"VNDEBUGFILENAME", "fatal.dbg"}};
  Result result = runChild("fatal", {{"VN_FATAL_ERROR_ABORT", "1"}, debug[0]});
  EXPECT_TRUE(result.aborted()) << result.code;
  for (const std::string &text : {result.out, readFile("fatal.dbg")}) {
    expectInOrder(text,
                  {"\n*** FATAL ERROR ***\ngone at 7 in tests\nWall Clock Time: ",
                   "\nVantrel Time: 12.500000\n", "Last Vantrel Error Code: 9\n",
                   "Last C Error Code: ", "Last OS Error Code: ", "Last Socket Error Code: "});
  }
  expectInOrder(result.out, {"See debug file: fatal.dbg\n"});
  result = runChild("fatal", {{"VN_FATAL_ERROR_CONTINUE", "0"}, debug[0]});
  EXPECT_EQ(result.code, 0);
  expectInOrder(result.out,
                {"gone at 7", "Continuing execution.\n", "gone again", "Continuing execution.\n"});
}

void Z_CALL sayLast() { // by another thread, which needs the process mutex
  std::thread([] { ZutOut("last\n"); }).join();
}

// The first one waits before the end, which is time for a second.
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

std::atomic<bool> held{false}, exiting{false};

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

CHILD(exit) {
  ZutInitThreads();
  ZutAtExit(sayLast);
  ZutAtExit([] { ZutExit(5); });
  ZutAtExit([] {
    std::fputs("first\n", stdout);
    ZutAtExit([] { std::fputs("added\n", stdout); });
  });
  ZutProcessMutexLock();
  ZutExit(4);
}

CHILD(exitsHolding) {
  ZutInitThreads();
  ZutAtExit(sayLast); // after the one below
  ZutAtExit([] {
    exiting = true;
    ZutSleep(0.1);
  });
  std::thread([] {
    for (int i = 0; i < 2; ++i) ZutProcessMutexLock();
    held = true;
    while (!exiting) ZutSleep(0.01);
    ZutExit(5);
  }).detach();
  while (!held) ZutSleep(0.01);
  ZutExit(4);
}

TEST(Exit, RunsHandlersNewestFirstEachOnceWithoutTheProcessMutex) {
  Result result = runChild("exit");
  EXPECT_EQ(result.code, 5) << "a handler exited";
  EXPECT_EQ(result.out, "first\nadded\nlast\n");
  result = runChild("exitsHolding");
  EXPECT_EQ(result.code, 4) << "of the first that exited";
  EXPECT_EQ(result.out, "last\n");
}

TEST(Expect, PrintsTheCodesAndKeepsThem) {
  Capture capture;
  ZutPutenv("VN_EXPECT_ABORT=1"); // without effect
  ZutErrNumSetC(17);
  ZutErrNumSet(9);
  EXPECT_EQ(ZutExpect(5, "fine", "here.c", 1), 5);
  EXPECT_EQ(capture.take(), "");
  EXPECT_EQ(ZutExpect(0, "a < b", "here.c", 31), 0);
  EXPECT_EQ(ZutErrNumGet(), 9);
  EXPECT_EQ(ZutErrNumGetC(), 17);
  expectInOrder(capture.text(), {"a < b", "here.c", "31", "Last Vantrel Error Code: 9\n",
                                 "Last C Error Code: 17\n"});
}

// --- Environment ---

TEST(Environment, IsSetReadAndRemoved) {
  const char *value = nullptr, *path = nullptr;
  EXPECT_ERROR(7, ZutPutenv("UTIL_TEST"));
  for (const std::string &text : {std::string("a=b"), std::string(25000, 'x')}) {
    EXPECT_EQ(ZutPutenv(("UTIL_TEST=" + text).c_str()), 1);
    EXPECT_EQ(ZutGetenv("UTIL_TEST", &value), 1);
    EXPECT_EQ(ZutGetenv("PATH", &path), 1);
    EXPECT_STREQ(path, std::getenv("PATH"));
    EXPECT_EQ(value, text) << "still";
    EXPECT_EQ(std::getenv("UTIL_TEST"), text);
  }
  EXPECT_EQ(ZutPutenv("UTIL_TEST="), 1);
  EXPECT_EQ(ZutGetenv("UTIL_TEST", &value), 1);
  EXPECT_EQ(value, nullptr);
  Capture capture;
  EXPECT_ERROR(0, ZutPutenv("=x"));
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
  const auto run = [] {
    return runProgram(fs::absolute("setid").string(), {"--child", "trusting"}, {{"VNHOME", "trap"}})
        .out;
  };
  EXPECT_EQ(run(), "plain\n");
  if (chown("setid", 65534, 65534) != 0 || chmod("setid", 04755) != 0 || run() == "plain\n")
    GTEST_SKIP() << "no such process can be made here";
  EXPECT_EQ(run(), "unset\n");
}
#endif

// --- Frames ---

TEST(Frames, KeepTheInterval) {
  Capture capture;
  const auto setWall = [](int32_t seconds, int32_t microseconds) {
    const ZutTimePair time = {seconds, microseconds};
    ZutSetTestWallTimeStruct(&time);
  };
  ZutOption *interval = ZutOptionLookup("frame_interval");
  EXPECT_ERROR(7, ZutFrameCheck(2));
  for (int32_t seconds : {100, 200}) { // no interval, no overrun
    setWall(seconds, 0);
    EXPECT_EQ(ZutFrameCheck(0), 1);
  }
  ZutOptionSetNum(interval, 2.0);
  ZutFrameReset();
  EXPECT_EQ(ZutFrameCheck(0), 1);
  setWall(201, 500000);
  EXPECT_EQ(ZutFrameCheck(0), 1);
  setWall(205, 0); // 3.5 seconds after the last check
  EXPECT_ERROR(9, ZutFrameCheck(1));
  EXPECT_NE(capture.take().find("1.5"), std::string::npos);
  setWall(-1, -1);
  ZutOptionSetNum(interval, 0.2);
  ZutFrameReset();
  const double start = ZutGetWallTime();
  for (int i = 0; i < 2; ++i) EXPECT_EQ(ZutFrameCheck(1), 1);
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
  const std::string full(64, 'a');
  for (const char *bad : {"", "9a", "%a", "a b", "a-b", "\xe9", full.c_str()})
    EXPECT_EQ(ZutIdIsValid(bad), 0) << bad;
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

TEST(System, ReturnsTheExitCodeOfAQuotedProgram) { EXPECT_EQ(ZutSystem(quotedShell), 4); }

TEST(Library, IsFoundByTheSystemOrAbsolutelyButNotInTheWorkingDirectory) {
  ZutLibrary *library = ZutLibraryLoad(systemLibrary, 1);
  ASSERT_NE(library, nullptr);
  EXPECT_NE(ZutLibrarySymbolLookup(library, systemSymbol), nullptr);
  EXPECT_ERROR(8, ZutLibrarySymbolLookup(library, "nosuch"));
  const TempDir directory;
  fs::copy_file(bin / self, copyName);
  for (const char *name : {"mine", copyName, "./mine", "./mine.so", ".\\mine.dll"})
    EXPECT_ERROR(8, ZutLibraryLoad(name, 1)) << name;
  library = ZutLibraryLoad((bin / self).string().c_str(), 0);
  EXPECT_NE(ZutLibrarySymbolLookup(library, "ZutInit"), nullptr);
}

#ifdef _WIN32
CHILD(ownFiles) {
  Capture capture;
  ZutPutenv("=x");
  EXPECT_NE(capture.text().find("<=x>"), std::string::npos) << "no catalog";
  EXPECT_NE(ZutLibraryLoad("mine", 1), nullptr);
  std::exit(testing::Test::HasFailure());
}

TEST(Library, FindsItsOwnFilesBelowAPathOutsideTheCodePage) {
  const TempDir directory;
  const fs::path home = L"\u017c\u00f3\u0142\u0107 \U0001f600", program = home / "bin/own.exe";
  for (const char *name : {"bin/drivers", "share/zut"}) fs::create_directories(home / name);
  fs::copy(bin / "../share/zut/standard", home / "share/zut/standard", fs::copy_options::recursive);
  fs::copy_file(_pgmptr, program);
  for (const char *name : {"bin/zut.dll", "bin/drivers/mine.dll"})
    fs::copy_file(bin / self, home / name);
  EXPECT_EQ(_wspawnl(_P_WAIT, program.c_str(), L"own", L"--child", L"ownFiles", nullptr), 0);
}
#else // the system keeps whole names there, and the library stays
TEST(Library, KnowsItsDirectoryAndStaysWhateverTheProgramDoes) {
  const TempDir directory;
  for (const char *name : {"lib/drivers", "trap/lib/drivers"}) fs::create_directories(name);
  for (const char *name : {"lib/own", "trap/lib/own", "lib/drivers/good", "trap/lib/drivers/bad"})
    fs::copy_file(bin / self, std::string(name) + ".so");
  void *own = dlopen("lib/own.so", RTLD_NOW | RTLD_LOCAL);
  reinterpret_cast<decltype(&ZutInitThreads)>(dlsym(own, "ZutInitThreads"))();
  const auto load = reinterpret_cast<decltype(&ZutLibraryLoad)>(dlsym(own, "ZutLibraryLoad"));
  fs::current_path("trap");
  std::thread([&] {
    EXPECT_NE(load("good", 1), nullptr);
    EXPECT_EQ(load("bad", 1), nullptr); // sets the thread's error number
    dlclose(own);
  }).join();
}
#endif

} // namespace
