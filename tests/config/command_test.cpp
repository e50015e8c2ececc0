// The command interpreter: registry, aliases, control, failures, files, the prompt.
#include "support/child.h"

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

std::vector<std::string> calls; // the arguments that the command "note" was run with

void Z_CALL note(ZutLexer *lexer) {
  ZutLexAcceptId(lexer);
  calls.push_back(lexer->id_value);
}

void Z_CALL parseInside(ZutLexer *lexer) {
  ZutLexAccept(lexer, Z_LEX_STRING);
  ZutCommandParseStr(std::string(lexer->string_value.str).c_str());
}

std::vector<std::string> told; // what the failure function was told

void Z_CALL tell(const char *file, int32_t line, const char *command) {
  const std::string place = file ? std::filesystem::path(file).filename().string() : "-";
  told.push_back(place + ":" + std::to_string(line) + ":" + command);
}

bool contains(const std::string &text, const std::string &part) {
  return text.find(part) != std::string::npos;
}

int count(const std::string &text, const std::string &part) {
  int found = 0;
  for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) ++found;
  return found;
}

class Commands : public testing::Test {
protected:
  void SetUp() override {
    ZutInitThreads();
    ZutOutInit();
    if (!ZutCommandLookup("note")) {
      ZutCommandCreate("note", note);
      ZutCommandCreate("inside", parseInside);
    }
    calls.clear();
    told.clear();
    ZutCommandSetFailures(0);
    ZutCommandSetFailureFunc(tell);
  }
  void TearDown() override { ZutCommandSetFailureFunc(nullptr); }

  // What was printed while the text was parsed.
  std::string parse(const std::string &text, int32_t control = 0) {
    ZutCommandParseStrInternal(text.c_str(), control);
    return capture.take();
  }
  using Calls = std::vector<std::string>;
  Capture capture;
};

