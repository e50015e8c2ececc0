#include "support/child.h"
#include "support/errors.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>
#ifdef _WIN32
#  include <share.h>
#else
#  include <sys/resource.h>
#endif

namespace fs = std::filesystem;

namespace {

const std::string separator(1, static_cast<char>(fs::path::preferred_separator));

// Files under a directory of its own, and the output kept.
class FileTest : public testing::Test {
protected:
  void SetUp() override { ZutOptionSet("backup_name", "~"); }
  void setEditor(const std::string &editor) { ZutOptionSet("editor", editor.c_str()); }

  TempDir directory;
  Capture output;
};

int32_t openCount() {
  int32_t count = 0;
  const auto visit = [](ZutFileNode *node, ZutWord argument) {
    *reinterpret_cast<int32_t *>(argument) += node->ref_count;
    return 0;
  };
  ZutFileTraverse(visit, reinterpret_cast<ZutWord>(&count));
  return count;
}

} // namespace

TEST(FileName, PartsAreJoinedWithOneSeparator) {
  char name[20] = "a";
  EXPECT_EQ(ZutBuildDirName(name, name, "b"), "a" + separator + "b"); // in its own buffer
  EXPECT_STREQ(ZutBuildFileName(name, "a\\", "b", ".txt"), "a\\b.txt");
  EXPECT_STREQ(ZutBuildFileName(name, "a/", "b", nullptr), "a/b");
  for (const char *here : {"", static_cast<const char *>(nullptr)}) {
    EXPECT_STREQ(ZutBuildFileName(name, here, "b", ".txt"), "b.txt");
  }
  EXPECT_EQ(ZutBuildFileNameSized(name, 6, "a", "b", ".x"), 1);
  EXPECT_EQ(name, "a" + separator + "b.x");
  EXPECT_ERROR(5, ZutBuildFileNameSized(name, 5, "a", "b", ".x"));
  EXPECT_STREQ(name, "");
  EXPECT_EQ(ZutHasExtension("x.TXT", ".txt"), 1);
  EXPECT_EQ(ZutHasExtension("x.tx", ".txt"), 0);
}

TEST_F(FileTest, OpenersOfOneNameShareItsStream) {
  FILE *stream = ZutOpenFile("shared", "w+b");
  ASSERT_NE(stream, nullptr);
  EXPECT_TRUE(ZutOpenFile("SHARED", "w+b") == stream && ZutLookupFile("Shared") == stream);
  EXPECT_ERROR(15, ZutOpenFile("shared", "r+b"));
  EXPECT_EQ(openCount(), 2);
  writeFile("SHARED", "other"); // a file of its own where the file system tells them apart
  EXPECT_EQ(ZutLookupFile("SHARED") == nullptr, readFile("shared").empty());
  EXPECT_EQ(ZutCloseFile(stream), 1);
  EXPECT_GT(std::fprintf(stream, "still open"), 0);
  EXPECT_TRUE(ZutFlushFile(stream) == 1 && ZutCloseFile(stream) == 1);
  EXPECT_EQ(readFile("shared"), "still open");
  EXPECT_ERROR(8, ZutCloseFile(stream));
  EXPECT_ERROR(8, ZutLookupFile("shared"));
}

TEST_F(FileTest, WhatCannotBeOpenedSaysWhy) {
  const std::pair<const char *, const char *> rows[] = {
      {"missing", "rb"}, {".", "r"}, {".", "w"}, {"no/such/x", "w"}, {"x", "q"}};
  for (const auto &[name, mode] : rows) {
    EXPECT_ERROR(1, ZutOpenFile(name, mode)) << name << mode;
    EXPECT_NE(ZutErrNumGetC(), 0);
  }
  EXPECT_EQ(openCount(), 0);
  EXPECT_EQ(ZutFileExists("missing") + ZutFileWritable("missing"), 0);
  EXPECT_EQ(ZutDeleteFile("missing"), -1);
  writeFile("present", "");
  EXPECT_EQ(ZutFileWritable(".") + ZutFileWritable("present"), 2);
#ifdef _WIN32 // elsewhere the superuser writes everything
  fs::permissions("present", fs::perms::owner_read);
  EXPECT_TRUE(ZutFileWritable("present") == 0 && ZutErrNumGetC() == EACCES);
  fs::permissions("present", fs::perms::all);
#endif
}

