#include "support/child.h"
#include "support/errors.h"

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace fs = std::filesystem;

namespace {

const std::string separator(1, static_cast<char>(fs::path::preferred_separator));

class PathTest : public testing::Test {
protected:
  void SetUp() override {
    for (const char *name : {"one", "two"}) fs::create_directory(name);
  }
  void TearDown() override { ZutPathDestroy(path); }

  std::string found(const char *name) {
    char out[300] = "unchanged";
    const char *result = ZutPathFindFile(path, name, out);
    const char *own = ZutPathFindFile(path, name, nullptr);
    EXPECT_STREQ(result, own);
    return out;
  }

  TempDir directory;
  ZutPath *path = ZutPathCreate();
};

} // namespace

TEST_F(PathTest, TheFirstExistingFileIsFound) {
  for (const char *name : {"one", static_cast<const char *>(nullptr), "two/"}) {
    ZutPathAddDir(path, name);
  }
  writeFile("two/late", "");
  EXPECT_EQ(found("late"), "two/late");
  EXPECT_EQ(found("LATE"), "two/late"); // in lower case
  writeFile("one/late", "");
  EXPECT_EQ(found("late"), "one" + separator + "late");
  EXPECT_EQ(found("missing"), "");
  EXPECT_ERROR(8, ZutPathFindFile(path, "missing", nullptr));
  writeFile("two/Upper", "");
  EXPECT_EQ(ZutStrCmpi(found("Upper").c_str(), "two/upper"), 0) << found("Upper");
  EXPECT_STREQ(ZutPathFindFile(nullptr, "ONE", nullptr), "one");
}

TEST_F(PathTest, DirectoriesAreListedAndDeletedIgnoringCase) {
  for (const char *name : {"a", "b", "A", "c"}) ZutPathAddDir(path, name);
  EXPECT_EQ(ZutPathDeleteDir(path, "A"), 1); // the first that equals it
  EXPECT_EQ(ZutPathDeleteDir(path, "c"), 1);
  EXPECT_ERROR(8, ZutPathDeleteDir(path, "x"));
  ZutPathAddDir(path, "d"); // the end of the queue is right after the deletion
  std::string names;
  const auto visit = [](const char *name, ZutWord argument) {
    *reinterpret_cast<std::string *>(argument) += name;
    return name[0] == 'd' ? 5 : 0;
  };
  EXPECT_EQ(ZutPathForEachDir(path, visit, reinterpret_cast<ZutWord>(&names)), 5);
  EXPECT_EQ(names, "bAd");
}

TEST(Path, NamesAreTakenApart) {
  const char *const rows[][4] = {
      {"a/b/c.txt", "a|b", "c", ".txt"},
      {"a\\b/c.tar.gz", "a|b", "c.tar", ".gz"},
      {"c", "", "c", ""},
      {"a.b/c", "a.b", "c", ""},
      {"/c.x", "", "c", ".x"},
      {"a/c.", "a", "c", "."},
      {"a/na\xc3\xafve.x", "a", "na\xc3\xafve", ".x"},
  };
  char *parts[3];
  for (const auto &[whole, directory, base, extension] : rows) {
    ASSERT_EQ(ZutFileExplodeName(whole, &parts[0], &parts[1], &parts[2]), 1) << whole;
    std::string expected = directory;
    std::replace(expected.begin(), expected.end(), '|', separator[0]);
    EXPECT_EQ(parts[0], expected);
    EXPECT_STREQ(parts[1], base);
    EXPECT_STREQ(parts[2], extension);
    for (char *part : parts) ZutFree(part);
  }
  for (const char *wrong : {"a/", "a\\", "", "a/.x", "a/b\n.x"}) {
    EXPECT_ERROR(7, ZutFileExplodeName(wrong, &parts[0], &parts[1], &parts[2])) << wrong;
  }
  char name[20] = "a\\b/c.d";
  EXPECT_STREQ(ZutGetFileName(name, nullptr), "c.d");
  EXPECT_STREQ(ZutGetFileName(name, name), "c.d");
  // In code page 932 the second byte of a character may look like a separator.
  const bool twoBytes = ZutGetCharFormatSystemDefault() == 932;
  EXPECT_STREQ(ZutGetFileName("a/\x95\\c", nullptr), twoBytes ? "\x95\\c" : "c");
  char out[20];
  EXPECT_STREQ(ZutBuildFileName(out, "\x95\\", "c", ""), twoBytes ? "\x95\\\\c" : "\x95\\c");
}

TEST_F(PathTest, DirectoriesAreRead) {
  writeFile("file", "12345");
  std::vector<std::string> entries;
  ZutDir *handle = ZutOpenDir(".");
  ZutDirEntry entry;
  while (ZutReadDir(handle, &entry)) entries.push_back(entry.name + std::to_string(entry.kind));
  EXPECT_ERROR(18, ZutReadDir(handle, &entry));
  EXPECT_EQ(ZutCloseDir(handle), 1);
  std::sort(entries.begin(), entries.end());
  EXPECT_EQ(entries, (std::vector<std::string>{"..1", ".1", "file2", "one1", "two1"}));
  handle = ZutOpenDir("missing");
  for (int i = 0; i < 2; ++i) {
    EXPECT_ERROR(1, ZutReadDir(handle, &entry));
    EXPECT_EQ(ZutErrNumGetC(), ENOENT);
  }
  EXPECT_EQ(ZutCloseDir(handle), 1);
}

TEST_F(PathTest, DirectoriesAreMadeChangedAndRemoved) {
  EXPECT_EQ(ZutMkdir("new"), 1);
  EXPECT_ERROR(6, ZutMkdir("new"));
  EXPECT_ERROR(1, ZutMkdir("no/such"));
  EXPECT_EQ(ZutChdir("new"), 1);
  writeFile("inside", "");
  EXPECT_EQ(ZutChdir(".."), 1);
  EXPECT_ERROR(8, ZutChdir("missing"));
  EXPECT_ERROR(517, ZutRmdir("new"));
  EXPECT_EQ(ZutDeleteFile("new/inside"), 0);
  EXPECT_EQ(ZutRmdir("new"), 1);
  EXPECT_ERROR(8, ZutRmdir("new"));
}

TEST_F(PathTest, SizesTimesAndTheTemporaryDirectory) {
  writeFile("file", "12345");
  int32_t size = 0;
  EXPECT_EQ(ZutFileGetSize("file", &size), 1);
  EXPECT_EQ(size, 5);
  std::error_code failed;
  fs::resize_file("file", 3000000000u, failed);
  if (!failed) {
    EXPECT_ERROR(5, ZutFileGetSize("file", &size));
  }
  double accessed = 0, modified = 0, changed = 0;
  EXPECT_EQ(ZutFileGetAccessTimes("file", &accessed, &modified, nullptr), 1);
  EXPECT_EQ(ZutFileGetAccessTimes("file", nullptr, nullptr, &changed), 1);
  for (const double time : {accessed, modified, changed}) {
    EXPECT_NEAR(time, static_cast<double>(std::time(nullptr)), 10);
  }
  char out[300];
  EXPECT_EQ(ZutGetTmpFilePath(out), 1);
  EXPECT_EQ(out, "." + separator);
}