TEST_F(Commands, AreRegisteredOnceAndOutliveTheirDestruction) {
  EXPECT_EQ(ZutCommandCreate("note", note), nullptr);
  EXPECT_EQ(ZutErrNumGet(), 6);
  EXPECT_EQ(ZutCommandCreate("other", nullptr), nullptr);
  EXPECT_EQ(ZutErrNumGet(), 3);
  EXPECT_EQ(ZutCommandLookup("other"), nullptr);

  ZutErrNumSet(0);
  ZutCommand *subscribe = ZutCommandCreate("subscribe", note);
  EXPECT_EQ(ZutErrNumGet(), 0) << "success leaves the number alone";
  EXPECT_EQ(ZutCommandLookup("JOIN_DG"), subscribe);
  EXPECT_EQ(ZutCommandCreate("Join_Dg", note), nullptr);
  parse("JOIN_DG a; Note b");
  EXPECT_EQ(calls, (Calls{"a", "b"}));
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
  ZutCommand *leave = ZutCommandCreate("leave", [](ZutLexer *) { longjmp(outside, 1); });
  ZutCommand *outer = ZutCommandCreate("outer", [](ZutLexer *lexer) {
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
  ZutCommandDestroy(leave); // a report jumps from now on, and the next text is parsed from deeper
  leave = ZutCommandCreate("leave", [](ZutLexer *) {
    if (left++ == 0) ZutErrReportParamsJmp("leave", 31999, &outside, static_cast<char *>(nullptr));
  });
  left = 0;
  if (setjmp(outside) == 0) ZutCommandParseFile("leave.cm");
  EXPECT_FALSE(contains(parseDeeper("l; nosuch"), "recursive"));
  EXPECT_EQ(told, (Calls{"-:0:nosuch", "-:0:outer", "-:0:nosuch"}));
  EXPECT_EQ(calls.size(), 41u);
  EXPECT_TRUE(std::filesystem::remove("leave.cm")) << "Windows keeps an open file";
  for (ZutCommand *command : {leave, outer}) ZutCommandDestroy(command);
}

TEST_F(Commands, AnErrorEndsTheTextAndNothingElse) {
  const std::string out = parse("note a;; note b; nosuch; note c");
  EXPECT_EQ(calls, (Calls{"a", "b"}));
  EXPECT_TRUE(contains(out, "Unknown command <nosuch>"));
  EXPECT_EQ(ZutCommandGetFailures(), 1);
  for (const char *text : {"note 1; note d", "note; note d", "; \"x\"; note d", "note a b; note d",
                           "note \"open", "note a /* b", "/* /* */ note d",
                           "note " /* 64 characters */
                           "a123456789a123456789a123456789a123456789a123456789a123456789a123"}) {
    EXPECT_NE(parse(text), "") << text;
    EXPECT_EQ(calls.back() == "d", false) << text;
  }
  EXPECT_EQ(ZutCommandGetFailures(), 9);
  EXPECT_EQ(ZutCommandParseStr(nullptr), 0);
  EXPECT_EQ(ZutErrNumGet(), 3);
}

TEST_F(Commands, ASyntaxErrorNamesCommandPlaceAndHelp) {
  const std::string inside = parse("unalias 17");
  EXPECT_TRUE(contains(inside, "ERROR: Expected: <identifier>"));
  EXPECT_TRUE(contains(inside, "Error in the command <unalias>, near <17>"));
  EXPECT_TRUE(contains(inside, "Usage: unalias NAME"));
  EXPECT_TRUE(
      contains(parse("unalias"), "Error in the command <unalias>: the text ends too early"));
  EXPECT_TRUE(contains(parse("17"), "Error near <17>"));
  EXPECT_TRUE(contains(parse("echo /* a"), "Error in the command <echo>, near </*>"));
  EXPECT_TRUE(contains(parse("edit //server/file"), "// begins a comment"));
  EXPECT_EQ(told, (Calls{"-:0:unalias", "-:0:unalias", "-:0:", "-:0:echo", "-:0:edit"}));
}

TEST_F(Commands, AliasesExpandInPlace) {
  parse("alias n note; alias two \"note x; n\"; alias same same; alias p q; alias q p");
  EXPECT_EQ(parse("n a; n b;n c"), "");
  EXPECT_EQ(calls, (Calls{"a", "b", "c"}));
  calls.clear();
  EXPECT_EQ(parse("two y; two /* c */ z; n w"), "");
  EXPECT_EQ(calls, (Calls{"x", "y", "x", "z", "w"}));
  for (const char *text : {"same; note d", "p; note d", "alias r inside \"\\\"r\\\"\""})
    parse(text);
  EXPECT_EQ(calls.size(), 5u);
  EXPECT_TRUE(contains(parse("same"), "Alias <same> is recursive"));
  EXPECT_TRUE(contains(parse("p"), "Alias <p> is recursive"));
  // An alias that a command of its own expansion uses is inside it, one behind a separator is not.
  parse("alias deep inside \"deep\"; alias i inside");
  EXPECT_TRUE(contains(parse("deep"), "Alias <deep> is recursive"));
  EXPECT_EQ(parse("i \"i \\\"note v\\\"\"").find("recursive") == std::string::npos, false);
  EXPECT_EQ(parse("n a; inside \"n u\""), "");
  EXPECT_EQ(calls.back(), "u");
  calls.clear();
  parse("alias once \"unalias once; note a\"");
  EXPECT_EQ(parse("once"), "");
  EXPECT_TRUE(contains(parse("once"), "Unknown command <once>"));
  parse("alias turn \"alias turn note b; note a\"; turn; turn");
  EXPECT_EQ(calls, (Calls{"a", "a", "b"}));
  calls.clear();
  for (int i = 0; i < 40; ++i)
    parse("alias c" + std::to_string(i) + " c" + std::to_string(i + 1) + "; alias c40 note");
  EXPECT_EQ(parse("c10 a"), "");
  EXPECT_TRUE(contains(parse("c0 a"), "nested more than 32 deep near <c32>"));
  parse("alias wide \"note b /*" + std::string(600, '*') + "/; c10\"; c10 c; wide d; c10 e");
  EXPECT_EQ(calls, (Calls{"a", "c", "b", "d", "e"}));
}

TEST_F(Commands, TextsFromOutsideRunWhatTheOptionLists) {
  parse("setopt enable_control_msgs NOTE");
  parse("note a; NOTE b", 1);
  EXPECT_EQ(calls, (Calls{"a", "b"}));
  EXPECT_TRUE(contains(parse("inside \"note c\"", 1), "does not list the command"));
  EXPECT_TRUE(contains(parse("ls", 1), "refused: <sh dir>"));
  parse("alias n note; alias s \"n c; sh exit 3\"");
  EXPECT_TRUE(contains(parse("s", 1), "refused"));
  EXPECT_EQ(calls.back(), "c");
  parse("setopt enable_control_msgs _all; inside \"note d\"");
  parse("inside \"note e\"", 1);
  EXPECT_EQ(calls.back(), "e");
  parse("unsetopt enable_control_msgs");
  EXPECT_TRUE(contains(parse("note f", 1), "Control messages are disabled"));
  ZutCommandParseTypedStrInternal("note g", 1);
  EXPECT_EQ(calls.back(), "g");
  parse("setopt enable_control_msgs echo, quit");
}

TEST_F(Commands, FeedbackFollowsTheModeAndTheTyping) {
  const auto shows = [this](const char *text) {
    ZutCommandParseTypedStr(text);
    return contains(capture.take(), "Alias n installed");
  };
  EXPECT_TRUE(shows("alias n note"));
  EXPECT_FALSE(shows("inside \"alias n note\""));
  EXPECT_TRUE(shows("nosuch; 1") || shows("alias n note"));
  EXPECT_FALSE(contains(parse("alias n note"), "installed"));
  parse("setopt command_feedback always");
  EXPECT_TRUE(contains(parse("alias n note"), "installed"));
  parse("setopt command_feedback never");
  EXPECT_FALSE(shows("alias n note"));
  parse("setopt command_feedback interactive");
}

TEST_F(Commands, FilesTellTheirFailuresThroughNestedSources) {
  TempDir dir;
  writeFile("in ner.cm", "note a\n\nnosuch\r\nunalias gone\nnote b");
  writeFile("outer.cm", "// first\nsource \"in ner.cm\"\nsetopt nosuch 1\nnote c; 17\n");
  parse("alias src source");
  EXPECT_EQ(ZutCommandParseFile("outer.cm"), 1);
  EXPECT_EQ(calls, (Calls{"a", "b", "c"}));
  EXPECT_EQ(told, (Calls{"in ner.cm:3:nosuch", "in ner.cm:4:unalias", "outer.cm:3:setopt",
                         "outer.cm:4:"}));
  const char *file = "";
  int32_t line = 7;
  EXPECT_EQ(ZutCommandGetPosition(&file, &line), 0);
  EXPECT_EQ(file, nullptr);
  told.clear();
  writeFile("a.cm", "note d");
  parse("src a.cm; source missing.cm; note e");
  EXPECT_EQ(calls, (Calls{"a", "b", "c", "d", "e"}));
  EXPECT_EQ(told, (Calls{"-:0:source"}));
  capture.take();
  writeFile("self.cm", "note f\nsource self.cm\nnote g\n");
  ZutCommandParseFile("self.cm");
  EXPECT_EQ(count(capture.take(), "nested more than 32 deep near <self.cm>"), 1);
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "g"), 32);
}

