// The command interpreter: registry, aliases, control, failures, files, the prompt.
#include "support/child.h"
#include "support/errors.h"

#include <algorithm>
#include <atomic>
#include <csetjmp>
#include <cstring>
#include <iterator>
#include <random>
#include <sstream>
#include <thread>

#include <unistd.h>

namespace {

std::string calls;    // the arguments that the command "note" was run with, a blank after each
std::string failures; // what the failure function was passed, a blank after each call

void Z_CALL note(ZutLexer *lexer) {
  ZutLexAcceptId(lexer);
  calls += lexer->id_value + std::string(" ");
}

void Z_CALL parseInside(ZutLexer *lexer) {
  ZutLexAccept(lexer, Z_LEX_STRING);
  ZutCommandParseStr(std::string(lexer->string_value.str).c_str());
}

void Z_CALL noteFailure(const char *file, int32_t line, const char *command) {
  failures += file ? std::filesystem::path(file).filename().string() : "-";
  failures += ":" + std::to_string(line) + ":" + command + " ";
}

int count(const std::string &text, const std::string &part) {
  int found = 0;
  for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) ++found;
  return found;
}

bool contains(const std::string &text, const std::string &part) { return count(text, part) > 0; }

class Commands : public testing::Test {
protected:
  void SetUp() override {
    ZutInitThreads();
    ZutOutInit();
    ZutCommandCreate("note", note);
    ZutCommandCreate("inside", parseInside);
    calls = failures = "";
    ZutCommandSetFailures(0);
    ZutCommandSetFailureFunc(noteFailure);
  }
  // What was printed while the text was parsed.
  std::string parse(const std::string &text, int32_t control = 0) {
    ZutCommandParseStrInternal(text.c_str(), control);
    return capture.take();
  }
  // The arguments of "note" in this text, and what was printed.
  std::string run(const std::string &text) {
    calls.clear();
    const std::string out = parse(text);
    return calls + out;
  }
  Capture capture;
};

TEST_F(Commands, AreRegisteredOnceAndOutliveTheirDestruction) {
  EXPECT_ERROR(6, ZutCommandCreate("note", note));
  ZutErrNumSet(0);
  ZutCommand *subscribe = ZutCommandCreate("subscribe", note);
  EXPECT_EQ(ZutErrNumGet(), 0) << "success leaves the number alone";
  EXPECT_EQ(ZutCommandLookup("JOIN_DG"), subscribe);
  EXPECT_ERROR(6, ZutCommandCreate("Join_Dg", note));
  EXPECT_EQ(run("JOIN_DG a; Note b"), "a b ");
  EXPECT_EQ(ZutCommandDestroy(subscribe), 1);
  EXPECT_TRUE(contains(parse("join_dg a"), "Unknown command <join_dg>"));
  static char name[] = "last", text[] = "last 17; note never";
  ZutCommandCreate(name, [](ZutLexer *lexer) {
    ZutCommandDestroy(ZutCommandLookup(name));
    for (char *own : {name, text}) std::fill_n(own, std::strlen(own), '#');
    ZutLexAcceptId(lexer);
  });
  ZutCommandParseStr(text);
  EXPECT_TRUE(contains(capture.take(), "Error in the command <last>, near <17>"));
}

jmp_buf outside; // where the command "leave" goes
int32_t left;

[[gnu::noinline]] std::string parseDeeper(const char *text) {
  char room[8192];
  std::snprintf(room, sizeof room, "%s", text);
  Capture inner;
  ZutCommandParseStr(room);
  return inner.take();
}

