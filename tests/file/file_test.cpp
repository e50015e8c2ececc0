#include "support/child.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <thread>
#ifdef _WIN32
#  include <share.h>
#else
#  include <sys/resource.h>
#endif

namespace fs = std::filesystem;

namespace {

#ifdef _WIN32
const std::string separator = "\\";
#else
const std::string separator = "/";
#endif

std::string built(const char *directory, const char *base, const char *extension) {
  char out[100];
  return ZutBuildFileName(out, directory, base, extension);
}

// A new file under a directory of its own, and the output kept.
class FileTest : public testing::Test {
protected:
  void SetUp() override { setBackupName("~"); }
  void TearDown() override { setBackupName("~"); }
  void setBackupName(const char *ending) { ZutOptionSet("backup_name", ending); }
  void setEditor(const char *editor) { ZutOptionSet("editor", editor); }

  TempDir directory;
  Capture output;
};

int32_t openCount() {
  int32_t count = 0;
  ZutFileTraverse(
      [](ZutFileNode *node, ZutWord argument) {
        *reinterpret_cast<int32_t *>(argument) += node->ref_count;
        return 0;
      },
      reinterpret_cast<ZutWord>(&count));
  return count;
}

} // namespace

TEST(FileName, PartsAreJoinedWithOneSeparator) {
  EXPECT_EQ(built("a", "b", ".txt"), "a" + separator + "b.txt");
  EXPECT_EQ(built("a\\", "b", ".txt"), "a\\b.txt");
  EXPECT_EQ(built("a/", "b", nullptr), "a/b");
  EXPECT_EQ(built(nullptr, "b", ".txt"), "b.txt");
  EXPECT_EQ(built("", "b", ".txt"), "b.txt");
  char name[20] = "a";
  EXPECT_EQ(ZutBuildDirName(name, name, "b"), "a" + separator + "b"); // in its own buffer
  EXPECT_EQ(ZutBuildFileNameSized(name, 6, "a", "b", ".x"), 1);
  EXPECT_EQ(name, "a" + separator + "b.x");
  EXPECT_EQ(ZutBuildFileNameSized(name, 5, "a", "b", ".x"), 0);
  EXPECT_EQ(ZutErrNumGet(), 5);
  EXPECT_STREQ(name, "");
  EXPECT_EQ(ZutHasExtension("x.TXT", ".txt"), 1);
  EXPECT_EQ(ZutHasExtension("x.tx", ".txt"), 0);
}

TEST_F(FileTest, OpenersOfOneNameShareItsStream) {
  FILE *stream = ZutOpenFile("shared", "w+b");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(ZutOpenFile("SHARED", "w+b"), stream);
  EXPECT_EQ(ZutLookupFile("Shared"), stream);
  EXPECT_EQ(ZutOpenFile("shared", "r+b"), nullptr);
  EXPECT_EQ(ZutErrNumGet(), 15);
  EXPECT_EQ(openCount(), 2);
  writeFile("SHARED", "other"); // a file of its own where the file system tells them apart
  EXPECT_EQ(ZutLookupFile("SHARED") == nullptr, readFile("shared").empty());
  EXPECT_EQ(ZutCloseFile(stream), 1);
  EXPECT_GT(std::fprintf(stream, "still open"), 0);
  EXPECT_EQ(ZutFlushFile(stream), 1);
  EXPECT_EQ(ZutCloseFile(stream), 1);
  EXPECT_EQ(readFile("shared"), "still open");
  EXPECT_EQ(ZutCloseFile(stream), 0);
  EXPECT_EQ(ZutErrNumGet(), 8);
  EXPECT_EQ(ZutLookupFile("shared"), nullptr);
}

TEST_F(FileTest, WhatCannotBeOpenedSaysWhy) {
  const struct {
    const char *name, *mode;
  } rows[] = {{"missing", "rb"}, {".", "r"}, {".", "w"}, {"no/such/x", "w"}, {"x", "q"}};
  for (const auto &row : rows) {
    ZutErrNumSet(0);
    EXPECT_EQ(ZutOpenFile(row.name, row.mode), nullptr) << row.name << row.mode;
    EXPECT_EQ(ZutErrNumGet(), 1) << row.name << row.mode;
    EXPECT_NE(ZutErrNumGetC(), 0);
  }
  EXPECT_EQ(openCount(), 0);
  EXPECT_EQ(ZutFileExists("missing") + ZutFileWritable("missing"), 0);
  EXPECT_EQ(ZutFileWritable("."), 1);
  writeFile("present", "");
  EXPECT_EQ(ZutFileWritable("present"), 1);
#ifdef _WIN32 // elsewhere the superuser writes everything
  fs::permissions("present", fs::perms::owner_read);
  EXPECT_EQ(ZutFileWritable("present"), 0);
  EXPECT_EQ(ZutErrNumGetC(), EACCES);
  fs::permissions("present", fs::perms::all);
#endif
  EXPECT_EQ(ZutDeleteFile("missing"), -1);
}