TEST_F(Commands, BadFilesAreToldAndNotRun) {
  TempDir dir;
  const std::string full(4087, 'x'); // with what stands before it 4096 characters
  writeFile("long.cm", "\xEF\xBB\xBFnote /*" + std::string(4084, 'x') + "*/ a\r\nnote b //" + full +
                           "\nnote c");
  writeFile("zero.cm", std::string("note d\nnote e\0f\nnote g\n", 23));
  std::filesystem::create_directory("dir.cm");
  ZutCommandParseFile("long.cm");
  EXPECT_EQ(calls, (Calls{"a", "c"}));
  const std::string out = capture.take();
  EXPECT_EQ(count(out, "is longer than 4095 characters"), 1);
  EXPECT_TRUE(contains(out, "long.cm: line 2 "));
  EXPECT_EQ(ZutCommandParseFile("zero.cm"), 0);
  EXPECT_TRUE(contains(capture.take(), "<zero.cm> is not a text file: line 2"));
  EXPECT_EQ(calls, (Calls{"a", "c", "d"}));
  for (const char *name : {"dir.cm", "/dev/zero"}) { // elsewhere the latter does not exist
    EXPECT_EQ(ZutCommandParseFile(name), 0);
    EXPECT_TRUE(contains(capture.take(), name));
  }
  EXPECT_EQ(ZutCommandParseFile("none.cm"), 0);
  EXPECT_TRUE(contains(capture.take(), "Cannot open the command file <none.cm>"));
  EXPECT_EQ(ZutCommandGetFailures(), 5);
}

