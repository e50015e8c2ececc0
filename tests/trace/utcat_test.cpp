#include "support/child.h"
#include "support/errors.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <thread>

namespace fs = std::filesystem;

namespace {

// The text of a message as the catalog shows it; "-" when there is none.
std::string show(ZutCatalog *catalog, int32_t number) {
  const char *text = nullptr;
  return ZutCatGetStr(catalog, number, &text) ? text : "-";
}

struct Catalog {
  explicit Catalog(const char *file) : handle(ZutCatCreate(file)) {}
  ~Catalog() { ZutCatDestroy(handle); }
  ZutCatalog *handle;
};

class CatalogTest : public testing::Test {
protected:
  // A catalog of these bytes, and what reading them printed.
  std::string load(const std::string &bytes) {
    writeFile("test.cat", bytes);
    ZutCatFilenameSet(catalog.handle, "test.cat");
    return output.take();
  }
  std::string show(int32_t number) { return ::show(catalog.handle, number); }

  TempDir directory;
  Capture output;
  Catalog catalog{nullptr};
};

} // namespace

TEST_F(CatalogTest, Lines) {
  EXPECT_EQ(load("# comment\n\nORL-WL-00012-E  Disk full\nA-B-13-v1 \t two words \nORL-WL-00014-E\n"
                 "x--y-15-dz shifted\nORL-WL-16-I return\r\n\r\nORL-WL-17-I no line end"),
            "");
  EXPECT_EQ(show(13) + show(14) + show(16) + show(17), "two words \nreturn\nno line end");
  EXPECT_EQ(show(15), "z shifted\n") << "computed with one delimiter each";
  ZutCatMsgKey *key = nullptr;
  ASSERT_EQ(ZutCatLookup(catalog.handle, 13, &key), 1);
  EXPECT_EQ(key->vendor + std::string(" ") + key->product + key->complete_id, "A BA-B-13-v1");
  EXPECT_EQ(key->severity, 5u);
  ZutCatFlagSet(catalog.handle, Z_CAT_FLAG_ID | 8u);
  EXPECT_EQ(show(12), "ORL-WL-00012-E  Disk full\n");
  ZutCatFlagClear(catalog.handle, Z_CAT_FLAG_ID);
  EXPECT_EQ(show(12), "Disk full\n");
}

TEST_F(CatalogTest, BadLinesAreReportedAndSkipped) {
  const std::pair<const char *, const char *> rows[] = {
      {"ORL-WL text\n", "Corrupt catalog"},
      {"---\n", "Corrupt catalog"},
      {" \n", "Corrupt catalog"},
      {"ORL-WL-00000-W text\n", "Invalid ID"},
      {"ORL-WL-x-W text\n", "Invalid ID"},
      {"ORL-WL- -12-E text\n", "Invalid ID"},
      {"ORL-WL-12-x text\n", "Invalid severity"},
  };
  for (const auto &[line, message] : rows) {
    EXPECT_EQ(load(std::string(line) + "ORL-WL-7-I good\n"),
              "ORL-WL-00000-W " + std::string(message) + " test.cat: " + line);
    EXPECT_EQ(show(7), "good\n") << line;
  }
}

TEST_F(CatalogTest, HostileFiles) {
  EXPECT_EQ(load(""), "");
  EXPECT_EQ(show(1), "-");
  EXPECT_EQ(output.take(), "ORL-WL-00000-W String lookup failed for message id 1\n");

  const std::string nul("ORL-WL-1-I a\0b\nORL-WL-2-I c\n\0\n", 30);
  EXPECT_EQ(load(nul), "ORL-WL-00000-W Corrupt catalog test.cat: ");
  EXPECT_EQ(show(1) + show(2), "ac\n");

  const std::string head = "ORL-WL-1-I ";
  EXPECT_EQ(load(head + std::string(2000, 'x') + "\n").find("ORL-WL-00000-W Corrupt"), 0u);
  EXPECT_EQ(show(1), std::string(1023 - head.size(), 'x'));

  load("ORL-WL-99999999999-I big\nORL-WL-3-I first\nORL-WL-3-I second\n");
  EXPECT_EQ(show(INT32_MAX) + show(3), "big\nfirst\n");

  std::string text;
  for (size_t i = 1; i <= 20000; ++i) { // more than is read at once
    text += "ORL-WL-" + std::to_string(i) + "-I " + std::string(i % 97 + 1, 'x') + "\n";
  }
  EXPECT_EQ(load(text), "");
  for (size_t i = 1; i <= 20000; ++i) ASSERT_EQ(show(static_cast<int32_t>(i)).size(), i % 97 + 2);

  uint32_t random = 1;
  for (char &c : text) c = static_cast<char>((random = random * 1664525 + 7) >> 24);
  load(text);
  for (const char *name : {".", "missing.cat", "", "*?"}) {
    ZutCatFilenameSet(catalog.handle, name);
    EXPECT_EQ(show(1), "-");
    EXPECT_EQ(ZutErrNumGet(), 3) << name;
  }
  ZutCatFilenameSet(catalog.handle, std::string(256, 'n').c_str());
  const char *name = nullptr;
  EXPECT_ERROR(3, ZutCatFilenameGet(catalog.handle, &name));
}