TEST_F(FileTest, BackupReplacesAnOlderOne) {
  setBackupName(".bak");
  writeFile("x", "new");
  writeFile("x.bak", "old");
  EXPECT_EQ(ZutBackupFile("x"), 1);
  EXPECT_EQ(readFile("x.bak"), "new");
  EXPECT_FALSE(fs::exists("x"));
  EXPECT_EQ(ZutBackupFile("x"), 1); // nothing to back up
  fs::create_directory("sub");
  EXPECT_EQ(ZutBackupFile("sub"), 1);
  EXPECT_TRUE(fs::is_directory("sub"));
  writeFile("y", "kept");
  setBackupName("");
  EXPECT_EQ(ZutBackupFile("y"), 1);
  EXPECT_EQ(readFile("y"), "kept");
#ifndef _WIN32                     // where the system itself gives up the old name
  fs::create_hard_link("y", "y~"); // a backup that is the file itself
  setBackupName("~");
  EXPECT_EQ(ZutBackupFile("y"), 1);
  EXPECT_FALSE(fs::exists("y"));
  EXPECT_EQ(readFile("y~"), "kept");
#endif
}

TEST_F(FileTest, OverwritingBacksUpAndNeverTruncatesWithoutABackup) {
  writeFile("log", "one");
  FILE *stream = ZutOpenFile("log", "w");
  std::fputs("two", stream);
  ZutCloseFile(stream);
  EXPECT_EQ(readFile("log~"), "one");
  EXPECT_EQ(readFile("log"), "two");
  fs::remove("log~");
  fs::create_directories("log~/in_the_way");
  for (const char *mode : {"w", "w+b"}) {
    stream = ZutOpenFile("log", mode);
    ASSERT_NE(stream, nullptr);
    EXPECT_NE(output.take().find("<log> could not be backed up"), std::string::npos);
    EXPECT_EQ(ZutOpenFile("log", mode), stream); // known by the mode that was asked for
    ZutCloseFile(stream);
    std::fputs("+", stream);
    ZutCloseFile(stream);
  }
  EXPECT_EQ(readFile("log"), "two++");
}

#ifdef _WIN32
TEST_F(FileTest, WhoHoldsAFileForAMomentIsWaitedFor) {
  writeFile("log", "old");
  for (const bool renames : {false, true}) {
    FILE *held = _fsopen("log", "r", _SH_DENYRW);
    ASSERT_NE(held, nullptr);
    std::thread holder([held] {
      ZutSleep(0.02);
      std::fclose(held);
    });
    if (renames) {
      EXPECT_EQ(ZutBackupFile("log"), 1);
    } else {
      FILE *stream = ZutOpenFile("log", "r");
      EXPECT_NE(stream, nullptr);
      if (stream) ZutCloseFile(stream);
    }
    holder.join();
  }
}
#endif

TEST_F(FileTest, APipeWithoutAPartnerDoesNotStopTheProgram) {
  if (separator == "\\" || ZutSystem("mkfifo pipe") != 0)
    GTEST_SKIP() << "no pipes in the file system";
  EXPECT_EQ(ZutOpenFile("pipe", "w"), nullptr);
  FILE *stream = ZutOpenFile("pipe", "r");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(std::getc(stream), EOF);
  ZutCloseFile(stream);
  EXPECT_FALSE(fs::exists("pipe~"));
}

TEST_F(FileTest, TraversalMayCloseWhatItIsHanded) {
  for (const char *name : {"a", "b", "c"}) ZutOpenFile(name, "w+b");
  std::string names;
  const auto visit = [](ZutFileNode *node, ZutWord argument) {
    *reinterpret_cast<std::string *>(argument) += node->fname;
    ZutCloseFile(node->stream);
    return 0;
  };
  EXPECT_EQ(ZutFileTraverse(visit, reinterpret_cast<ZutWord>(&names)), 0);
  EXPECT_EQ(names, "abc");
  EXPECT_EQ(openCount(), 0);
}