// A program that is left by a jump again and again goes on, from the same place and from deeper.
TEST_F(Commands, MayBeLeftByAJump) {
  TempDir dir;
  writeFile("leave.cm", "note a; l\n");
  ZutCommandCreate("leave", [](ZutLexer *) { longjmp(outside, 1); });
  ZutCommandCreate("outer", [](ZutLexer *lexer) {
    if (setjmp(outside) == 0) ZutCommandParseStr("l");
    ZutLexAcceptId(lexer);
  });
  parse("alias l leave");
  left = 0;
  if (setjmp(outside) != 0) ++left;
  if (left < 40) ZutCommandParseTypedStr("source leave.cm");
  capture.take();
  ZutCommandPrintFeedback("typed");
  EXPECT_FALSE(contains(parse("nosuch; note b"), "typed"));
  parse("outer 17");
  // A report jumps from now on, and the next text is parsed from deeper.
  ZutCommandDestroy(ZutCommandLookup("leave"));
  ZutCommandCreate("leave", [](ZutLexer *) {
    if (left++ == 0) ZutErrReportParamsJmp("leave", 31999, &outside, static_cast<char *>(nullptr));
  });
  left = 0;
  if (setjmp(outside) == 0) ZutCommandParseFile("leave.cm");
  EXPECT_FALSE(contains(parseDeeper("l; nosuch"), "recursive"));
  EXPECT_EQ(failures, "-:0:nosuch -:0:outer -:0:nosuch ");
  EXPECT_EQ(count(calls, "a "), 41);
  EXPECT_TRUE(std::filesystem::remove("leave.cm")) << "Windows keeps an open file";
}

TEST_F(Commands, AnErrorEndsTheTextAndNothingElse) {
  const struct {
    std::string text, command, message;
  } cases[] = {
      {"nosuch", "nosuch", "Unknown command <nosuch>"},
      {"note 1", "note", "Error in the command <note>, near <1>"},
      {"note", "note", "ERROR: Expected: <identifier>"},
      {"\"x\"", "", "Error near <x>"},
      {"note a b", "note", "near <b>"},
      {"note \"open", "note", "Found EOF in string constant"},
      {"echo /* a", "echo", "Error in the command <echo>, near </*>"},
      {"/* /* */", "", "Start Of Nested Comment"},
      {"note " + std::string(64, 'n'), "note", "Identifier Too Long"},
      {"unalias 17", "unalias", "Usage: unalias NAME"},
      {"edit //server/file", "edit", "// begins a comment"},
  };
  for (const auto &row : cases) {
    failures.clear();
    const std::string out = run("note c;; " + row.text + "; note d");
    EXPECT_TRUE(contains(out, row.message)) << out;
    EXPECT_TRUE(out.starts_with("c ") && !calls.ends_with("d ")) << out;
    EXPECT_EQ(failures, "-:0:" + row.command + " ");
  }
  EXPECT_EQ(ZutCommandGetFailures(), static_cast<int32_t>(std::size(cases)));
  EXPECT_TRUE(
      contains(parse("unalias"), "Error in the command <unalias>: the text ends too early"));
}

TEST_F(Commands, AliasesExpandInPlace) {
  parse("alias n note; alias two \"note x; n\"; alias same same; alias p q; alias q p");
  EXPECT_EQ(run("n a; n b;n c; two y; two /* c */ z; n w"), "a b c x y x z w ");
  // A use inside the alias's own expansion is recursive, one after a separator is not.
  parse("alias deep inside \"deep\"; alias i inside");
  for (const std::string name : {"deep", "same", "p"})
    EXPECT_TRUE(contains(run(name + "; note d"), "Alias <" + name + "> is recursive"));
  EXPECT_EQ(calls, "");
  EXPECT_TRUE(contains(run("i \"i \\\"note v\\\"\""), "recursive"));
  EXPECT_EQ(run("n a; inside \"n u\""), "a u ");
  parse("alias once \"unalias once; note a\"");
  EXPECT_EQ(run("once"), "a ");
  EXPECT_TRUE(contains(parse("once"), "Unknown command <once>"));
  EXPECT_EQ(run("alias other \"alias other note b; note a\"; other; other"), "a b ");
  for (int i = 0; i < 40; ++i)
    parse("alias c" + std::to_string(i) + " c" + std::to_string(i + 1) + "; alias c40 note");
  EXPECT_TRUE(contains(parse("c0 a"), "nested more than 32 deep near <c32>"));
  parse("alias wide \"note b /*" + std::string(600, '*') + "/; c10\"");
  EXPECT_EQ(run("c10 c; wide d; c10 e"), "c b d e ");
}