TEST_F(CatalogTest, FilesAreSharedByName) {
  load("ORL-WL-1-I old\n");
  writeFile("other.cat", "ORL-WL-1-I other\n");
  writeFile("test.cat", "ORL-WL-1-I new\n");
  const Catalog same("TEST.CAT");
  EXPECT_EQ(::show(same.handle, 1), "old\n") << "read once";
  ZutCatFilenameSet(catalog.handle, "other.cat");
  EXPECT_EQ(::show(same.handle, 1), "old\n") << "still held";
  ZutCatFilenameSet(same.handle, nullptr);
  EXPECT_EQ(::show(same.handle, 1), "old\n") << "given up, and left as it was";
  ZutCatFilenameSet(catalog.handle, "test.cat");
  EXPECT_EQ(show(1), "new\n") << "no holder, read again";

  writeFile("Test.cat", "ORL-WL-1-I capital\n");
  if (readFile("test.cat") == readFile("Test.cat")) return; // one file
  const Catalog capital("Test.cat");
  EXPECT_EQ(::show(capital.handle, 1), "capital\n") << "two files that differ in case";
}

TEST_F(CatalogTest, FollowsOptions) {
  writeFile("a.cat", "ORL-WL-1-I a\n");
  writeFile("b.cat", "ORL-WL-1-I b\n");
  ZutOption *file = ZutOptionCreate("cat_test_file", Z_OPTION_STR);
  ZutOption *flags = ZutOptionCreate("cat_test_flags", Z_OPTION_ENUM_LIST);
  EXPECT_EQ(ZutCatFilenameOptionBind(catalog.handle, "no_such_option"), 0);
  ZutOptionSetStr(file, "a.cat");
  EXPECT_EQ(ZutCatFilenameOptionBind(catalog.handle, "cat_test_file"), 1);
  EXPECT_EQ(ZutCatFlagsOptionBind(catalog.handle, "cat_test_flags"), 1);
  EXPECT_EQ(show(1), "a\n");
  ZutOptionSetStr(file, "b.cat");
  char word[] = "ID";
  const ZutStrList list = {nullptr, word};
  ZutOptionSetEnumList(flags, &list);
  EXPECT_EQ(show(1), "ORL-WL-1-I b\n");
  ZutOptionSetUnknown(flags);
  EXPECT_EQ(ZutCatFilenameOptionUnbind(catalog.handle, "cat_test_file"), 1);
  ZutOptionSetStr(file, "a.cat");
  EXPECT_EQ(show(1), "b\n");

  // A catalog that is destroyed without unbinding is not followed, whoever has its memory then.
  std::vector<ZutCatalog *> careless(40);
  for (ZutCatalog *&each : careless) {
    each = ZutCatCreate(nullptr);
    ZutCatFilenameOptionBind(each, "cat_test_file");
  }
  for (ZutCatalog *each : careless) ZutCatDestroy(each);
  for (ZutCatalog *&each : careless) each = ZutCatCreate(nullptr);
  ZutOptionSetStr(file, "b.cat");
  const char *name = nullptr;
  for (ZutCatalog *each : careless) {
    EXPECT_ERROR(3, ZutCatFilenameGet(each, &name)) << "bound by no call";
    ZutCatDestroy(each);
  }
  for (ZutOption *option : {file, flags}) ZutOptionDestroy(option);
}