TEST_F(FileTest, BackupReplacesAnOlderOne) {
  for (const char *name : {"x", "x~", "y"}) writeFile(name, name);
  fs::create_directory("sub");
  for (const char *name : {"x", "x", "sub"}) EXPECT_EQ(ZutBackupFile(name), 1); // or there is none
  EXPECT_TRUE(!fs::exists("x") && readFile("x~") == "x" && fs::is_directory("sub"));
  ZutOptionSet("backup_name", "");
  EXPECT_EQ(ZutBackupFile("y"), 1);
  EXPECT_EQ(readFile("y"), "y");
#ifndef _WIN32                     // where the system itself gives up the old name
  fs::create_hard_link("y", "y~"); // a backup that is the file itself
  ZutOptionSet("backup_name", "~");
  EXPECT_EQ(ZutBackupFile("y"), 1);
  EXPECT_TRUE(!fs::exists("y") && readFile("y~") == "y");
#endif
}

TEST_F(FileTest, OverwritingBacksUpAndNeverTruncatesWithoutABackup) {
  writeFile("log", "one");
  FILE *stream = ZutOpenFile("log", "w");
  std::fputs("two", stream);
  ZutCloseFile(stream);
  EXPECT_EQ(readFile("log~") + readFile("log"), "onetwo");
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
TEST_F(FileTest, ASharingViolationOfAMomentIsWaitedFor) {
  writeFile("log", "old");
  for (const bool renames : {false, true}) {
    FILE *held = _fsopen("log", "r", _SH_DENYRW);
    ASSERT_NE(held, nullptr);
    std::thread holder([held] {
      ZutSleep(0.02);
      std::fclose(held);
    });
    FILE *stream = renames ? nullptr : ZutOpenFile("log", "r");
    EXPECT_TRUE(renames ? ZutBackupFile("log") == 1 : stream != nullptr);
    ZutCloseFile(stream);
    holder.join();
  }
}
#else
TEST_F(FileTest, APipeWithoutAPartnerDoesNotStopTheProgram) {
  ASSERT_EQ(ZutSystem("mkfifo pipe"), 0);
  EXPECT_ERROR(1, ZutOpenFile("pipe", "w"));
  FILE *stream = ZutOpenFile("pipe", "r");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(std::getc(stream), EOF);
  ZutCloseFile(stream);
  EXPECT_FALSE(fs::exists("pipe~"));
}

TEST_F(FileTest, AFileThatMayNotGrowSpoilsNothing) {
  rlimit limit;
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit none = {0, limit.rlim_max};
  char *base = nullptr;
  setrlimit(RLIMIT_FSIZE, &none);
  const int32_t full = ZutBuildBaseName(".", "a/b", &base, 1);
  setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_EQ(full, 0);
  EXPECT_EQ(ZutBuildBaseName(".", "a/b", &base, 1), 1);
  ZutFree(base);
  EXPECT_EQ(std::distance(fs::directory_iterator("."), {}), 1);
}
#endif

TEST_F(FileTest, TraversalMayCloseWhatItIsHanded) {
  for (const char *name : {"a", "b", "c"}) ZutOpenFile(name, "w+b");
  const auto close = [](ZutFileNode *node, ZutWord) { return ZutCloseFile(node->stream) - 1; };
  EXPECT_EQ(ZutFileTraverse(close, 0), 0);
  EXPECT_EQ(openCount(), 0);
}

TEST_F(FileTest, HooksReplaceOpenAndClose) {
  ZutSetFileOpenFunc([](const char *name, const char *mode) {
    return ZutFOpen((std::string("hooked ") + name).c_str(), mode);
  });
  ZutSetFileCloseFunc([](FILE *stream) -> int32_t { return std::fclose(stream) + 7; });
  EXPECT_EQ(ZutCloseFile(ZutOpenFile("x", "w+b")), 1);
  EXPECT_TRUE(fs::exists("hooked x") && !fs::exists("x"));
  EXPECT_NE(output.text().find("<x> failed with result 7"), std::string::npos);
  ZutSetFileOpenFunc(ZutFOpen);
  ZutSetFileCloseFunc([](FILE *stream) -> int32_t { return std::fclose(stream); });
}

TEST_F(FileTest, LongAndAwkwardNamesGetAHashedBase) {
  const auto base = [](const std::string &name, int32_t create) {
    char *out = nullptr;
    const bool built = ZutBuildBaseName(".", name.c_str(), &out, create);
    const std::string text = built ? out : "error " + std::to_string(ZutErrNumGet());
    ZutFree(out);
    return text;
  };
  const std::string plain(255, 'p'), tail(3000, 'x');
  EXPECT_EQ(base(plain, 1), plain);
  const std::string hashed = base("Huge" + tail, 0);
  EXPECT_EQ(hashed.size(), 8u);
  EXPECT_TRUE(fs::is_empty("."));
  for (int i = 0; i < 2; ++i) EXPECT_EQ(base("Huge" + tail, 1), hashed);
  EXPECT_EQ(readFile(hashed + ".nam"), "huge" + tail + "\n");
  // Names of one hash: '/' * 27 * 27 + 'a' * 27 + '}' is '/' * 27 * 27 + 'b' * 27 + 'b'.
  EXPECT_EQ(base("/a}", 1), "0000908f");
  const std::string second = base("/bb", 1);
  EXPECT_NE(second, "0000908f");
  EXPECT_EQ(base("/A}", 0) + base("/BB", 0), "0000908f" + second);
  writeFile("0000908f.nam", "/a}x\n"); // begins like ours
  EXPECT_NE(base("/a}", 0), "0000908f");
  writeFile("00000000.nam", "another\n");
  EXPECT_EQ(base("/qwygxdeb", 0), "error 24"); // each try leads to the same hash
  writeFile("0000908f.nam", "");
  EXPECT_EQ(base("/a}", 0), "error 24");
  char *out = nullptr;
  EXPECT_ERROR(1, ZutBuildBaseName("no such directory", "a/b", &out, 1));
  EXPECT_EQ(out, nullptr);
  ZutPutenv("VN_MAX_BASE_NAME=3");
  EXPECT_EQ(base("four", 0).size(), 8u);
}

TEST_F(FileTest, CatAndExamineGoToTheOutput) {
  writeFile("text", "100%\n%s\n");
  setEditor("no-such-editor");
  EXPECT_ERROR(8, ZutEditFile("text", 1));
  setEditor(separator == "/" ? "false" : "cmd /c exit 1");
  EXPECT_EQ(ZutEditFile("text", 1), 1);
  setEditor("_cat");
  FILE *shared = ZutOpenFile("text", "r+b");
  EXPECT_EQ(ZutEditFile("text", 1), 1);
  EXPECT_EQ(output.take(), "100%\n%s\n");
  EXPECT_EQ(std::getc(shared), '1'); // goes on where it was
  EXPECT_EQ(ZutCatFile("missing"), 0);
  EXPECT_NE(output.take().find("<missing>"), std::string::npos);
  EXPECT_EQ(ZutFileExamine(), 1);
  const std::string table = output.take();
  EXPECT_EQ(table.find("     Open Files\n\nFile Name: <text>\nFile Mode: <r+b>\nFile Ptr:  <"), 0u);
  EXPECT_NE(table.find("Ref Count: <1>\n\nFile Name: <files.dmp>"), std::string::npos);
  ZutCloseFile(shared);
}

TEST_F(FileTest, EditorsGetQuotedNames) {
  setEditor("echo >out");
  for (const std::string name : {"plain.txt", "a b&echo broken out;echo $HOME", "-o"}) {
    ZutEditFile(name.c_str(), 1);
    const std::string words = readFile("out");
    EXPECT_EQ(std::count(words.begin(), words.end(), '\n'), 1) << words;
    EXPECT_NE(words.find(name == "-o" ? "." + separator + name : name), std::string::npos) << words;
  }
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
    EXPECT_TRUE(ZutCloseFile(stream) == 1 && openCount() == 0);
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
  const auto use = [] { EXPECT_EQ(runChild("threads").out, "0 failed, 0 open\n"); };
  for (int i = 0; i < 4; ++i) users.emplace_back(use);
  for (std::thread &user : users) user.join();
  EXPECT_EQ(std::distance(fs::directory_iterator("."), {}), 151);
  if (separator == "/") { // Wine looks for the end of a file and writes in two steps
    EXPECT_EQ(readFile("log").size(), 4 * 600 * std::strlen("line\n"));
  }
}
CHILD(threads) {
  const std::string shared = fs::current_path().string();
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
