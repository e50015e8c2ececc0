#include "support/child.h"
#include "support/errors.h"

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <regex>
#include <set>
#include <sstream>
#include <thread>
#include <unistd.h>

#ifdef _WIN32
constexpr int RLIMIT_NOFILE = 0;
void limit(int, int) {} // the runtime has one of its own
#else
#  include <sys/resource.h>
void limit(int what, rlim_t soft) {
  rlimit both;
  getrlimit(what, &both);
  both.rlim_cur = std::min(soft, both.rlim_max);
  setrlimit(what, &both);
}
#endif

namespace fs = std::filesystem;

namespace {

using Trace = struct ZutTrace *;

// In a directory of its own, with a frozen wall clock and times as plain seconds.
class TraceTest : public testing::Test {
protected:
  TraceTest() {
    const ZutTimePair time = {86400, 0};
    ZutSetTestWallTimeStruct(&time);
    ZutTimeCvtSetCurrent(ZutTimeCvtLookup("numeric"));
  }
  ~TraceTest() override {
    if (trace) ZutTraceDestroy(&trace);
    rotateAt(0.0);
  }
  void create(const char *file, uint32_t flags = Z_TRACE_FLAG_PREFIX,
              const char *prefix = nullptr) {
    if (trace) ZutTraceDestroy(&trace);
    trace = ZutTraceCreate("test", file, flags, prefix);
  }
  static void rotateAt(double size) { ZutOptionSetNum(ZutOptionLookup("trace_file_size"), size); }

  TempDir directory;
  Trace trace = nullptr;
};

} // namespace

TEST_F(TraceTest, LevelsAndTags) {
  const std::string tags[] = {"UNKNOWN",  "UNKNOWN",  "ALWAYS", "never", "ERROR",
                              "WARNING",  "INFO",     "INFO1",  "INFO2", "VERBOSE",
                              "VERBOSE1", "VERBOSE2", "DEBUG"};
  for (int32_t admitted = -2; admitted <= 9; ++admitted) {
    create("levels", Z_TRACE_FLAG_LEVEL);
    ZutTraceLevelSet(trace, admitted);
    std::string expected;
    for (int32_t level = -3; level <= 9; ++level) {
      if (level && level <= admitted) expected += tags[level + 3] + ": x\n";
      ZutTrace(trace, level, "x\n");
    }
    EXPECT_EQ(readFile("levels"), expected) << admitted;
  }
  for (int32_t level : {-3, 10}) EXPECT_ERROR(7, ZutTraceLevelSet(trace, level));
  const char *word = nullptr;
  int32_t level = 0;
  for (int32_t each = 0; each <= 9; ++each) {
    EXPECT_TRUE(ZutTraceLevelValToStr(each, &word) && ZutTraceLevelStrToVal(word, &level));
    EXPECT_EQ(level, each);
  }
  for (int32_t each : {-1, 10}) EXPECT_ERROR(7, ZutTraceLevelValToStr(each, &word));
  EXPECT_TRUE(ZutTraceLevelStrToVal("NONE", &level) && level == 0);
  EXPECT_EQ(ZutTraceLevelStrToVal("loud", &level), 0);
}

TEST_F(TraceTest, LineParts) {
  create("line", 7, "x");
  ZutTraceLevelSet(trace, 9);
  ZutTrace(trace, 4, "%s %d\n", "text", 1);
  EXPECT_EQ(readFile("line"), "86400: {x} INFO1: text 1\n");

  const std::string text(5000, 't');
  for (const size_t length : {96, 130, 500}) {
    const std::string part(length, 'p');
    ZutTracePrefixSet(trace, part.c_str());
    ZutTraceFileSet(trace, "long");
    ZutTrace(trace, 4, "%s\n", text.c_str());
    EXPECT_EQ(readFile("long"), "86400: {" + part + "} INFO1: " + text + "\n");
    ZutTraceFileSet(trace, nullptr);
  }
  ZutTrace(trace, 4, "to nowhere\n");
  ZutTracePrefixSet(trace, "");
  ZutTraceFlagClear(trace, Z_TRACE_FLAG_LEVEL | Z_TRACE_FLAG_TIMESTAMP);
  ZutTraceFileSet(trace, "bare");
  ZutErrNumSet(9);
  ZutTrace(trace, 1, "bare");
  EXPECT_EQ(readFile("bare"), "bare");
  EXPECT_EQ(ZutErrNumGet(), 9);
}

