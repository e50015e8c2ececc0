#include "support/child.h"

#include <cerrno>
#include <csetjmp>

namespace {

constexpr char separator = static_cast<char>(std::filesystem::path::preferred_separator);

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

const std::string missing = "\nf: Error message not available for error number <42>.\n";
const std::string unavailable =
    "\nf: Requested feedback level unavailable for error number <42>.\n";

// With an error-message file of its own in the working directory.
class ErrReport : public testing::Test {
protected:
  void SetUp() override {
    std::filesystem::create_directory("error");
    ZutPutenv("VNERRDIR=.");
  }
  void TearDown() override {
    ZutErrCloseFile();
    ZutErrClearParams();
    ZutErrFeedbackSet(0);
    ZutErrSeveritySet(0);
    ZutPutenv("VNERRDIR=");
  }
  void write(const std::string &text) {
    ZutErrCloseFile();
    writeFile("error/errors.txt", text);
  }

private:
  const TempDir directory_;
};

} // namespace

TEST_F(ErrReport, PutsTheParametersIntoTheText) {
  write("about this file\n----- first\n7\nwarning\n0\nexpert\nno $name\nnovice\nseven\n"
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
  EXPECT_EQ(reported(42),
            "\nf: \nThe \nutErrPrintLine: Undefined arg type.\nme: "
            "\nutErrPrintLine: Undefined arg type.\n, "
            "\nutErrPrintLine: Undefined arg type.\nb; 5$, $$n $other$n.\nlast line\n")
      << "the parameters are forgotten";
}

TEST_F(ErrReport, PrintsOneConversionAndNothingElseAsAFormat) {
  write("-----\n42\nfatal\n1\np\nexpert\n[$p] %s %n %d\nnovice\n");
  ZutErrFeedbackSet(1);
  const int integer = -7, eleven = 11;
  const short narrow = -8;
  const long wide = 123456789;
  const double real = 2.5;
  const struct {
    const char *format;
    const void *value;
    const char *text;
  } cases[] = {
      {"%d %s %n %*d", &integer, "-7 %s %n %*d"},
      {"%05.3x|%%", &eleven, "  00b|%"},
      {"%+hd", &narrow, "-8"},
      {"%12ld", &wide, "   123456789"},
      {"100%% %i", &integer, "100% -7"},
      {"%-8.2e|", &real, "2.50e+00|"},
      {"%255g", &real, nullptr},
      {"%.2s", "abc", "ab"},
      {"%n", &integer, ""},
      {"a%hnb", &narrow, "ab"},
      {"%c", "x", "\nutErrPrintLine: Undefined arg type.\n"},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(ZutErrParamSet(1, c.format, c.value), 1) << c.format;
    const std::string wanted = c.text ? c.text : std::string(252, ' ') + "2.5";
    EXPECT_EQ(reported(42), "\nf: [" + wanted + "] %s %n %d\n");
  }
  EXPECT_EQ(integer, -7);
}

TEST_F(ErrReport, RefusesOtherFormats) {
  const double zero = 0.0;
  const auto says = [&](const char *format, int32_t number = 1) {
    return printed([&] { EXPECT_EQ(ZutErrParamSet(number, format, &zero), 0); });
  };
  EXPECT_EQ(says(nullptr), "ZutErrParamSet: Format string is NULL.\n");
  EXPECT_EQ(says("plain"), "Format string <plain> for parameter <1> is bad.\n");
  EXPECT_EQ(says("a %y"), "Conversion character error in format string <%y> for parameter <1>.\n");
  EXPECT_EQ(says("100%%"), "Conversion character error in format string <%%> for parameter <1>.\n");
  for (const char *format : {"%Ld", "%lf", "%Lg", "%ls", "%hhd", "%lln"}) {
    EXPECT_EQ(says(format), "Invalid size spec in format string.\n") << format;
  }
  for (const std::string format : {"%*d", "%.*s", "%256d", "%.99999999999f", "%zd", "%1$d"}) {
    EXPECT_EQ(says(format.c_str()), "ZutErrParamSet: Invalid format specifier <" + format + ">.\n");
  }
  EXPECT_EQ(says("%d", 11),
            "ZutErrParamSet: Parameter number <11> must be between <1> and <10>.\n");
  write("-----\n42\nfatal\n0\nexpert\nnovice\ntext\n");
  const char *s = "%s";
  EXPECT_EQ(printed([=] {
              ZutErrReportParams("f", 42, s, s, s, s, s, s, s, s, s, s, s, s, s, s, s, s, s, s, s,
                                 s, s, s, nullptr);
            }),
            "ZutErrReportParams: Too many parameters supplied.\n\nf: text\n");
}

TEST_F(ErrReport, ComplainsAboutTheFile) {
  const auto says = [&](const std::string &file) {
    write(file);
    const std::string first = reported(42);
    EXPECT_EQ(reported(42), first);
    return first;
  };
  const std::string head = "-----\n42\nwarning\n";
  const std::string next = "-----\n43\nwarning\n0\nexpert\nnovice\nx\n";
  const std::string name = std::string(".") + separator + "error" + separator + "errors.txt";
  EXPECT_EQ(reported(42),
            "\nf: Error opening file \"" + name + "\" \nUnable to open error file.\n");
  for (const char *text : {"", "-----", "42\nwarning\n0\n", "-----\n42\nbad\n0\n"}) {
    EXPECT_EQ(says(text + next), missing);
  }
  for (const std::string &text : {std::string(), next, std::string("x\n")}) {
    EXPECT_EQ(says(head + text), "\nf: Error reading number of parameters in error file.\n");
  }
  EXPECT_EQ(says(head + "11\n"), "\nf: Too many parameters <11> requested in error file.\n");
  EXPECT_EQ(says(head + "-1\n"), "\nf: Too many parameters <-1> requested in error file.\n");
  for (const std::string &text : {"2\na\n" + next, std::string("1\n \n"), std::string("1")}) {
    EXPECT_EQ(says(head + text), "\nf: Error parsing parameter name in error file.\n");
  }
  for (const int32_t level : {0, 1, 2}) {
    ZutErrFeedbackSet(level);
    EXPECT_EQ(says(head + "0\n" + next), unavailable) << "no text of another entry";
    EXPECT_EQ(says(head + "0\nno_output\nquiet\nnovice\nnew\nexpert\nold\n" + next),
              level == 0   ? "\nf: new\nexpert\nold\n"
              : level == 1 ? unavailable
                           : "\nf: quiet\nnovice\nnew\nexpert\nold\n");
  }
  ZutErrSeveritySet(1);
  EXPECT_EQ(says(head + "0\nexpert\nnovice\ntext\n"), missing);
}

TEST_F(ErrReport, TakesLinesOfAnyKind) {
  const std::string x(254, 'x'), blanks(400, ' ');
  write("-----" + x + "-----\n42" + blanks + "7\nwarning" + x + "\n1" + blanks + "\np" + blanks +
        "q\nexpert\nnovice" + x + x + "\n" + x + "-----\n" + x + x + "\r\nz" +
        std::string(3, '\0') + "z\n-----");
  EXPECT_EQ(reported(42), "\nf: " + x + "-----\n" + x + x + "\nzz\n");
}

TEST_F(ErrReport, SurvivesAnyFile) {
  const std::string file = "-----\n42\nsevere\n2\nab\nc\nexpert\nold\nnovice\n$ab and $c\nmore\n";
  const std::string hole = "\nutErrPrintLine: Undefined arg type.\n";
  const std::string whole = "\nf: " + hole + " and " + hole + "\nmore\n";
  const auto twice = [&](const std::string &text) {
    write(text);
    const std::string both = printed([] {
      ZutErrReportParams("f", 42, nullptr);
      ZutErrReportParams("f", 42, nullptr);
    });
    const std::string half = both.substr(0, both.size() / 2);
    EXPECT_EQ(half + half, both);
    return half;
  };
  for (size_t cut = 0; cut < file.size(); ++cut) {
    const std::string text = twice(file.substr(0, cut));
    EXPECT_TRUE(whole.starts_with(text) || text == missing || text == unavailable ||
                text.starts_with("\nf: Error reading") || text.starts_with("\nf: Error parsing") ||
                text.find('$') != text.npos) // cut within a name
        << cut << ": " << text;
    for (const char byte : {'\0', '\n', '-'}) {
      std::string damaged = file;
      damaged[cut] = byte;
      twice(damaged);
    }
  }
}

// Found beside the library when no variable names its place.
TEST(ErrReportFile, ExplainsEveryNumberOfTheLibrary) {
  ZutPutenv("VNERRDIR=");
  for (int32_t number = 1; number <= 517; number = number == 32 ? 517 : number + 1) {
    if (std::string(ZutErrNumToStr(number)).starts_with("unknown")) continue;
    for (const int32_t level : {0, 1}) {
      ZutErrFeedbackSet(level);
      const std::string text = reported(number);
      EXPECT_TRUE(text.ends_with(".\n") && text.find("rror number <") == text.npos) << text;
    }
  }
  ZutErrFeedbackSet(0);
  ZutErrCloseFile();
}

CHILD(endsInstead) {
  ZutInit("test");
  ZutErrReportParamsJmp("f", 42, nullptr, nullptr);
}

CHILD(jumps) {
  ZutInit("test");
  static jmp_buf own;
  if (setjmp(own) == 0) ZutErrReportParamsJmp("f", 42, &own, nullptr);
  if (setjmp(*ZutErrGetJumpBufferPtr()) == 0) ZutErrReportParamsJmp("g", 42, nullptr, nullptr);
  std::printf("here\n");
}

TEST_F(ErrReport, JumpsWhereSomebodyWaits) {
  write("-----\n42\nwarning\n0\nexpert\nnovice\nhelp\n");
  const Environment environment = {{"VNERRDIR", "."}, {"VNDEBUGFILENAME", "stderr"}};
  const Result ended = runChild("endsInstead", environment);
  EXPECT_EQ(ended.code, 2);
  EXPECT_EQ(ended.out.substr(0, 9), "\nf: help\n");
  const Result jumped = runChild("jumps", environment);
  EXPECT_EQ(jumped.code, 0);
  EXPECT_EQ(jumped.out, "\nf: help\n\ng: help\nhere\n");
}