TEST_F(CatalogTest, TextsMeetTheirArguments) {
  ZutOutInit();
  const char *shipped = nullptr;
  ZutOptionGetStr(ZutOptionLookup("catalog_file"), &shipped);
  const std::string before = shipped;
  // 5065 is the library's own, with one text; 7000 and the rest are the program's.
  writeFile("wrong.cat", "ORL-WL-05065-I %n %s%s\nORL-WL-05056-I %-9s|\nORL-WL-07000-I %d %5.1f\n"
                         "ORL-WL-05400-I %s\nORL-WL-07001-I %n\nORL-WL-07002-I %*d\n"
                         "ORL-WL-07003-I %999d\nORL-WL-07004-I 100%\nORL-WL-07005-E 100%% %c\n"
                         "ORL-WL-05064-I 100%");
  const std::pair<const char *, const char *> rows[] = {
      {"nosuchcommand", "ORL-WL-05065-I %n %s%s <nosuchcommand>\n"},
      {"unalias nosuch", "ORL-WL-05056-I nosuch   |\n"},
      {"_debug_on 4711", "ORL-WL-05400-I %s <4711> <255>\n"}};
  ZutCommandParseStr("setopt catalog_file wrong.cat");
  for (const auto &[command, report] : rows) {
    output.take();
    ZutCommandParseStr(command);
    EXPECT_NE(output.text().find(report), std::string::npos) << output.text();
  }
  output.take();
  ZutOutCat(1, 5064, "end"); // the program's call, whose arguments are its own
  EXPECT_EQ(output.take(), "ORL-WL-05064-I 100%");
  ZutOutCat(1, 7000, 5, 2.25);
  for (int32_t number = 7001; number <= 7004; ++number) ZutOutCat(1, number, 1, 2);
  ZutOutCat(Z_TRACE_LEVEL_DEFAULT, 7005, 'c');
  EXPECT_EQ(output.take(), "ORL-WL-07000-I 5   2.2\nORL-WL-07001-I %n\nORL-WL-07002-I %*d\n"
                           "ORL-WL-07003-I %999d\nORL-WL-07004-I 100%\nORL-WL-07005-E 100% c\n");
  ZutOptionSetStr(ZutOptionLookup("catalog_file"), before.c_str());
}

// Only the direct call leaves the process mutex held when it fails.
TEST_F(CatalogTest, AFileThatIsMissingIsRefusedWithTheMutexHeld) {
  ZutInitThreads();
  const Catalog missing("missing.cat");
  ZutCatFilenameSet(missing.handle, "missing2.cat");
  std::atomic<bool> entered{false};
  const auto enter = [&] {
    ZutProcessMutexLock();
    entered = true;
    ZutProcessMutexUnlock();
  };
  std::thread(enter).join();
  entered = false;
  EXPECT_EQ(ZutCatFileCreate("missing4.cat"), nullptr);
  std::thread other(enter);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(entered);
  EXPECT_EQ(ZutProcessMutexUnlock(), 1);
  other.join();
}

TEST_F(CatalogTest, LookUpsSurviveAChangeOfFile) {
  ZutInitThreads();
  for (const char *name : {"a.cat", "b.cat"}) writeFile(name, "ORL-WL-1-I text\n");
  ZutCatFilenameSet(catalog.handle, "a.cat");
  ZutOptionSetStr(ZutOptionCreate("cat_test_file", Z_OPTION_STR), "b.cat");
  std::atomic<bool> stop{false};
  std::atomic<int> missed{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      ZutCatMsgKey *key = nullptr;
      while (!stop) missed += !ZutCatLookup(catalog.handle, 1, &key);
    });
  }
  threads.emplace_back([&] {
    while (!stop) {
      const Catalog own("a.cat");
      ZutCatFilenameOptionBind(own.handle, "cat_test_file");
      ZutCatFilenameOptionUnbind(own.handle, "cat_test_file");
    }
  });
  for (int i = 0; i < 300; ++i) ZutCatFilenameSet(catalog.handle, i % 2 ? "a.cat" : "b.cat");
  stop = true;
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(missed, 0);
  ZutOptionDestroy(ZutOptionLookup("cat_test_file"));
}
