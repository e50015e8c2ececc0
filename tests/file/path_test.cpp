#include "support/child.h"

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace fs = std::filesystem;

namespace {

#ifdef _WIN32
const std::string separator = "\\";
#else
const std::string separator = "/";
#endif

class PathTest : public testing::Test {
protected:
  void SetUp() override {
    fs::create_directories("one");
    fs::create_directories("two");
  }
  void TearDown() override { ZutPathDestroy(path); }

  std::string found(const char *name) {
    char out[300] = "unchanged";
    const char *result = ZutPathFindFile(path, name, out);
    const char *own = ZutPathFindFile(path, name, nullptr);
    EXPECT_EQ(result ? std::string(result) : "", own ? own : "");
    return out;
  }

  TempDir directory;
  ZutPath *path = ZutPathCreate();
};

} // namespace

TEST_F(PathTest, TheFirstExistingFileIsFound) {
  ZutPathAddDir(path, "one");
  ZutPathAddDir(path, nullptr);
  ZutPathAddDir(path, "two/");
  writeFile("two/late", "");
  EXPECT_EQ(found("late"), "two/late");
  EXPECT_EQ(found("LATE"), "two/late"); // in lower case
  writeFile("one/late", "");
  EXPECT_EQ(found("late"), "one" + separator + "late");
  EXPECT_EQ(found("missing"), "");
  EXPECT_EQ(ZutErrNumGet(), 8);
  writeFile("two/Upper", "");
  EXPECT_TRUE(ZutStrCmpi(found("Upper").c_str(), "two/upper") == 0) << found("Upper");
  EXPECT_STREQ(ZutPathFindFile(nullptr, "ONE", nullptr), "one");
  EXPECT_EQ(ZutPathFindFile(path, nullptr, nullptr), nullptr);
}

TEST_F(PathTest, DirectoriesAreListedAndDeletedIgnoringCase) {
  for (const char *name : {"a", "b", "A", "c"}) ZutPathAddDir(path, name);
  EXPECT_EQ(ZutPathDeleteDir(path, "A"), 1); // the first that equals it
  EXPECT_EQ(ZutPathDeleteDir(path, "c"), 1);
  EXPECT_EQ(ZutPathDeleteDir(path, "x"), 0);
  EXPECT_EQ(ZutErrNumGet(), 8);
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
  const struct {
    const char *name, *directory, *base, *extension;
  } rows[] = {
      {"a/b/c.txt", "a|b", "c", ".txt"},
      {"a\\b/c.tar.gz", "a|b", "c.tar", ".gz"},
      {"c", "", "c", ""},
      {"a.b/c", "a.b", "c", ""},
      {"/c.x", "", "c", ".x"},
      {"a/c.", "a", "c", "."},
      {"a/na\xc3\xafve.x", "a", "na\xc3\xafve", ".x"},
  };
  for (const auto &row : rows) {
    char *directory, *base, *extension;
    ASSERT_EQ(ZutFileExplodeName(row.name, &directory, &base, &extension), 1) << row.name;
    std::string expected = row.directory;
    std::replace(expected.begin(), expected.end(), '|', separator[0]);
    EXPECT_EQ(directory, expected);
    EXPECT_STREQ(base, row.base);
    EXPECT_STREQ(extension, row.extension);
    for (char *part : {directory, base, extension}) ZutFree(part);
  }
  for (const char *wrong : {"a/", "a\\", "", "a/.x", "a/b\n.x"}) {
    char *part;
    EXPECT_EQ(ZutFileExplodeName(wrong, &part, &part, &part), 0) << wrong;
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
  while (ZutReadDir(handle, &entry)) {
    entries.push_back(std::string(entry.name) + " " + std::to_string(entry.kind));
  }
  EXPECT_EQ(ZutErrNumGet(), 18);
  EXPECT_EQ(ZutReadDir(handle, &entry), 0);
  EXPECT_EQ(ZutCloseDir(handle), 1);
  std::sort(entries.begin(), entries.end());
  const std::vector<std::string> expected = {". 1", ".. 1", "file 2", "one 1", "two 1"};
  EXPECT_EQ(entries, expected);

  handle = ZutOpenDir("missing");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(ZutReadDir(handle, &entry), 0);
    EXPECT_EQ(ZutErrNumGet(), 1);
    EXPECT_EQ(ZutErrNumGetC(), ENOENT);
  }
  EXPECT_EQ(ZutCloseDir(handle), 1);
}

TEST_F(PathTest, DirectoriesAreMadeChangedAndRemoved) {
  EXPECT_EQ(ZutMkdir("new"), 1);
  EXPECT_EQ(ZutMkdir("new"), 0);
  EXPECT_EQ(ZutErrNumGet(), 6);
  EXPECT_EQ(ZutMkdir("no/such"), 0);
  EXPECT_EQ(ZutErrNumGet(), 1);
  EXPECT_EQ(ZutChdir("new"), 1);
  writeFile("inside", "");
  EXPECT_EQ(ZutChdir(".."), 1);
  EXPECT_EQ(ZutChdir("missing"), 0);
  EXPECT_EQ(ZutErrNumGet(), 8);
  EXPECT_EQ(ZutRmdir("new"), 0);
  EXPECT_EQ(ZutErrNumGet(), 517);
  EXPECT_EQ(ZutDeleteFile("new/inside"), 0);
  EXPECT_EQ(ZutRmdir("new"), 1);
  EXPECT_EQ(ZutRmdir("new"), 0);
  EXPECT_EQ(ZutErrNumGet(), 8);
}

TEST_F(PathTest, SizesTimesAndTheTemporaryDirectory) {
  writeFile("file", "12345");
  int32_t size = 0;
  EXPECT_EQ(ZutFileGetSize("file", &size), 1);
  EXPECT_EQ(size, 5);
  std::error_code failed;
  fs::resize_file("file", 3000000000u, failed);
  if (!failed) {
    EXPECT_EQ(ZutFileGetSize("file", &size), 0);
    EXPECT_EQ(ZutErrNumGet(), 5);
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