TEST_F(Commands, TextsFromOutsideRunWhatTheOptionLists) {
  parse("setopt enable_control_msgs NOTE");
  parse("note a; NOTE b", 1);
  EXPECT_TRUE(contains(parse("inside \"note x\"", 1), "does not list the command"));
  EXPECT_TRUE(contains(parse("ls", 1), "refused: <sh dir>"));
  parse("alias s \"note c; sh exit 3\"");
  EXPECT_TRUE(contains(parse("s", 1), "refused"));
  parse("setopt enable_control_msgs _all");
  parse("inside \"note d\"", 1);
  parse("unsetopt enable_control_msgs");
  EXPECT_TRUE(contains(parse("note x", 1), "Control messages are disabled"));
  ZutCommandParseTypedStrInternal("note e", 1);
  EXPECT_EQ(calls, "a b c d e ");
}

TEST_F(Commands, FeedbackFollowsTheModeAndTheTyping) {
  const auto shows = [this](const char *text) {
    ZutCommandParseTypedStr(text);
    return contains(capture.take(), "Alias n installed");
  };
  EXPECT_TRUE(shows("alias n note"));
  EXPECT_FALSE(shows("inside \"alias n note\""));
  EXPECT_TRUE(shows("nosuch; 1") || shows("alias n note")) << "after an error";
  EXPECT_EQ(parse("alias n note"), "");
  parse("setopt command_feedback always");
  EXPECT_TRUE(contains(parse("alias n note"), "installed"));
  parse("setopt command_feedback never");
  EXPECT_FALSE(shows("alias n note"));
  parse("setopt command_feedback interactive");
}

TEST_F(Commands, FilesReportTheirFailuresThroughNestedSources) {
  TempDir dir;
  writeFile("in ner.cm", "note a\n\nnosuch\r\nunalias gone\nnote b");
  writeFile("outer.cm", "// first\nsource \"in ner.cm\"\nsetopt nosuch 1\nnote c; 17\n");
  writeFile("a.cm", "note d");
  EXPECT_EQ(ZutCommandParseFile("outer.cm"), 1);
  parse("alias src source; src a.cm; source missing.cm; note e");
  EXPECT_EQ(calls, "a b c d e ");
  EXPECT_EQ(failures, "in ner.cm:3:nosuch in ner.cm:4:unalias outer.cm:3:setopt outer.cm:4: "
                      "-:0:source ");
  const char *file = "";
  int32_t line = 7;
  EXPECT_EQ(ZutCommandGetPosition(&file, &line), 0);
  EXPECT_EQ(file, nullptr);
  writeFile("self.cm", "note f\nsource self.cm\nnote g\n");
  ZutCommandParseFile("self.cm");
  EXPECT_EQ(count(capture.take(), "nested more than 32 deep near <self.cm>"), 1);
  EXPECT_EQ(count(calls, "g "), 32);
  ZutCommandSetStopAtFailure(1);
  EXPECT_EQ(run("note h"), "") << "after a failure";
  ZutCommandSetFailures(0);
  writeFile("stop.cm", "note h\nnosuch\nnote i\n");
  EXPECT_TRUE(run("source stop.cm; note i").starts_with("h ") && calls == "h ");
  EXPECT_ERROR(7, ZutCommandSetStopAtFailure(2));
  ZutCommandSetStopAtFailure(0);
  EXPECT_EQ(run("note j"), "j ");
}