TEST_F(TraceTest, FileNames) {
  writeFile("log", "before\n");
  create("@log");
  ZutTrace(trace, 1, "after\n");
  EXPECT_EQ(readFile("log"), "before\nafter\n");
  create("log");
  ZutTrace(trace, 1, "anew\n");
  EXPECT_EQ(readFile("log"), "anew\n");
  EXPECT_EQ(readFile("log~"), "before\nafter\n");
}

CHILD(unopenable) {
  Trace trace = ZutTraceCreate("t", "no/such/directory", Z_TRACE_FLAG_PREFIX, nullptr);
  ZutTraceFileSet(trace, "no/such/either");
  ZutTrace(trace, 1, "text\n");
  ZutTraceRelease(&trace);
  trace = ZutTraceCreateWithCatalog("t", "stderr", Z_TRACE_FLAG_PREFIX, nullptr);
  ZutTraceCat(trace, 1, 5065, "x"); // before any message of the library
}

TEST_F(TraceTest, AFileThatCannotBeOpenedBecomesStandardOutput) {
  const Result result = runChild("unopenable");
  EXPECT_EQ(result.out, "WARNING: Unable to open trace file <no/such/directory> switching to "
                        "stdout.\ntext\n");
  EXPECT_EQ(result.err, "ORL-WL-05065-I Unknown command <x>.\n");
}

TEST_F(TraceTest, RotatesBeforeTheLineThatFindsItFull) {
  rotateAt(10.0);
  create("log");
  Trace other = ZutTraceCreate("other", "log", Z_TRACE_FLAG_PREFIX, nullptr); // the same stream
  for (int i = 0; i < 6; ++i) ZutTrace(i % 3 ? trace : other, 1, "line %d\n", i);
  EXPECT_EQ(readFile("log~"), "line 2\nline 3\n");
  EXPECT_EQ(readFile("log"), "line 4\nline 5\n");
  ZutTraceDestroy(&other);
  // No option, no limit; and one that is made anew counts.
  ZutOptionDestroy(ZutOptionLookup("trace_file_size"));
  ZutTrace(trace, 1, "line 6\n");
  EXPECT_EQ(readFile("log"), "line 4\nline 5\nline 6\n");
  ZutOptionCreate("trace_file_size", Z_OPTION_NUM);
  rotateAt(10.0);
  ZutTrace(trace, 1, "line 7\n");
  EXPECT_EQ(readFile("log"), "line 7\n");
}

// Usual formats are printed by the library itself, all others by the C library.
TEST_F(TraceTest, PrintsAsPrintfDoes) {
  create("log");
  std::string expected;
  const auto print = [&](const char *format, auto... arguments) {
    std::string text(5000, 0);
    text.resize(static_cast<size_t>(std::snprintf(text.data(), text.size(), format, arguments...)));
    expected += text;
    ZutTrace(trace, 1, format, arguments...);
  };
  const std::string full(1023, 'x'); // a line's room, and one more below
  print("%s%s %% %c%c|", "", "a%d", 'c', 0);
  print("%d %d %d %u|", 0, INT32_MIN, INT32_MAX, UINT32_MAX);
  print("%ld %ld %lu\n", LONG_MIN, LONG_MAX, ULONG_MAX);
  print("%s %5d %-5d| %+ld %05d %.2s\n", "a", 1, 2, 3L, 4, "bcd");
  print("%d %x %lx %f %g %lld %hd%%\n", 5, 255, 255L, 0.5, 1e9, 7LL, 8);
  print("%s", full.c_str());
  print("%sy%d", full.c_str(), 12);
  print("%d\n%s", 12, (full + full).c_str());
  EXPECT_EQ(readFile("log"), expected);
}

