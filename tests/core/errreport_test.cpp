#include "support/child.h"

#include <cerrno>
#include <csetjmp>

namespace {

// What a call prints to standard output.
template <class Call>
std::string printed(Call call) {
  testing::internal::CaptureStdout();
  call();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

std::string reported(int32_t number) {
  return printed([=] { ZutErrReportParams("f", number, nullptr); });
}

const std::string undefined = "\nutErrPrintLine: Undefined arg type.\n";
const std::string missing = "\nf: Error message not available for error number <42>.\n";
const std::string unavailable =
    "\nf: Requested feedback level unavailable for error number <42>.\n";

// With an error-message file of its own in the working directory.
class ErrReport : public testing::Test {
protected:
  ErrReport() {
    std::filesystem::create_directory("error");
    ZutPutenv("VNERRDIR=.");
  }
  ~ErrReport() override {
    ZutErrCloseFile();
    ZutErrFeedbackSet(0);
    ZutErrSeveritySet(0);
    ZutPutenv("VNERRDIR=");
  }
  // The report of number 42 by a file of this text; it is the same a second time.
  std::string says(const std::string &file) {
    ZutErrCloseFile();
    writeFile("error/errors.txt", file);
    const std::string first = reported(42);
    EXPECT_EQ(reported(42), first);
    return first;
  }

private:
  const TempDir directory_;
};

void jumpTwice() {
  static jmp_buf own;
  ZutInit("test");
  if (setjmp(own) == 0) ZutErrReportParamsJmp("f", 42, &own, nullptr);
  if (setjmp(*ZutErrGetJumpBufferPtr()) == 0) ZutErrReportParamsJmp("g", 42, nullptr, nullptr);
}

} // namespace

TEST_F(ErrReport, PutsTheParametersIntoTheText) {
  const std::string unset =
      says("about this file\n----- first\n7\nwarning\n0\nexpert\nno $name\nnovice\nseven\n"
           "-----\n 42 and more\nsevere indeed\n3 of them\nna me\nname of a thing\nn\nexpert\n"
           "novice\n\nThe $name: $n, $nab; 5$, $$n $other$n.\nlast line\n-----\n");
  const int size = 5;
  const char *format = "%s", *name = "thing";
  const std::string text = printed([&] {
    ZutErrReportParams(nullptr, 42, format, name, "<%s>", "na\0me", "%4d%%", &size, nullptr);
  });
  // The names are na, name and n; the first that fits counts.
  EXPECT_EQ(text,
            "\nunknown_func_name: \nThe thingme:    5%, thingb; 5$, $$n $other$n.\nlast line\n");
  EXPECT_EQ(ZutErrNumGet(), 42);
  EXPECT_EQ(reported(7), "\nf: seven\n") << "the file is read from its start again";
  EXPECT_EQ(reported(42), unset) << "the parameters are forgotten";
  EXPECT_EQ(unset, "\nf: \nThe " + undefined + "me: " + undefined + ", " + undefined +
                       "b; 5$, $$n $other$n.\nlast line\n");
}

TEST_F(ErrReport, TakesOneConversionAndNothingElseAsAFormat) {
  says("-----\n42\nfatal\n1\np\nexpert\n[$p]%n\nnovice\n");
  ZutErrFeedbackSet(1);
  const int integer = -7, eleven = 11;
  const short narrow = -8;
  const long wide = 123456789;
  const double real = 2.5;
  struct Row {
    std::string format;
    const void *value;
    std::string text; // the report, or why the format is refused
  };
  std::vector<Row> rows = {
      {"%d %s %n %*d", &integer, "\nf: [-7 %s %n %*d]%n\n"},
      {"%05.3x|%%", &eleven, "\nf: [  00b|%]%n\n"},
      {"%+hd", &narrow, "\nf: [-8]%n\n"},
      {"%12ld", &wide, "\nf: [   123456789]%n\n"},
      {"100%% %i", &integer, "\nf: [100% -7]%n\n"},
      {"%-8.2e|", &real, "\nf: [2.50e+00|]%n\n"},
      {"%255g", &real, "\nf: [" + std::string(252, ' ') + "2.5]%n\n"},
      {"%.2s", "abc", "\nf: [ab]%n\n"},
      {"%n", &integer, "\nf: []%n\n"},
      {"a%hnb", &narrow, "\nf: [ab]%n\n"},
      {"%c", "x", "\nf: [" + undefined + "]%n\n"},
      {"plain", "", "Format string <plain> for parameter <1> is bad.\n"},
      {"a %y", "", "Conversion character error in format string <%y> for parameter <1>.\n"},
      {"100%%", "", "Conversion character error in format string <%%> for parameter <1>.\n"},
  };
  for (const char *format : {"%Ld", "%lf", "%Lg", "%ls", "%hhd", "%lln"})
    rows.push_back({format, "", "Invalid size spec in format string.\n"});
  for (const std::string format : {"%*d", "%.*s", "%256d", "%.99999999999f", "%zd", "%1$d"})
    rows.push_back({format, "", "ZutErrParamSet: Invalid format specifier <" + format + ">.\n"});
  for (const Row &row : rows) {
    const std::string text = printed([&] {
      if (ZutErrParamSet(1, row.format.c_str(), row.value)) ZutErrReportParams("f", 42, nullptr);
    });
    EXPECT_EQ(text, row.text) << row.format;
  }
  EXPECT_EQ(integer, -7);
}

TEST_F(ErrReport, TakesTenParameters) {
  EXPECT_EQ(printed([] { EXPECT_EQ(ZutErrParamSet(1, nullptr, ""), 0); }),
            "ZutErrParamSet: Format string is NULL.\n");
  EXPECT_EQ(printed([] { EXPECT_EQ(ZutErrParamSet(11, "%d", ""), 0); }),
            "ZutErrParamSet: Parameter number <11> must be between <1> and <10>.\n");
  says("-----\n42\nfatal\n0\nexpert\nnovice\ntext\n");
  const char *s = "%s"; // as formats and values of eleven
  EXPECT_EQ(printed([=] {
              ZutErrReportParams("f", 42, s, s, s, s, s, s, s, s, s, s, s, s, s, s, s, s, s, s, s,
                                 s, s, s, nullptr);
            }),
            "ZutErrReportParams: Too many parameters supplied.\n\nf: text\n");
}

TEST_F(ErrReport, ComplainsAboutTheFile) {
  const std::string head = "-----\n42\nwarning\n";
  const std::string next = "-----\n43\nwarning\n0\nexpert\nnovice\nx\n";
  const std::string name = (std::filesystem::path(".") / "error" / "errors.txt").string();
  EXPECT_EQ(reported(42),
            "\nf: Error opening file \"" + name + "\" \nUnable to open error file.\n");
  for (const char *text : {"", "-----", "42\nwarning\n0\n", "-----\n42\nbad\n0\n"})
    EXPECT_EQ(says(text + next), missing);
  for (const std::string &text : {std::string(), next, std::string("x\n")})
    EXPECT_EQ(says(head + text), "\nf: Error reading number of parameters in error file.\n");
  for (const std::string count : {"11", "-1"})
    EXPECT_EQ(says(head + count + "\n"),
              "\nf: Too many parameters <" + count + "> requested in error file.\n");
  for (const std::string &text : {"2\na\n" + next, std::string("1\n \n"), std::string("1")})
    EXPECT_EQ(says(head + text), "\nf: Error parsing parameter name in error file.\n");
  const std::string texts[] = {"\nf: new\nexpert\nold\n", unavailable,
                               "\nf: quiet\nnovice\nnew\nexpert\nold\n"};
  for (const int32_t level : {0, 1, 2}) {
    ZutErrFeedbackSet(level);
    EXPECT_EQ(says(head + "0\n" + next), unavailable) << "no text of another entry";
    EXPECT_EQ(says(head + "0\nno_output\nquiet\nnovice\nnew\nexpert\nold\n" + next), texts[level]);
  }
  ZutErrSeveritySet(1);
  EXPECT_EQ(says(head + "0\nexpert\nnovice\ntext\n"), missing);
}

TEST_F(ErrReport, TakesLinesOfAnyKind) {
  const std::string x(254, 'x'), blanks(400, ' ');
  EXPECT_EQ(says("-----" + x + "-----\n42" + blanks + "7\nwarning" + x + "\n1" + blanks + "\np" +
                 blanks + "q\nexpert\nnovice" + x + x + "\n" + x + "-----\n" + x + x + "\r\nz" +
                 std::string(3, '\0') + "z\n-----"),
            "\nf: " + x + "-----\n" + x + x + "\nzz\n");
}

TEST_F(ErrReport, SurvivesAnyFile) {
  const std::string file = "-----\n42\nsevere\n2\nab\nc\nexpert\nold\nnovice\n$ab and $c\nmore\n";
  for (size_t cut = 0; cut < file.size(); ++cut) {
    EXPECT_TRUE(says(file.substr(0, cut)).starts_with("\nf: ")) << cut;
    for (const char byte : {'\0', '\n', '-'}) {
      EXPECT_TRUE(says(file.substr(0, cut) + byte + file.substr(cut + 1)).starts_with("\nf: "));
    }
  }
}

// Found beside the library when no variable names its place.
TEST(ErrReportFile, ExplainsEveryNumberOfTheLibrary) {
  for (int32_t number = 1; number <= 517; number = number == 32 ? 517 : number + 1) {
    if (std::string(ZutErrNumToStr(number)).starts_with("unknown")) continue;
    for (const int32_t level : {1, 0}) {
      ZutErrFeedbackSet(level);
      const std::string text = reported(number);
      EXPECT_TRUE(text.ends_with(".\n") && text.find("rror number <") == text.npos) << text;
    }
  }
  ZutErrCloseFile();
}

CHILD(endsInstead) {
  ZutInit("test");
  ZutErrReportParamsJmp("f", 42, nullptr, nullptr);
}

TEST_F(ErrReport, JumpsToAFrameThatIsThere) {
  ZutPutenv("VNDEBUGFILENAME=stderr");
  says("-----\n42\nwarning\n0\nexpert\nnovice\nhelp\n");
  EXPECT_EQ(printed(jumpTwice), "\nf: help\n\ng: help\n");
  const Result ended = runChild("endsInstead", {{"VNERRDIR", "."}, {"VNDEBUGFILENAME", "stderr"}});
  EXPECT_EQ(ended.code, 2);
  EXPECT_EQ(ended.out.substr(0, 9), "\nf: help\n");
}