TEST_F(Commands, BadFilesAreReportedAndNotRun) {
  TempDir dir;
  const std::string full(4087, 'x'); // with what stands before it 4096 characters
  writeFile("long.cm", "\xEF\xBB\xBFnote /*" + std::string(4084, 'x') + "*/ a\r\nnote b //" + full +
                           "\nnote c");
  writeFile("zero.cm", std::string("note d\nnote e\0f\nnote g\n", 23));
  std::filesystem::create_directory("dir.cm");
  ZutCommandParseFile("long.cm");
  const std::string out = capture.take();
  EXPECT_EQ(count(out, "is longer than 4095 characters"), 1);
  EXPECT_TRUE(contains(out, "long.cm: line 2 "));
  EXPECT_EQ(ZutCommandParseFile("zero.cm"), 0);
  EXPECT_TRUE(contains(capture.take(), "<zero.cm> is not a text file: line 2"));
  EXPECT_EQ(calls, "a c d ");
  for (const char *name : {"dir.cm", "/dev/zero", "none.cm"}) { // elsewhere no /dev/zero
    EXPECT_EQ(ZutCommandParseFile(name), 0);
    EXPECT_TRUE(contains(capture.take(), name));
  }
  EXPECT_EQ(ZutCommandGetFailures(), 5);
}

TEST_F(Commands, StartupFilesAreFoundInTheirOrder) {
  TempDir dir;
  const std::string base = dir.path().string();
  for (const char *name : {"home", "data/standard"}) std::filesystem::create_directories(name);
  for (const char *name : {"data/standard/two.cm", "home/two.cmd"}) writeFile(name, "note no");
  writeFile("data/standard/app.cmd", "note data");
  writeFile("home/two.cm", "note home");
  writeFile("app.cm", "note given");
  writeFile("late.cmd", "note late");
  ZutPutenv(("HOME=" + base + "/home").c_str());
  ZutPutenv(("VNHOME=" + base + "/data").c_str());
  EXPECT_EQ(ZutCommandParseStdInternal("app", 0, "app.cmd", "two", "late.cm"), 1);
  EXPECT_EQ(calls, "data home given ");
  const std::string out = capture.take();
  EXPECT_EQ(count(out, " is ignored: "), 3);
  EXPECT_EQ(count(out, "app.cm> was read"), 2) << "the first name of the pair, read or not";
  EXPECT_TRUE(contains(out, "<late.cmd> is ignored: <app.cm> was read"));
  EXPECT_EQ(ZutCommandParseStd("app", 0, "late.cm"), 1);
  ZutPutenv(("HOME=" + base).c_str());
  EXPECT_EQ(ZutCommandParseStd("app", 0, "app.cm"), 1);
  EXPECT_EQ(calls, "data home given data late data given given ") << "the last one twice: kept";
  std::filesystem::remove("app.cm");
  EXPECT_EQ(ZutCommandParseStd("app", 0, "APP.CM"), 1) << "the base's own name may be missing";
  EXPECT_EQ(ZutCommandParseStd2("app", 0, "none", 0), 1);
  capture.take();
  EXPECT_EQ(ZutCommandParseStd("app", 1, "none"), 0);
  EXPECT_TRUE(contains(capture.take(), "The command file <none> does not exist"));
  EXPECT_ERROR(7, ZutCommandParseStd("app", 2, "none"));
  ZutPutenv("VNHOME=");
}

// Every error leaves by a jump; what the parse held must be gone and no lock kept.
TEST_F(Commands, ManyErrorsLeaveNothingBehind) {
  ZutCommandCreate("locking", [](ZutLexer *lexer) {
    ZutProcessMutexLock();
    ZutLexAcceptId(lexer);
  });
  for (int i = 0; i < 10000; ++i) {
    ZutCommandParseStr("note a; 17");
    ZutCommandParseStr("inside \"note b; nosuch\"; \"open");
    if (i % 100 == 0) parse("alias bad \"unalias 1\"; bad"), parse("alias x \"a\" b \"c");
  }
  parse("locking 1");
}