TEST_F(TraceTest, WithoutBackupNothingIsLost) {
  Capture output;
  rotateAt(6.0);
  const auto fill = [&] {
    create("log");
    for (int i = 0; i < 6; ++i) ZutTrace(trace, 1, "%d234\n", i);
    return readFile("log");
  };
  fs::create_directories("log~/full");
  EXPECT_EQ(fill(), "0234\n1234\n2234\n3234\n4234\n5234\n");
  EXPECT_EQ(output.text(), "ORL-WL-05097-W The file <log> could not be backed up.\n");
  fs::remove_all("log~");
  ZutTrace(trace, 1, "after\n");
  EXPECT_EQ(readFile("log"), "after\n") << "tried again";
  EXPECT_EQ(readFile("log~").size(), 30u);

  ZutOption *ending = ZutOptionLookup("backup_name");
  ZutOptionSetUnknown(ending);
  fs::remove("log~");
  EXPECT_EQ(fill(), "0234\n1234\n2234\n3234\n4234\n5234\n");
  ZutOptionSetStr(ending, "~");

  // Nor without a new file.
  ZutTrace(trace, 1, "last\n");
  output.take();
  limit(RLIMIT_NOFILE, 3);
  std::vector<int> descriptors = {dup(1)};
  while (descriptors.back() >= 0) descriptors.push_back(dup(1));
  for (int i = 0; i < 5; ++i) ZutTrace(trace, 1, "%d out\n", i);
  limit(RLIMIT_NOFILE, 64);
  for (int each : descriptors) close(each);
  EXPECT_EQ(readFile("log~"), "last\n0 out\n1 out\n2 out\n3 out\n4 out\n");
  EXPECT_EQ(output.take(), "ORL-WL-05420-W The trace file <log> was backed up, but cannot be begun "
                           "anew; its backup is written on.\n");
  ZutTrace(trace, 1, "anew\n");
  EXPECT_EQ(readFile("log"), "anew\n");
}

#ifndef _WIN32
TEST_F(TraceTest, ReportsWhatAFullDiskLost) {
  Capture output;
  std::signal(SIGXFSZ, SIG_IGN);
  create("log");
  Trace other = ZutTraceCreate("other", "log", Z_TRACE_FLAG_PREFIX, nullptr);
  limit(RLIMIT_FSIZE, 12);
  for (const char *line : {"complete\n", "cut off\n", "lost\n"}) ZutTrace(trace, 1, "%s", line);
  limit(RLIMIT_FSIZE, RLIM_INFINITY);
  ZutTrace(other, 1, "of another object\n");
  ZutTrace(trace, 1, "whole\n");
  EXPECT_EQ(readFile("log"),
            "complete\ncut\nof another object\n*** Lost here, as the file could not "
            "be written: 2 messages, 10 bytes\nwhole\n");
  limit(RLIMIT_FSIZE, 0);
  ZutTrace(trace, 1, "gone\n");
  limit(RLIMIT_FSIZE, RLIM_INFINITY);
  ZutTraceDestroy(&other);
  ZutTraceDestroy(&trace);
  EXPECT_EQ(output.take(),
            "ORL-WL-05421-W Trace object <test> loses messages: <log> cannot be "
            "written.\nORL-WL-05422-W Trace object <test> ends; its last 1 messages, 5 "
            "bytes, were lost.\n");
}
#endif

TEST_F(TraceTest, RotatingFromFourThreadsLosesNoLine) {
  ZutInitThreads();
  rotateAt(5000.0);
  create("log", 7);
  // A line is stamped before it is written, so each rotation finds another name for its backup.
  const auto stamp = [](double, const char **text) -> int32_t {
    static int count = 0;
    ZutOptionSetStr(ZutOptionLookup("backup_name"), ("." + std::to_string(++count)).c_str());
    *text = "t";
    return 1;
  };
  ZutTimeCvtSetCurrent(ZutTimeCvtCreate("naming", stamp, nullptr, nullptr));
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([=, this] {
      for (int k = 0; k < 1000; ++k) ZutTrace(trace, 1, "thread %d line %d.....\n", i, k);
    });
  }
  for (int i = 0; i < 200; ++i) { // settings may change at the same time
    ZutTraceLevelSet(trace, 1 + i % 9);
    ZutTraceFlagSet(trace, 8u);
    ZutTracePrefixSet(trace, i % 2 ? "" : "p");
    Trace other = ZutTraceCreate("o", "log", 0, nullptr); // the same file
    ZutTraceDestroy(&other);
  }
  for (std::thread &thread : threads) thread.join();
  ZutTraceDestroy(&trace);
  ZutOptionSetStr(ZutOptionLookup("backup_name"), "~");

  const std::regex whole(R"(t: (\{p\} )?ERROR: (thread \d line \d+)\.{5})");
  std::set<std::string> lines;
  int files = 0, count = 0;
  for (const fs::directory_entry &file : fs::directory_iterator(".")) {
    ++files;
    std::istringstream stream(readFile(file.path()));
    for (std::string line; std::getline(stream, line); ++count) {
      std::smatch parts;
      EXPECT_TRUE(std::regex_match(line, parts, whole)) << line;
      lines.insert(parts[2]);
    }
  }
  EXPECT_GT(files, 20);
  EXPECT_EQ(count, 4000);
  EXPECT_EQ(lines.size(), 4000u) << "no line twice";
}