TEST_F(FileTest, HooksReplaceOpenAndClose) {
  const Result result = runChild("hooks");
  EXPECT_EQ(result.out, "open x w+b\nclose\n5098\n");
}
static FILE *Z_CALL openHook(const char *name, const char *mode) {
  std::printf("open %s %s\n", name, mode);
  return std::tmpfile();
}
static int32_t Z_CALL closeHook(FILE *stream) {
  std::printf("close\n");
  std::fclose(stream);
  return 7;
}
CHILD(hooks) {
  const Capture output;
  ZutSetFileOpenFunc(openHook);
  ZutSetFileCloseFunc(closeHook);
  FILE *stream = ZutOpenFile("x", "w+b");
  if (ZutCloseFile(stream) == 1 &&
      output.text().find("<x> failed with result 7") != std::string::npos) {
    std::printf("5098\n");
  }
}

TEST_F(FileTest, LongAndAwkwardNamesGetAHashedBase) {
  const auto base = [](const std::string &name, int32_t create) {
    char *out = nullptr;
    if (!ZutBuildBaseName(".", name.c_str(), &out, create))
      return "error " + std::to_string(ZutErrNumGet());
    const std::string text = out;
    ZutFree(out);
    return text;
  };
  const std::string plain(255, 'p');
  const std::string huge = "Huge" + std::string(3000, 'x');
  EXPECT_EQ(base(plain, 1), plain);
  EXPECT_TRUE(fs::is_empty("."));
  const std::string hashed = base(huge, 0);
  EXPECT_EQ(hashed.size(), 8u);
  EXPECT_TRUE(fs::is_empty("."));
  EXPECT_EQ(base(huge, 1), hashed);
  EXPECT_EQ(readFile(hashed + ".nam"), "huge" + std::string(3000, 'x') + "\n");
  EXPECT_EQ(base(huge, 1), hashed);
  // Names of one hash: '/' * 27 * 27 + 'a' * 27 + '}' is '/' * 27 * 27 + 'b' * 27 + 'b'.
  EXPECT_EQ(base("/a}", 1), "0000908f");
  const std::string second = base("/bb", 1);
  EXPECT_NE(second, "0000908f");
  EXPECT_EQ(base("/BB", 0), second);
  EXPECT_EQ(base("/A}", 0), "0000908f");
  writeFile("0000908f.nam", "/a}x\n"); // begins like ours
  EXPECT_NE(base("/a}", 0), "0000908f");
  writeFile("00000000.nam", "another\n");
  EXPECT_EQ(base("/qwygxdeb", 0), "error 24"); // each try leads to the same hash
  writeFile("0000908f.nam", "");
  EXPECT_EQ(base("/a}", 0), "error 24");
  char *out = nullptr;
  EXPECT_EQ(ZutBuildBaseName("no such directory", "a/b", &out, 1), 0);
  EXPECT_EQ(out, nullptr);
  ZutPutenv("VN_MAX_BASE_NAME=3");
  EXPECT_EQ(base("four", 0).size(), 8u);
  ZutPutenv("VN_MAX_BASE_NAME=255");
}

#ifndef _WIN32 // where nobody limits the size of files
TEST_F(FileTest, AFileThatMayNotGrowSpoilsNothing) {
  EXPECT_EQ(runChild("full").out, "0 then 1\n");
  EXPECT_EQ(std::distance(fs::directory_iterator("."), {}), 1);
}
CHILD(full) {
  rlimit limit;
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit none = {0, limit.rlim_max};
  char *base = nullptr;
  setrlimit(RLIMIT_FSIZE, &none);
  const int32_t full = ZutBuildBaseName(".", "a/b", &base, 1);
  setrlimit(RLIMIT_FSIZE, &limit);
  std::printf("%d then %d\n", full, ZutBuildBaseName(".", "a/b", &base, 1));
  ZutFree(base);
}
#endif