TEST_F(Commands, ThreadsParseSideBySide) {
  ZutCommandSetFailureFunc(nullptr);
  static std::atomic<int> runs;
  ZutCommandCreate("note2", [](ZutLexer *lexer) {
    ZutLexAcceptId(lexer);
    ++runs;
  });
  parse("alias t note2");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      const std::string own = "own" + std::to_string(t);
      for (int i = 0; i < 300; ++i) {
        ZutCommandParseStr("t a; t b");
        ZutCommandParseStr(t % 2 ? "alias u t; u c" : "alias u t; unalias u; 1");
        ZutCommandRecordString("line");
        ZutCommandDestroy(ZutCommandCreate(own.c_str(), note));
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_GE(runs, 2400);
  EXPECT_EQ(ZutCommandGetFailures(), 0) << "failures are counted per thread";
}

// In a process of its own: an alias may hide any command afterwards.
CHILD(noise) {
  ZutInitThreads();
  ZutOutInit();
  Capture capture;
  ZutCommandCreate("inside", parseInside);
  std::istringstream words("setopt unsetopt setnopt createopt alias unalias echo help helpopt "
                           "history stats _debug_on _debug_off _set_time _set_frame_count _alarm "
                           "inside n m x trace_level prompt server_names verbose subjects "
                           "never unknown true string enum protect ; ; ; , . - $ $HOME \" /* */ // "
                           "(* 1 1e30 0.5 ? n?x? ' { \\ \xff \x01");
  std::vector<std::string> pieces(std::istream_iterator<std::string>(words), {});
  pieces.insert(pieces.end(),
                {"\"a b\"", "\"a\\\"", "\n", std::string(70, 'k'), std::string(300, '7')});
  std::mt19937 random(4711);
  ZutCommandParseStr("alias n m; alias m \"n; x\"; alias x alias");
  for (int i = 0; i < 10000; ++i) {
    std::string text;
    for (unsigned words = random() % 12; words > 0; --words)
      text += pieces[random() % pieces.size()] + (random() % 3 ? " " : "");
    ZutCommandParseStrInternal(text.c_str(), random() % 4 == 0);
  }
  ZutCommandCreate("alive", [](ZutLexer *) { std::exit(5); });
  ZutCommandParseStr("alive");
}

TEST(Noise, DoesNoHarm) { EXPECT_EQ(runChild("noise").code, 5); }

// --- The prompt: children, whose standard input is a file ---

CHILD(loop) {
  ZutOutInit();
  ZutCommandCreate("note", [](ZutLexer *lexer) {
    ZutLexAcceptId(lexer);
    ZutOut("<%s>\n", lexer->id_value);
  });
  std::exit(ZutCommandMainLoop() + 10);
}

TEST(Prompt, RecallsLinesOfItsHistory) {
  const Result result =
      runChild("loop", {},
               "\xEF\xBB\xBF!!\n  \nnote one\nNOTE two\n!!\n!note o\n!nosuch\nhistory 3\n" +
                   std::string(5000, ' ') + "note three\n" + "note last");
  EXPECT_EQ(result.code, 10);
  for (const char *part :
       {"Type 'help' for help.\n", "The history is empty", "<!nosuch>", "<last>",
        "   3: NOTE two\n   4: note one\n   5: history 3\n", "standard input: line 9 is longer"})
    EXPECT_TRUE(contains(result.out, part)) << part;
  EXPECT_EQ(count(result.out, "<two>") + count(result.out, "<one>"), 4);
  EXPECT_FALSE(contains(result.out, "three"));
  EXPECT_FALSE(contains(result.out, "> ")) << "no prompt for a pipe";
}

TEST(Prompt, ReportsAnInputThatCannotBeRead) {
  ZutOutInit();
  Capture capture;
  close(0);
  EXPECT_EQ(ZutCommandMainLoop(), 0);
  EXPECT_TRUE(contains(capture.take(), "<standard input> is not a text file: line 1 cannot be"));
}

CHILD(ask) {
  while (!std::feof(stdin)) std::printf("=%d\n", static_cast<int>(ZutCommandGetYesOrNo("Sure? ")));
}

TEST(Prompt, AsksUntilTheAnswerIsClear) {
  const Result result =
      runChild("ask", {}, "yes\nn\nYES\n17\nmaybe\ny\n\"open\n" + std::string(400, 'y') + "\nno\n");
  EXPECT_EQ(count(result.out, "=1"), 2);
  EXPECT_EQ(count(result.out, "=0"), 4);
  EXPECT_EQ(count(result.out, "Please enter yes or no.\n"), 4);
}

} // namespace
