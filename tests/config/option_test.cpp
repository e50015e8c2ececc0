// Options: types, setting with checks and callbacks, life time of values, use from several threads.
#include "support/child.h"
#include "support/errors.h"

#include <atomic>
#include <cmath>
#include <thread>

namespace {

// The first use from many threads at once: each sees the whole standard set. The first case of the
// file, so that it is the first use in a process that runs them all, too.
TEST(OptionTable, isWholeForEveryThread) {
  ZutInitThreads();
  std::atomic<int> good{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&good] {
      good += ZutOptionGetNumValue("socket_connect_timeout") == 5.0 &&
              ZutOptionLookup("srv_subj_names_min_msgs");
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(good, 8);
}

// A fresh option, destroyed with the object.
struct Fresh {
  explicit Fresh(int32_t type, const char *name = "fresh") : option(ZutOptionCreate(name, type)) {}
  ~Fresh() { ZutOptionDestroy(option); }
  operator ZutOption *() const { return option; }
  ZutOption *option;
};

std::string seen; // what callbacks noted

std::string textOf(ZutOption *option) {
  const char *text = nullptr;
  return ZutOptionGetStr(option, &text) ? text : "error " + std::to_string(ZutErrNumGet());
}

std::string join(const ZutStrList *list) {
  std::string text;
  for (; list; list = list->next) text += std::string(list->string) + ".";
  return text;
}

void Z_CALL noteText(void *, void *data, ZutWord argument) {
  const void *value = static_cast<ZutOptionChangeData *>(data)->value;
  seen += static_cast<char>(argument);
  seen += value ? std::string(static_cast<const char *>(value)) + ";" : "unknown;";
}

TEST(Options, namesIgnoreCaseAndOldNamesWork) {
  Fresh option(Z_OPTION_STR, "Option_TEST");
  EXPECT_STREQ(ZutOptionGetName(option), "option_test");
  EXPECT_EQ(ZutOptionLookup("OPTION_test"), option);
  EXPECT_ERROR(6, ZutOptionCreate("option_Test", Z_OPTION_NUM));
  EXPECT_ERROR(6, ZutOptionCreate("Application", Z_OPTION_NUM));
  EXPECT_ERROR(7, ZutOptionCreate("other", 7));
  EXPECT_ERROR(8, ZutOptionLookup("no such option"));
  EXPECT_STREQ(ZutOptionGetName(ZutOptionLookup("APPLICATION")), "project");
  EXPECT_STREQ(ZutOptionGetName(ZutOptionLookup("DataGroups")), "subjects");
  EXPECT_STREQ(ZutOptionGetName(ZutOptionLookup("unique_datagroup")), "unique_subject");
}

// Each typed getter and setter against an option of each type.
TEST(Options, typesAreChecked) {
  const ZutStrList list{nullptr, const_cast<char *>("a")};
  for (int32_t type = Z_OPTION_BOOL; type <= Z_OPTION_STR_LIST; ++type) {
    Fresh option(type);
    for (int32_t asked = Z_OPTION_BOOL; asked <= Z_OPTION_STR_LIST; ++asked) {
      int32_t flag = -1;
      double number = -1;
      const char *text = nullptr;
      const ZutStrList *out = nullptr;
      const auto get = [&] {
        switch (asked) {
        case Z_OPTION_BOOL: return ZutOptionGetBool(option, &flag);
        case Z_OPTION_ENUM: return ZutOptionGetEnum(option, &text);
        case Z_OPTION_NUM: return ZutOptionGetNum(option, &number);
        case Z_OPTION_STR: return ZutOptionGetStr(option, &text);
        case Z_OPTION_ENUM_LIST: return ZutOptionGetEnumList(option, &out);
        default: return ZutOptionGetStrList(option, &out);
        }
      };
      const auto set = [&] {
        switch (asked) {
        case Z_OPTION_BOOL: return ZutOptionSetBool(option, 1);
        case Z_OPTION_ENUM: return ZutOptionSetEnum(option, "Word");
        case Z_OPTION_NUM: return ZutOptionSetNum(option, 2.5);
        case Z_OPTION_STR: return ZutOptionSetStr(option, "Text");
        case Z_OPTION_ENUM_LIST: return ZutOptionSetEnumList(option, &list);
        default: return ZutOptionSetStrList(option, &list);
        }
      };
      if (asked == Z_OPTION_NUM_LIST) continue;
      EXPECT_ERROR(asked == type ? 12 : 14, get()) << type << asked;
      if (asked != type) {
        EXPECT_ERROR(14, set()) << type << asked;
        continue;
      }
      EXPECT_EQ(set(), 1);
      EXPECT_EQ(get(), 1);
      EXPECT_TRUE(flag == 1 || number == 2.5 || (text && (text[0] == 'W' || text[0] == 'T')) ||
                  join(out) == "a.");
      EXPECT_EQ(ZutOptionSetUnknown(option), 1);
    }
  }
  EXPECT_EQ(ZutOptionSetEnum(ZutOptionLookup("unique_subject"), "plain"), 1);
  EXPECT_EQ(ZutOptionSetEnumList(ZutOptionLookup("subjects"), &list), 1);
}

TEST(Options, refuseValuesOutsideTheirRange) {
  Fresh flag(Z_OPTION_BOOL), word(Z_OPTION_ENUM, "word");
  EXPECT_ERROR(7, ZutOptionSetBool(flag, 2));
  EXPECT_ERROR(7, ZutOptionSetReadOnly(flag, 2));
  ZutOptionLegValAdd(word, "One");
  EXPECT_ERROR(7, ZutOptionSetEnum(word, "two"));
  EXPECT_EQ(ZutOptionSetEnum(word, "ONE"), 1);
  EXPECT_STREQ(static_cast<const char *>(ZutOptionGetValue("word")), "ONE");
  ZutOptionSetRequired(word, 1);
  EXPECT_ERROR(13, ZutOptionUnset("word"));
  ZutOptionSetReadOnly(word, 1);
  EXPECT_ERROR(28, ZutOptionSet("word", "one"));
}

int32_t Z_CALL checkText(ZutOption *option, void *value, ZutWord argument) {
  char *text = static_cast<char *>(value);
  seen += textOf(option) + ">" + text + ";";
  if (*text == '!') return 0;
  if (*text == '?') return ZutErrNumSet(static_cast<int32_t>(argument)), 0;
  *text = static_cast<char>(toupper(*text)); // the copy is the option's: it may be put right
  return 1;
}

TEST(Options, verifyBeforeTheValueChanges) {
  Fresh option(Z_OPTION_STR);
  ZutOptionSetStr(option, "old");
  ZutOptionSetVerifyFunc(option, checkText, 19);
  ZutOptionChangeCbCreate(option, noteText, 'c');
  seen.clear();
  EXPECT_ERROR(17, ZutOptionSetStr(option, "!a much longer text than the one before"));
  EXPECT_ERROR(19, ZutOptionSetStr(option, "?"));
  EXPECT_EQ(textOf(option), "old");
  EXPECT_EQ(ZutOptionSetStr(option, "new"), 1);
  EXPECT_EQ(textOf(option), "New");
  EXPECT_EQ(seen, "old>!a much longer text than the one before;old>?;old>new;cNew;");
}

TEST(Options, tellOwnCallbacksBeforeGlobalOnes) {
  Fresh option(Z_OPTION_STR), other(Z_OPTION_STR, "other");
  ZutCb *global = ZutOptionChangeCbCreate(nullptr, noteText, 'g');
  ZutCb *own = ZutOptionChangeCbCreate(option, noteText, 'o');
  EXPECT_EQ(ZutOptionChangeCbLookup(option, noteText, 'o'), own);
  seen.clear();
  ZutOptionSetStr(option, "a");
  ZutOptionSetUnknown(option);
  ZutOptionSetStr(other, "b");
  EXPECT_EQ(seen, "oa;ga;ounknown;gunknown;gb;");
  ZutCbDestroy(global);
}

// Sets the option anew while the first set still has callbacks to call.
void Z_CALL setAgain(void *owner, void *data, ZutWord) {
  auto *option = static_cast<ZutOption *>(owner);
  const char *value = static_cast<const char *>(static_cast<ZutOptionChangeData *>(data)->value);
  if (std::string(value).size() > 3) return;
  ZutOptionSetStr(option, (std::string(value) + "++").c_str());
  seen += std::string(value) + "-";
}

void Z_CALL destroyIt(void *owner, void *, ZutWord) {
  ZutOptionDestroy(static_cast<ZutOption *>(owner));
}

int32_t Z_CALL destroyAndAccept(ZutOption *option, void *, ZutWord) {
  return ZutOptionDestroy(option);
}

TEST(Options, valuesOutliveTheCallbacksThatReceiveThem) {
  Fresh option(Z_OPTION_STR);
  ZutOptionSetStr(option, "before");
  ZutOptionChangeCbCreate(option, setAgain, 0);
  ZutOptionChangeCbCreate(option, noteText, 'n');
  seen.clear();
  ZutOptionSetStr(option, "x");
  EXPECT_EQ(seen, "nx++++;x++-nx++;x-nx;");
  const char *own = nullptr;
  ZutOptionGetStr(option, &own);
  ZutOptionSetStr(option, own); // its own text
  EXPECT_EQ(textOf(option), "x++++");

  ZutCommandSetFailures(0);
  for (const std::string step : {"", "by name", "setopt brief last", "unsetopt brief"}) {
    for (const bool byVerify : {false, true}) {
      ZutOption *brief = ZutOptionCreate("brief", Z_OPTION_STR);
      ZutOptionSetStr(brief, "first");
      if (byVerify) ZutOptionSetVerifyFunc(brief, destroyAndAccept, 0);
      else ZutOptionChangeCbCreate(brief, destroyIt, 0);
      if (step.empty()) EXPECT_EQ(ZutOptionSetStr(brief, "last"), !byVerify);
      else if (step == "by name") EXPECT_EQ(ZutOptionSet("brief", "last"), nullptr);
      else ZutCommandParseTypedStr(step.c_str());
      EXPECT_EQ(ZutOptionLookup("brief"), nullptr) << step;
    }
  }
  EXPECT_EQ(ZutCommandGetFailures(), 2) << "those whose verify function destroyed it";
}

TEST(Options, listsAreCopied) {
  char word[] = "one";
  ZutStrList second{nullptr, const_cast<char *>("two")}, first{&second, word};
  Fresh option(Z_OPTION_STR_LIST);
  EXPECT_EQ(ZutOptionSetStrList(option, &first), 1);
  word[0] = 'X';
  first.next = nullptr;
  const ZutStrList *list = nullptr;
  ZutOptionGetStrList(option, &list);
  EXPECT_EQ(join(list), "one.two.");
  EXPECT_EQ(ZutOptionSetStrList(option, list->next), 1); // a part of itself
  ZutOptionGetStrList(option, &list);
  EXPECT_EQ(join(list), "two.");
}

TEST(Options, byName) {
  Fresh number(Z_OPTION_NUM), list(Z_OPTION_NUM_LIST, "list");
  const double value = 4.5;
  EXPECT_EQ(*static_cast<double *>(ZutOptionSet("FRESH", &value)), 4.5);
  EXPECT_EQ(ZutOptionSetNumValue("fresh", 6.0), 1);
  EXPECT_EQ(ZutOptionGetNumValue("fresh"), 6.0);
  EXPECT_ERROR(14, ZutOptionGetNumValue("prompt"));
  EXPECT_ERROR(8, ZutOptionGetNumValue("no such option"));
  EXPECT_ERROR(14, ZutOptionSet("list", &value));
  EXPECT_ERROR(14, ZutOptionSetNumValue("list", 1.0));
  EXPECT_EQ(ZutOptionGetValue("list"), nullptr);
}

TEST(Options, copyCallbacksFollowTheValue) {
  Fresh flag(Z_OPTION_BOOL), number(Z_OPTION_NUM, "number");
  int32_t flagCopy = 5, numberCopy = 5;
  ZutOptionChangeCbCreate(flag, ZutCbOptionCopyBool, reinterpret_cast<ZutWord>(&flagCopy));
  ZutOptionChangeCbCreate(number, ZutCbOptionCopyInt4, reinterpret_cast<ZutWord>(&numberCopy));
  ZutOptionSetBool(flag, 1);
  EXPECT_EQ(flagCopy, 1);
  ZutOptionSetUnknown(flag);
  EXPECT_EQ(flagCopy, 0);
  for (const auto &[value, copy] : std::initializer_list<std::pair<double, int32_t>>{
           {-7.9, -7}, {1e30, INT32_MAX}, {-1e30, INT32_MIN}, {NAN, 0}}) {
    ZutOptionSetNum(number, value);
    EXPECT_EQ(numberCopy, copy);
  }
}

TEST(OptionChecks, numbers) {
  Fresh nonNeg(Z_OPTION_NUM), int2(Z_OPTION_NUM, "int2");
  ZutOptionSetVerifyFunc(nonNeg, ZutOptionVerifyNonNeg, 0);
  ZutOptionSetVerifyFunc(int2, ZutOptionVerifyInt2, 0);
  for (const double good : {0.0, 0.25, 1e300}) EXPECT_EQ(ZutOptionSetNum(nonNeg, good), 1) << good;
  for (const double bad : {-0.5, -1e300, double{NAN}})
    EXPECT_ERROR(4, ZutOptionSetNum(nonNeg, bad)) << bad;
  for (const double good : {0.0, 32767.0, -32768.0})
    EXPECT_EQ(ZutOptionSetNum(int2, good), 1) << good;
  for (const double bad : {32768.0, -32769.0, 0.25, double{NAN}})
    EXPECT_ERROR(7, ZutOptionSetNum(int2, bad)) << bad;
  EXPECT_EQ(ZutOptionSetUnknown(nonNeg) + ZutOptionSetUnknown(int2), 2);
}

TEST(OptionChecks, logFiles) {
  TempDir directory;
  writeFile("b.log", "first;");
  Fresh option(Z_OPTION_STR);
  ZutOptionSetVerifyFunc(option, ZutOptionVerifyLogFile, 0);
  EXPECT_EQ(ZutOptionSetStr(option, "a.log"), 1);
  EXPECT_NE(ZutLookupFile("a.log"), nullptr);
  EXPECT_ERROR(17, ZutOptionSetStr(option, "none/c.log"));
  EXPECT_NE(ZutLookupFile("a.log"), nullptr);
  EXPECT_EQ(ZutOptionSetStr(option, "@b.log"), 1);
  EXPECT_EQ(ZutLookupFile("a.log"), nullptr);
  fputs("second", ZutLookupFile("b.log"));
  // A copy has no files.
  EXPECT_EQ(ZutOptionSetStr(ZutOptionNamedLookup("logs", "fresh"), "c.log"), 1);
  EXPECT_EQ(ZutLookupFile("c.log"), nullptr);
  EXPECT_NE(ZutLookupFile("b.log"), nullptr);
  EXPECT_EQ(ZutOptionSetUnknown(option), 1);
  EXPECT_EQ(ZutLookupFile("b.log"), nullptr);
  EXPECT_EQ(readFile("b.log"), "first;second");
}

TEST(OptionTable, sortsAndTraverses) {
  int32_t count = 0, found = 0;
  ZutOption **sorted = ZutOptionSort(&count);
  ASSERT_GT(count, 100);
  for (int32_t i = 1; i < count; ++i)
    EXPECT_LT(ZutStrCmpi(ZutOptionGetName(sorted[i - 1]), ZutOptionGetName(sorted[i])), 0);
  ZutFree(sorted);
  const auto visit = [](const char *name, ZutOption *option, ZutWord argument) -> int32_t {
    EXPECT_STREQ(name, ZutOptionGetName(option));
    return ++*reinterpret_cast<int32_t *>(argument) == 50 ? 7 : 0;
  };
  EXPECT_EQ(ZutOptionTraverse(visit, reinterpret_cast<ZutWord>(&found)), 7);
  EXPECT_EQ(found, 50);
  EXPECT_ERROR(18, ZutOptionTraverse(visit, reinterpret_cast<ZutWord>(&found)));
  EXPECT_EQ(found, 50 + count);
}

TEST(OptionTable, changesInSeveralThreads) {
  ZutInitThreads();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([i] {
      // The library reads these while another thread sets them.
      for (int round = 0; round < 4000; ++round) {
        if (i == 0) ZutOptionSetBool(ZutOptionLookup("verbose"), round % 2 == 0);
        if (i == 1) ZutOptionSetEnum(ZutOptionLookup("trace_level"), round % 2 ? "info" : "error");
        if (i == 2) ZutOptionSetNumValue("frame_interval", round % 2 * 1e3);
        if (i == 3) ZutFrameCheck(0);
      }
      const std::string name = "thread_" + std::to_string(i);
      for (int round = 0; round < 200; ++round) {
        ZutOption *option = ZutOptionCreate(name.c_str(), Z_OPTION_STR);
        EXPECT_EQ(ZutOptionLookup(name.c_str()), option);
        ZutOptionSetStr(option, name.c_str());
        EXPECT_EQ(ZutOptionValToStr(option), "\"" + name + "\"");
        EXPECT_STREQ(ZutRealToStr(i + 0.5), (std::to_string(i) + ".5").c_str());
        if (round % 50 == 0) ZutOptionSetStr(ZutOptionLookup("real_number_format"), "%g");
        EXPECT_NE(ZutOptionNamedLookup(round % 2 ? "threads" : "others", name.c_str()), nullptr);
        EXPECT_EQ(ZutOptionDestroy(option), 1);
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
}

} // namespace