TEST_F(FileTest, CatAndExamineGoToTheOutput) {
  setEditor("_cat");
  writeFile("text", "100%\n%s\n");
  EXPECT_EQ(ZutEditFile("text", 1), 1);
  EXPECT_EQ(output.take(), "100%\n%s\n");
  setEditor("no-such-editor");
  EXPECT_EQ(ZutEditFile("text", 1), 0);
  EXPECT_EQ(ZutErrNumGet(), 8);
  setEditor(separator == "/" ? "false" : "cmd /c exit 1");
  EXPECT_EQ(ZutEditFile("text", 1), 1);
  setEditor("_cat");
  FILE *shared = ZutOpenFile("text", "r+b");
  EXPECT_EQ(ZutCatFile("text"), 1);
  EXPECT_EQ(std::getc(shared), '1'); // goes on where it was
  ZutCloseFile(shared);
  output.take();
  EXPECT_EQ(ZutCatFile("missing"), 0);
  EXPECT_NE(output.take().find("<missing>"), std::string::npos);
  FILE *stream = ZutOpenFile("open", "w+b");
  EXPECT_EQ(ZutFileExamine(), 1);
  const std::string table = output.take();
  EXPECT_EQ(table.find("     Open Files\n\nFile Name: <open>\nFile Mode: <w+b>\nFile Ptr:  <"), 0u);
  EXPECT_NE(table.find("Ref Count: <1>\n\nFile Name: <files.dmp>"), std::string::npos);
  ZutCloseFile(stream);
}

// The editor is a command that prints or changes what it is given.
TEST_F(FileTest, EditorsGetQuotedNames) {
  EXPECT_EQ(runChild("editName", {}, "plain.txt").out, "plain.txt\n");
  const std::string nasty = runChild("editName", {}, "a b&echo broken out;echo $HOME").out;
  EXPECT_EQ(std::count(nasty.begin(), nasty.end(), '\n'), 1) << nasty;
  EXPECT_NE(nasty.find("a b&echo broken out;echo $HOME"), std::string::npos) << nasty;
  EXPECT_EQ(runChild("editName", {}, "-o").out, "." + separator + "-o\n");
}
CHILD(editName) {
  ZutOptionSet("editor", "echo");
  char name[100];
  ZutEditFile(std::fgets(name, sizeof name, stdin), 1);
}

TEST_F(FileTest, ViewingReopensTheSameStreamAndTruncatesNothing) {
  setEditor(separator == "/" ? "mv new" : "type"); // an editor that puts a new file in its place
  for (const char *mode : {"a+b", "w", "w+b", "wb", "w+", "wt", "wb+", "w+bx"}) {
    writeFile("new", "new\n");
    FILE *stream = ZutOpenFile("log", mode);
    ASSERT_NE(stream, nullptr) << mode;
    std::fputs("old\n", stream);
    EXPECT_EQ(ZutViewFilePtr(stream), stream);
    std::fputs("end\n", stream);
    EXPECT_EQ(ZutCloseFile(stream), 1);
    EXPECT_EQ(openCount(), 0);
    EXPECT_EQ(readFile("log"), separator == "/" ? "new\nend\n" : "old\nend\n") << mode;
    fs::remove("log");
  }
  FILE *unknown = std::tmpfile();
  EXPECT_EQ(ZutViewFilePtr(unknown), unknown);
  EXPECT_NE(output.take().find("not in the table"), std::string::npos);
  std::fclose(unknown);
}

// Every base name is asked for by four processes of two threads, which append to one file too.
TEST_F(FileTest, ThreadsShareTheTableAndProcessesTheFiles) {
  std::vector<std::thread> users;
  for (int i = 0; i < 4; ++i) {
    users.emplace_back([&] {
      EXPECT_EQ(runChild("threads", {}, directory.path().string()).out, "0 failed, 0 open\n");
    });
  }
  for (std::thread &user : users) user.join();
  EXPECT_EQ(std::distance(fs::directory_iterator("."), {}), 151);
  if (separator == "/") { // Wine looks for the end of a file and writes in two steps
    EXPECT_EQ(readFile("log").size(), 4 * 600 * std::strlen("line\n"));
  }
}
CHILD(threads) {
  std::string shared;
  std::getline(std::cin, shared);
  const TempDir own;
  ZutInitThreads();
  std::atomic<int> failed = 0;
  FILE *log = ZutFOpen((shared + "/log").c_str(), "ab"); // a stream of its own
  const auto work = [&] {
    for (int i = 0; i < 300; ++i) {
      char *base = nullptr;
      const std::string name = "a\n" + std::to_string(i / 2);
      failed += !ZutBuildBaseName(shared.c_str(), name.c_str(), &base, 1);
      ZutFree(base);
      FILE *stream = ZutOpenFile(i % 2 ? "one" : "two", "a+b");
      ZutLookupFile("one");
      std::fputs("x", stream);
      ZutCloseFile(stream);
      std::fputs("line\n", log);
      ZutFlushFile(log);
    }
  };
  std::thread other(work);
  work();
  other.join();
  if (readFile("one").size() + readFile("two").size() == 600) {
    std::printf("%d failed, %d open\n", failed.load(), openCount());
  }
}