// Objects without flags of their own follow the option, and so does the default object.
TEST_F(TraceTest, FollowsTheSharedOptions) {
  ZutOutInit(); // sets the time stamp of the default object, whatever the option said before
  create("none", 0);
  Trace with = ZutTraceCreate("with", "some", Z_TRACE_FLAG_TIMESTAMP, nullptr);
  ZutCommandParseStr("setopt trace_flags level; setopt trace_file X");
  for (Trace each : {trace, with}) ZutTrace(each, 1, "text\n");
  ZutOutStr(1, "first\n");
  fs::rename("X", "X.1"); // as an outside rotator does
  ZutCommandParseStr("setopt trace_file stdout; setopt trace_file @X; setopt trace_level error");
  for (int32_t level : {1, 2}) ZutOutStr(level, "second\n");
  ZutCommandParseStr(
      "setopt trace_file stdout; setopt trace_level info; setopt trace_flags prefix");
  EXPECT_EQ(readFile("none"), "ERROR: text\n");
  EXPECT_EQ(readFile("some"), "86400: text\n");
  EXPECT_EQ(readFile("X.1"), "ERROR: first\n");
  EXPECT_EQ(readFile("X"), "ERROR: second\n");
  ZutTraceDestroy(&with);
}

TEST_F(TraceTest, OwnOptions) {
  create("own");
  ZutOption *level = ZutTraceLevelDefaultOptionCreate(trace);
  ASSERT_NE(level, nullptr);
  EXPECT_STREQ(ZutOptionGetName(level), "trace_level_test");
  EXPECT_EQ(ZutOptionSetEnum(level, "always"), 0);
  EXPECT_EQ(ZutOptionSetEnum(level, "verbose"), 1);
  ZutOption *file = ZutTraceFileDefaultOptionCreate(trace);
  ZutOptionSetStr(file, "second");
  ZutTraceFlagsDefaultOptionCreate(trace);
  ZutCommandParseStr("setopt trace_flags_test level");
  for (int32_t each : {6, 7}) ZutTrace(trace, each, "untagged\n");
  EXPECT_EQ(readFile("second"), "untagged\n");
  for (int32_t there : {1, 0}) EXPECT_EQ(ZutTraceLevelDefaultOptionDestroy(trace), there);
  EXPECT_EQ(ZutTraceFlagsDefaultOptionDestroy(trace), 1);
  ZutTraceDestroy(&trace);
  ZutOptionSetStr(file, "third"); // is bound
  EXPECT_FALSE(fs::exists("third"));
  ZutOptionDestroy(file);
}

TEST_F(TraceTest, CatalogMessages) {
  writeFile("t.cat", "ORL-WL-07000-V verbose %d\nORL-WL-07001-N never\nORL-WL-07002-I %s%n\n"
                     "ABC-APP-05065-I a number of the library's too: %d\n");
  create("log");
  EXPECT_EQ(ZutTraceCat(trace, 1, 7000, 1), 0) << "no catalog";
  ZutCatalog *catalog = ZutCatCreate("t.cat");
  ZutTraceCatalogBind(catalog, trace);
  ZutCatRelease(catalog);
  for (int32_t level : {5, 6}) {
    ZutTraceLevelSet(trace, level);
    ZutTraceCat(trace, Z_TRACE_LEVEL_DEFAULT, 7000, level);
    ZutTraceCat(trace, Z_TRACE_LEVEL_DEFAULT, 7001);
  }
  ZutTraceCat(trace, 1, 7002, "x", "y");
  ZutTraceCat(trace, 1, 5065, 42);
  EXPECT_EQ(readFile("log"), "verbose 6\n%s%n\na number of the library's too: 42\n");
}
