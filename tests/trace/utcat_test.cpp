#include "support/child.h"

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
                 "x--y-15-dz shifted\nORL-WL-16-I no line end"),
            "");
  EXPECT_EQ(show(12), "Disk full\n");
  EXPECT_EQ(show(13), "two words \n");
  EXPECT_EQ(show(14), "");
  EXPECT_EQ(show(15), "z shifted\n") << "reckoned with one delimiter each";
  EXPECT_EQ(show(16), "no line end");
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
  const struct {
    const char *line, *message;
  } rows[] = {
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
  EXPECT_EQ(load("ORL-WL-1-I one\r\n\r\nORL-WL-2-I two\r\n"), "");
  EXPECT_EQ(show(1) + show(2), "one\ntwo\n");

  const std::string nul("ORL-WL-1-I a\0b\nORL-WL-2-I c\n\0\n", 30);
  EXPECT_EQ(load(nul), "ORL-WL-00000-W Corrupt catalog test.cat: ");
  EXPECT_EQ(show(1) + show(2), "ac\n");

  const std::string head = "ORL-WL-1-I ";
  EXPECT_EQ(load(head + std::string(2000, 'x') + "\n").find("ORL-WL-00000-W Corrupt"), 0u);
  EXPECT_EQ(show(1), std::string(1023 - head.size(), 'x'));

  load("ORL-WL-99999999999-I big\nORL-WL-3-I first\nORL-WL-3-I second\n");
  EXPECT_EQ(show(INT32_MAX), "big\n");
  EXPECT_EQ(show(3), "first\n");

  std::string noise;
  for (uint32_t i = 0, r = 1; i < 200000; ++i)
    noise += static_cast<char>((r = r * 1664525 + 7) >> 24);
  load(noise);
  for (const char *name : {".", "missing.cat", "", "*?"}) {
    ZutCatFilenameSet(catalog.handle, name);
    EXPECT_EQ(show(1), "-");
    EXPECT_EQ(ZutErrNumGet(), 3) << name;
  }
  ZutCatFilenameSet(catalog.handle, std::string(256, 'n').c_str());
  const char *name = nullptr;
  EXPECT_EQ(ZutCatFilenameGet(catalog.handle, &name), 0);
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

  // Those that go without unbinding are not followed into freed memory, whoever has it then.
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
    EXPECT_EQ(ZutCatFilenameGet(each, &name), 0) << "nobody bound this one";
    ZutCatDestroy(each);
  }
  ZutOptionDestroy(file);
  ZutOptionDestroy(flags);
}

TEST_F(CatalogTest, TextsMeetTheirArguments) {
  ZutOutInit();
  ZutOption *option = ZutOptionLookup("catalog_file");
  const char *shipped = nullptr;
  ZutOptionGetStr(option, &shipped);
  const std::string before = shipped;
  // 5065 is the library's own, with one text; 7000 and the rest are the program's.
  writeFile("wrong.cat", "ORL-WL-05065-I %n %s%s\nORL-WL-05056-I %-9s|\nORL-WL-07000-I %d %5.1f\n"
                         "ORL-WL-05400-I %s\n"
                         "ORL-WL-07001-I %n\nORL-WL-07002-I %*d\nORL-WL-07003-I %999d\n"
                         "ORL-WL-07004-I 100%\nORL-WL-07005-E 100%% %c\nORL-WL-05064-I 100%");
  for (const char *line : {"setopt catalog_file wrong.cat", "nosuchcommand", "unalias nosuch"}) {
    ZutCommandParseStr(line);
  }
  const std::string reports = output.take();
  EXPECT_NE(reports.find("ORL-WL-05065-I %n %s%s <nosuchcommand>\n"), std::string::npos) << reports;
  EXPECT_NE(reports.find("ORL-WL-05056-I nosuch   |\n"), std::string::npos) << reports;
  ZutCommandParseStr("_debug_on 4711");
  EXPECT_NE(output.take().find("ORL-WL-05400-I %s <4711> <255>\n"), std::string::npos);
  ZutOutCat(1, 5064, "end"); // the program's call, whose arguments are its own
  EXPECT_EQ(output.take(), "ORL-WL-05064-I 100%");
  ZutOutCat(1, 7000, 5, 2.25);
  for (int32_t number = 7001; number <= 7004; ++number) ZutOutCat(1, number, 1, 2);
  ZutOutCat(Z_TRACE_LEVEL_DEFAULT, 7005, 'c');
  EXPECT_EQ(output.take(), "ORL-WL-07000-I 5   2.2\nORL-WL-07001-I %n\nORL-WL-07002-I %*d\n"
                           "ORL-WL-07003-I %999d\nORL-WL-07004-I 100%\nORL-WL-07005-E 100% c\n");
  ZutOptionSetStr(option, before.c_str());
}

// The shared layer's own exit on failure, and everybody else's.
CHILD(missing) {
  ZutInitThreads();
  ZutCatalog *catalog = ZutCatCreate("missing.cat");
  ZutCatFilenameSet(catalog, "missing2.cat");
  ZutCommandParseStr("setopt catalog_file missing3.cat");
  std::thread([] { ZutOut("others run\n"); }).join();
  if (ZutCatFileCreate("missing4.cat")) std::_Exit(2);
  std::atomic<bool> entered{false};
  std::thread other([&] {
    ZutProcessMutexLock();
    entered = true;
    ZutProcessMutexUnlock();
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  if (entered) std::_Exit(3);
  ZutProcessMutexUnlock();
  other.join();
  ZutOut("held\n");
}

TEST(CatalogFile, FailsWithTheMutexHeld) {
  const Result result = runChild("missing", {{"VNHOME", "nowhere"}});
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_EQ(result.out, "others run\nheld\n");
}

CHILD(repoint) {
  ZutInitThreads();
  const TempDir directory;
  writeFile("a.cat", "ORL-WL-1-I text\n");
  writeFile("b.cat", "ORL-WL-1-I text\n");
  const Catalog catalog("a.cat");
  std::atomic<bool> stop{false};
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&] {
      ZutCatMsgKey *key = nullptr;
      while (!stop) {
        if (!ZutCatLookup(catalog.handle, 1, &key)) std::_Exit(2);
      }
    });
  }
  ZutOptionSetStr(ZutOptionCreate("cat_test_file", Z_OPTION_STR), "b.cat");
  readers.emplace_back([&] {
    while (!stop) {
      const Catalog own("a.cat");
      ZutCatFilenameOptionBind(own.handle, "cat_test_file");
      ZutCatFilenameOptionUnbind(own.handle, "cat_test_file");
    }
  });
  for (int i = 0; i < 300; ++i) ZutCatFilenameSet(catalog.handle, i % 2 ? "a.cat" : "b.cat");
  stop = true;
  for (std::thread &reader : readers) reader.join();
}

TEST(CatalogFile, LookUpsSurviveAChangeOfFile) {
  const Result result = runChild("repoint");
  EXPECT_EQ(result.code, 0) << result.out << result.err;
}