TEST_F(Commands, StopsAtAFailureWhenAsked) {
  TempDir dir;
  writeFile("a.cm", "note a\nnosuch\nnote b\n");
  ZutCommandSetStopAtFailure(1);
  parse("source a.cm; note c");
  parse("note d");
  EXPECT_EQ(calls, (Calls{"a"}));
  ZutCommandSetFailures(0);
  parse("note e; nosuch");
  ZutCommandSetStopAtFailure(0);
  parse("note f");
  EXPECT_EQ(calls, (Calls{"a", "e", "f"}));
}

TEST_F(Commands, StartupFilesAreFoundInTheirOrder) {
  TempDir dir;
  const std::string base = dir.path().string();
  for (const char *name : {"home", "data", "data/standard"})
    std::filesystem::create_directory(name);
  writeFile("data/standard/app.cmd", "note data");
  writeFile("data/standard/two.cm", "note no");
  writeFile("home/two.cm", "note home");
  writeFile("home/two.cmd", "note no");
  writeFile("app.cm", "note given");
  writeFile("late.cmd", "note late");
  ZutPutenv(("HOME=" + base + "/home").c_str());
  ZutPutenv(("VNHOME=" + base + "/data").c_str());
  EXPECT_EQ(ZutCommandParseStdInternal("app", 0, "app.cmd", "two", "late.cm"), 1);
  EXPECT_EQ(calls, (Calls{"data", "home", "given"}));
  const std::string out = capture.take();
  EXPECT_EQ(count(out, " is ignored: "), 3);
  EXPECT_EQ(count(out, "app.cm> was read"), 2) << "the first name of the pair, read or not";
  EXPECT_TRUE(contains(out, "<late.cmd> is ignored: <app.cm> was read"));
  EXPECT_EQ(ZutCommandParseStd("app", 0, "late.cm"), 1);
  EXPECT_EQ(calls.back(), "late");
  ZutPutenv(("HOME=" + base).c_str());
  calls.clear();
  EXPECT_EQ(ZutCommandParseStd("app", 0, "app.cm"), 1);
  EXPECT_EQ(calls, (Calls{"data", "given", "given"})) << "kept";
  std::filesystem::remove("app.cm");
  EXPECT_EQ(ZutCommandParseStd("app", 0, "APP.CM"), 1) << "the base's own name may be missing";
  EXPECT_EQ(ZutCommandParseStd2("app", 0, "none", 0), 1);
  capture.take();
  EXPECT_EQ(ZutCommandParseStd("app", 1, "none"), 0);
  EXPECT_TRUE(contains(capture.take(), "The command file <none> does not exist"));
  EXPECT_EQ(ZutCommandParseStd("app", 2, "none"), 0);
  EXPECT_EQ(ZutErrNumGet(), 7);
  EXPECT_EQ(ZutCommandParseStd(nullptr, 0, "none"), 0);
  EXPECT_EQ(ZutErrNumGet(), 3);
  ZutPutenv("VNHOME=");
}

// Every error leaves by a jump; what the parse held must be gone and no lock kept.
TEST_F(Commands, ManyErrorsLeaveNothingBehind) {
  parse("alias bad \"unalias 1\"");
  ZutCommand *locking = ZutCommandCreate("locking", [](ZutLexer *lexer) {
    ZutProcessMutexLock();
    ZutLexAcceptId(lexer);
  });
  for (int i = 0; i < 10000; ++i) {
    ZutCommandParseStr("note a; 17");
    ZutCommandParseStr("inside \"note b; nosuch\"; \"open");
    if (i % 100 != 0) continue;
    for (const char *text : {"bad", "alias x \"a\" b \"c", "locking 1"}) parse(text);
  }
  std::thread other([] { ZutCommandParseStr("alias y note"); });
  other.join();
  ZutCommandDestroy(locking);
}

