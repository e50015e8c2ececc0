// Option values as text, real numbers, legal values, options made by commands, named tables.
#include "support/child.h"
#include "support/errors.h"

#include <cmath>
#include <csetjmp>
#include <cstdarg>

namespace {

std::string printed; // what was written through `print`

int32_t Z_CALL print(const char *format, ...) {
  char text[1000];
  va_list args;
  va_start(args, format);
  const int length = vsnprintf(text, sizeof text, format, args);
  va_end(args);
  printed += text;
  return length;
}

struct Fresh {
  explicit Fresh(int32_t type, const char *name = "fresh") : option(ZutOptionCreate(name, type)) {}
  ~Fresh() { ZutOptionDestroy(option); }
  operator ZutOption *() const { return option; }
  ZutOption *option;
};

struct Step {
  const char *name; // of the option to create, or null: set the option "fresh"
  int32_t result;
  std::string rest; // the token that follows
};
Step step;
jmp_buf recover;

// Reads a value, or an option's type and value, from a text. A result of -1: the lexer's error.
void read(const char *text, const char *name = nullptr) {
  step = {name, -1, ""};
  if (setjmp(recover) != 0) return;
  ZutLexer *lexer =
      ZutLexCreate(Z_LEX_OPT_STRING, text, Z_LEX_OPT_ERROR_FUNC, ZutLexQuietLongjmpErrorFunc,
                   Z_LEX_OPT_ERROR_ARG, &recover, Z_LEX_OPT_END);
  const int32_t result = step.name ? ZutOptionCreateFromLexer(step.name, lexer)
                                   : ZutOptionParseValue(ZutOptionLookup("fresh"), lexer);
  step.result = result;
  step.rest = lexer->text;
  ZutLexDestroy(lexer);
}

TEST(OptionValue, isReadAndPrinted) {
  const struct {
    int32_t type;
    const char *text;
    int32_t result;
    const char *value, *rest = "";
  } cases[] = {
      {Z_OPTION_BOOL, "True; x", 1, "TRUE", ";"},
      {Z_OPTION_BOOL, "false", 1, "FALSE"},
      {Z_OPTION_BOOL, "yes", 0, "UNKNOWN"},
      {Z_OPTION_BOOL, "1", -1, "UNKNOWN"},
      {Z_OPTION_ENUM, "Red", 1, "red"},
      {Z_OPTION_ENUM, "green", 0, "UNKNOWN"},
      {Z_OPTION_NUM, "-2.50 x", 1, "-2.5", "x"},
      {Z_OPTION_NUM, "red", -1, "UNKNOWN"},
      {Z_OPTION_STR, "\"a b\"", 1, "\"a b\""},
      {Z_OPTION_STR, "/Dir/a.log ; x", 1, "\"/Dir/a.log\"", ";"},
      {Z_OPTION_STR, "\"unknown\"", 1, "\"unknown\""},
      {Z_OPTION_STR, "UnKnown x", 1, "UNKNOWN", "x"},
      {Z_OPTION_ENUM_LIST, "Echo, quit x", 1, "echo, quit", "x"},
      {Z_OPTION_STR_LIST, "\"a b\", /c.d ,e", 1, "\"a b\", \"/c.d\", \"e\""},
      {Z_OPTION_STR_LIST, "a, b, ;", -1, "UNKNOWN"},
      {Z_OPTION_NUM_LIST, "1, 2", 0, "UNKNOWN", "1"},
  };
  for (const auto &row : cases) {
    Fresh option(row.type);
    if (row.type == Z_OPTION_ENUM) ZutOptionLegValAdd(option, "Red");
    read(row.text);
    EXPECT_EQ(step.result, row.result) << row.text;
    EXPECT_STREQ(ZutOptionValToStr(option), row.value) << row.text;
    EXPECT_EQ(step.rest, row.rest) << row.text;
  }
  Fresh option(Z_OPTION_NUM);
  ZutOptionSetRequired(option, 1);
  EXPECT_ERROR(13, (read("unknown"), step.result));
}

TEST(OptionValue, legalValues) {
  Fresh word(Z_OPTION_ENUM), number(Z_OPTION_NUM, "number");
  ZutErrNumSet(0);
  for (const char *legal : {"Red", "blue"}) EXPECT_EQ(ZutOptionLegValAdd(word, legal), 1);
  EXPECT_EQ(ZutErrNumGet(), 0) << "success leaves the number alone";
  EXPECT_ERROR(14, ZutOptionLegValAdd(number, "a"));
  EXPECT_ERROR(7, ZutOptionLegValAdd(word, "Unknown"));
  EXPECT_ERROR(6, ZutOptionLegValAdd(word, "rED"));
  printed.clear();
  const auto visit = [](const char *key, const char *value, ZutWord) -> int32_t {
    EXPECT_EQ(key, value);
    return print("%s ", value), 0;
  };
  EXPECT_ERROR(18, ZutOptionLegValTraverse(word, visit, 0));
  EXPECT_TRUE(printed == "red blue " || printed == "blue red ") << printed;
  EXPECT_EQ(ZutOptionLegValTraverse(number, visit, 0), 0);
}

TEST(OptionValue, optionsAreMadeByCommands) {
  const struct {
    const char *text;
    int32_t result;
    const char *value; // null: there must be no such option
    int32_t isProtected = 0;
  } cases[] = {
      {"numeric 5", 1, "5"},
      {"Protect STRING text", 1, "\"text\"", 1},
      {"str_list a, \"b c\"", 1, "\"a\", \"b c\""},
      {"enum Fast, slow, FAST", 1, "Fast"},
      {"enum 5, 6", 1, "5"},
      {"boolean ; next", 1, "UNKNOWN"},
      {"", 0, nullptr},
      {"protect ;", 0, nullptr},
      {"integer 5", 0, nullptr},
      {"boolean maybe", 0, nullptr},
      {"enum a, unknown", 0, nullptr},
      {"numeric_list 1", 0, nullptr},
      {"numeric text", -1, nullptr},
      {"enum a, \"b", -1, nullptr},
      {"str_list a, /*", -1, nullptr},
  };
  for (const auto &row : cases) {
    read(row.text, "made");
    EXPECT_EQ(step.result, row.result) << row.text;
    ZutOption *option = ZutOptionLookup("made");
    ASSERT_EQ(option != nullptr, row.value != nullptr) << row.text;
    if (!option) continue;
    EXPECT_STREQ(ZutOptionValToStr(option), row.value);
    int32_t flag = -1;
    ZutOptionGetProtected(option, &flag);
    EXPECT_EQ(flag, row.isProtected);
    EXPECT_EQ(ZutOptionGetRequired(option, &flag) && flag, true);
    ZutOptionDestroy(option);
  }
  EXPECT_ERROR(6, (read("numeric 5", "prompt"), step.result));
}

void Z_CALL returnOnly(ZutLexer *, const char *, va_list, void *) {}

TEST(OptionValue, errorFunctionThatReturnsLosesLexerAndOption) {
  for (const char *text : {"numeric text", "enum a, \"b", "str_list a, /*", "protect \"", "5"}) {
    ZutLexer *lexer =
        ZutLexCreate(Z_LEX_OPT_STRING, text, Z_LEX_OPT_ERROR_FUNC, returnOnly, Z_LEX_OPT_END);
    EXPECT_EQ(ZutOptionCreateFromLexer("lost", lexer), 0);
    EXPECT_EQ(ZutOptionLookup("lost"), nullptr);
  }
}

TEST(OptionDump, leavesOutHiddenOptions) {
  Fresh shown(Z_OPTION_NUM, "dump_b"), hidden(Z_OPTION_NUM, "_dump");
  Fresh guarded(Z_OPTION_NUM, "dump_c");
  ZutOptionSetProtected(guarded, 1);
  printed.clear();
  EXPECT_EQ(ZutOptionDump(nullptr, print), 1);
  EXPECT_NE(printed.find("\ndump_b UNKNOWN\n"), std::string::npos);
  EXPECT_EQ(printed.find("_dump "), std::string::npos);
  EXPECT_EQ(printed.find("dump_c"), std::string::npos);
  EXPECT_LT(printed.find("\neditor "), printed.find("\nverbose "));
  printed.clear();
  EXPECT_EQ(ZutOptionDump("_DUMP", print), 1);
  EXPECT_ERROR(8, ZutOptionDump("none", print));
  EXPECT_EQ(printed, "_dump UNKNOWN\nNo option named <none>\n");
}

TEST(RealNumbers, followTheFormat) {
  ZutOption *format = ZutOptionLookup("real_number_format");
  const struct {
    const char *format;
    double value;
    const char *text;
  } cases[] = {
      {"%g", -1e300, "-1e+300"},
      {"%10.3lf", 2.5, "     2.500"},
      {"%-8.2e", 1.0, "1.00e+00"},
      {"%+08.1f", 2.25, "+00002.2"},
      {"%#.3G", 1e-10, "1.00E-10"},
      {"override:<%d>", 1e30, "<2147483647>"},
      {"OVERRIDE:%s%n%g %%", 1.5, "%s%n1.5 %"},
      {"OVERRIDE:", 1.5, ""},
      {"%f", 1.0, "1.000000"},
  };
  for (const auto &row : cases) {
    EXPECT_EQ(ZutOptionSetStr(format, row.format), 1) << row.format;
    EXPECT_STREQ(ZutRealToStr(row.value), row.text) << row.format;
  }
  for (const char *bad : {"%5", "%d", "%gx", "g", "", "%*g", "%5.2.3g"})
    EXPECT_ERROR(7, ZutOptionSetStr(format, bad)) << bad;
  EXPECT_STREQ(ZutRealToStr(1.0), "1.000000");
  char text[Z_REAL_TEXT_SIZE + 1];
  text[Z_REAL_TEXT_SIZE] = '#';
  ZutOptionSetStr(format, "%0999.900f");
  EXPECT_EQ(ZutRealToStrCopy(-1e308, text), text);
  EXPECT_EQ(std::string(text).size(), Z_REAL_TEXT_SIZE - 1);
  EXPECT_EQ(text[Z_REAL_TEXT_SIZE], '#');
  ZutOptionSetStr(format, ("OVERRIDE:" + std::string(1000, 'x') + "%g").c_str());
  EXPECT_EQ(std::string(ZutRealToStr(1.0)), std::string(Z_REAL_TEXT_SIZE - 1, 'x'));
  ZutOptionSetStr(format, "%g");
}

TEST(NamedTables, keepCopies) {
  Fresh number(Z_OPTION_NUM);
  ZutOption *word = ZutOptionCreate("word", Z_OPTION_ENUM);
  ZutOptionSetNum(number, 1.0);
  ZutOptionSetReadOnly(number, 1);
  ZutOptionLegValAdd(word, "red");
  ZutOption *copy = ZutOptionNamedLookup("Table", "fresh");
  EXPECT_EQ(ZutOptionNamedLookup("TABLE", "FRESH"), copy);
  EXPECT_EQ(ZutOptionSetNum(copy, 2.0), 1); // the copy is not read-only
  EXPECT_EQ(ZutOptionGetNumValue("fresh"), 1.0);
  ZutOption *wordCopy = ZutOptionNamedLookup("table", "word");
  EXPECT_ERROR(8, ZutOptionDestroy(wordCopy));
  ZutOptionLegValAdd(word, "blue");
  ZutOptionDestroy(word);
  EXPECT_EQ(ZutOptionSetEnum(wordCopy, "blue"), 1) << "the words are shared, and stay";

  Fresh later(Z_OPTION_STR, "later");
  printed.clear();
  EXPECT_EQ(ZutOptionNamedDump("table", nullptr, print), 1);
  EXPECT_NE(printed.find("\nTable/fresh 2\n"), std::string::npos);
  EXPECT_EQ(printed.find("later"), std::string::npos);
  EXPECT_EQ(printed.find("/_"), std::string::npos);
  Capture capture;
  ZutHashTable *table = ZutGetNamedOptionTable("table");
  EXPECT_EQ(ZutGetNamedOptionTable("table"), table);
  EXPECT_EQ(capture.text(), "Added missing option later\n");
  printed.clear();
  EXPECT_EQ(ZutOptionNamedDump("table", "Later", print), 1);
  EXPECT_ERROR(8, ZutOptionNamedDump("table", "none", print));
  EXPECT_EQ(printed, "Table/later UNKNOWN\nNo option named <Table/none>\n");
  EXPECT_ERROR(8, ZutOptionNamedLookup("table", "none"));
}

} // namespace