TEST_F(Commands, ThreadsParseSideBySide) {
  ZutCommandSetFailureFunc(nullptr);
  parse("alias t note2");
  static std::atomic<int> runs;
  runs = 0;
  ZutCommand *command = ZutCommandCreate("note2", [](ZutLexer *lexer) {
    ZutLexAcceptId(lexer);
    ++runs;
  });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 300; ++i) {
        ZutCommandParseStr("t a; t b");
        ZutCommandParseStr(t % 2 ? "alias u t; u c" : "alias u t; unalias u; 1");
        ZutCommandRecordString("line");
        static const char *const own[] = {"own0", "own1", "own2", "own3"};
        ZutCommandDestroy(ZutCommandCreate(own[t], note));
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_GE(runs, 2400);
  EXPECT_EQ(ZutCommandGetFailures(), 0) << "failures are counted per thread";
  ZutCommandDestroy(command);
}

// In a process of its own: any command may end up hidden behind an alias.
CHILD(noise) {
  ZutInitThreads();
  ZutOutInit();
  Capture capture;
  ZutCommandCreate("note", note);
  ZutCommandCreate("inside", parseInside);
  std::istringstream words("setopt unsetopt setnopt createopt alias unalias echo help helpopt "
                           "history stats _debug_on _debug_off _set_time _set_frame_count _alarm "
                           "note inside n m x trace_level prompt server_names verbose subjects "
                           "never unknown true string enum protect ; ; ; , . - $ $HOME \" /* */ // "
                           "(* 1 1e30 0.5 ? n?x? ' { \\ \xff \x01");
  std::vector<std::string> pieces(std::istream_iterator<std::string>(words), {});
  for (const char *piece : {"\"a b\"", "\"a\\\"", "\n"}) pieces.push_back(piece);
  pieces.push_back(std::string(70, 'k'));
  pieces.push_back(std::string(300, '7'));
  std::mt19937 random(4711);
  ZutCommandParseStr("alias n m; alias m \"n; x\"; alias x alias");
  for (int i = 0; i < 10000; ++i) {
    std::string text;
    for (unsigned words = random() % 12; words > 0; --words)
      text += pieces[random() % pieces.size()] + (random() % 3 ? " " : "");
    ZutCommandParseStrInternal(text.c_str(), random() % 4 == 0);
    if (i % 100 == 0) capture.take();
  }
  ZutCommandCreate("alive", [](ZutLexer *) { std::exit(5); });
  ZutCommandParseStr("alive");
}

TEST(Noise, DoesNoHarm) { EXPECT_EQ(runChild("noise").code, 5); }

// --- The prompt, in processes of its own ---

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
  EXPECT_TRUE(contains(result.out, "Type 'help' for help.\n"));
  EXPECT_TRUE(contains(result.out, "The history is empty"));
  EXPECT_EQ(count(result.out, "<two>"), 2);
  EXPECT_EQ(count(result.out, "<one>"), 2);
  EXPECT_TRUE(contains(result.out, "<!nosuch>"));
  EXPECT_TRUE(contains(result.out, "   3: NOTE two\n   4: note one\n   5: history 3\n"));
  EXPECT_FALSE(contains(result.out, "three"));
  EXPECT_TRUE(contains(result.out, "standard input: line 9 is longer"));
  EXPECT_TRUE(contains(result.out, "<last>"));
  EXPECT_FALSE(contains(result.out, "> ")) << "no prompt for a pipe";
}

CHILD(unreadable) {
  close(0);
  ZutOutInit();
  std::exit(ZutCommandMainLoop() + 10);
}

TEST(Prompt, TellsOfAnInputThatCannotBeRead) {
  const Result result = runChild("unreadable");
  EXPECT_EQ(result.code, 10);
  EXPECT_TRUE(contains(result.out, "<standard input> is not a text file: line 1 cannot be read"));
}

CHILD(ask) {
  int32_t answer = 0;
  while ((answer = ZutCommandGetYesOrNo("Sure? ")) >= 0 && !std::feof(stdin))
    std::printf("=%d\n", static_cast<int>(answer));
}

TEST(Prompt, AsksUntilTheAnswerIsClear) {
  const Result result =
      runChild("ask", {}, "yes\nn\nYES\n17\nmaybe\ny\n\"open\n" + std::string(400, 'y') + "\nno\n");
  EXPECT_EQ(count(result.out, "=1"), 2);
  EXPECT_EQ(count(result.out, "=0"), 3);
  EXPECT_EQ(count(result.out, "Please enter yes or no.\n"), 4);
}

} // namespace
