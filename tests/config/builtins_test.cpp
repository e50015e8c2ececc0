// The built-in commands and their help.
#include "support/child.h"

#include <algorithm>
#include <iterator>
#include <sstream>

namespace fs = std::filesystem;

namespace {

// In the order of registration.
constexpr char names[] =
    "_abort _alarm _debug_on _debug_off _debug_set _print_sbrk _set_fd_limit _set_frame_count "
    "_set_time _sigint _sleep _putenv alias cd echo edit help helpopt history quit setopt setnopt "
    "sh source stats unalias unsetopt createopt";

using Names = std::vector<std::string>;

Names wordsOf(const std::string &text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

// The names that a shipped help file has entries for, in their order.
Names entriesOf(const char *topic) {
  const fs::path catalog = static_cast<const char *>(ZutOptionGetValue("catalog_file"));
  const fs::path share = catalog.parent_path().parent_path();
  std::istringstream lines(readFile(share / "help" / topic / "common.hlp"));
  Names found;
  for (std::string line; std::getline(lines, line);)
    if (!line.empty() && line[0] != ' ' && line[0] != '/') found.push_back(line);
  return found;
}

bool contains(const std::string &text, const std::string &part) {
  return text.find(part) != std::string::npos;
}

class BuiltIns : public testing::Test {
protected:
  void SetUp() override {
    ZutInitThreads();
    ZutOutInit();
    ZutPerrorSetEnable(1);
    ZutCommandSetFailures(0);
  }
  // What a person who types the text sees.
  std::string type(const std::string &text) {
    ZutCommandParseTypedStr(text.c_str());
    return capture.take();
  }
  // The same; the text must fail once, with this in what is printed.
  testing::AssertionResult fails(const std::string &text, const std::string &with) {
    const int32_t before = ZutCommandGetFailures();
    const std::string out = type(text);
    const int32_t times = ZutCommandGetFailures() - before;
    if (times == 1 && contains(out, with)) return testing::AssertionSuccess();
    return testing::AssertionFailure() << times << " failures, printed: " << out;
  }
  Capture capture;
};

TEST_F(BuiltIns, EveryCommandAndOptionHasItsHelp) {
  const Names commands = entriesOf("commands");
  EXPECT_EQ(commands, wordsOf(names));
  for (const std::string &name : commands) {
    ASSERT_NE(ZutCommandLookup(name.c_str()), nullptr) << name;
    const std::string help = type("help " + name);
    EXPECT_TRUE(help.starts_with(name + " ") && contains(help, "\nExample: " + name)) << help;
  }
  Names options = entriesOf("options"), known;
  for (const std::string &name : options) {
    const std::string help = type("helpopt " + name);
    EXPECT_TRUE(help.starts_with(name + " ")) << help;
    EXPECT_TRUE(contains(help, "\nExample: setopt " + name + " ")) << help;
  }
  const auto add = [](const char *name, ZutOption *, ZutWord list) -> int32_t {
    reinterpret_cast<Names *>(list)->push_back(name);
    return 0;
  };
  ZutOptionTraverse(add, reinterpret_cast<ZutWord>(&known));
  for (Names *list : {&options, &known}) std::sort(list->begin(), list->end());
  EXPECT_EQ(options, known);
}

// Types the examples of the help texts and prints those that fail.
CHILD(examples) {
  ZutOutInit();
  Capture capture;
  for (const char *directory : {"logs", "settings"}) fs::create_directory(directory);
  for (const char *file : {"zutsh.cm", "settings/test.cm"}) writeFile(file, "echo text\n");
  ZutCommandParseStr("setopt editor _cat");
  for (const std::string &name : wordsOf(names)) {
    // What ends something, waits, or depends on the machine.
    if (contains(" _abort _alarm _set_fd_limit _sleep cd quit sh ", " " + name + " ")) continue;
    ZutCommandHelpPrint(name.c_str());
  }
  for (const std::string &name : entriesOf("options"))
    ZutCommandParseStr(("helpopt " + name).c_str());
  std::istringstream lines(capture.take());
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("Example: ")) continue;
    ZutCommandSetFailures(0);
    ZutCommandParseTypedStr(line.c_str() + 9);
    const std::string out = capture.take();
    if (ZutCommandGetFailures()) std::fprintf(stderr, "%s: %s\n", line.c_str(), out.c_str());
  }
}

TEST_F(BuiltIns, HelpGivesExamplesThatWork) {
  TempDir dir;
  EXPECT_EQ(runChild("examples").err, "");
  EXPECT_TRUE(fs::exists("trace.log")) << "they were typed";
}

TEST_F(BuiltIns, ListingsLeaveOutWhatIsHidden) {
  const std::string commands = type("help"), options = type("helpopt");
  EXPECT_LT(commands.find("\nalias "), commands.find("\nunsetopt "));
  for (const char *part : {"createopt", "_sigint", "Usage: ", "There is no help"})
    EXPECT_FALSE(contains(commands, part)) << part;
  EXPECT_TRUE(contains(options, "\nsocket_connect_timeout "));
  EXPECT_FALSE(contains(options, "There is no help"));
  EXPECT_TRUE(fails("help nosuch", "Unknown command <nosuch>"));
  EXPECT_TRUE(fails("helpopt nosuch", "Unknown option <nosuch>"));
}

TEST_F(BuiltIns, HelpComesFromTheProcessTypeFirst) {
  TempDir dir;
  fs::create_directories("help/commands");
  writeFile("help/commands/builtins.hlp", "echo \"first\" \"second\" setopt \"open");
  writeFile("help/commands/common.hlp", "\xEF\xBB\xBFSetOpt \"no\" setopt \"common\" \"more\"");
  ZutInit("builtins");
  ZutPutenv(("VNHOME=" + dir.path().string()).c_str());
  EXPECT_EQ(type("help echo"), "first\nsecond\n");
  const std::string setopt = type("help setopt");
  EXPECT_TRUE(contains(setopt, "cannot be read to its end: an error near line 1"));
  EXPECT_TRUE(setopt.ends_with("common\nmore\n") && !contains(setopt, "no\n")) << setopt;
  EXPECT_TRUE(contains(type("help quit"), "There is no help for <quit>"));
  ZutPutenv("VNHOME=");
}

TEST_F(BuiltIns, AliasShowsListsAndRemoves) {
  EXPECT_EQ(type("echo   a  b/* c */d,\"x  \\\"y\" -1.5 ;echo;echo //"), "a b d,x  \"y -1.5\n\n\n");
  EXPECT_EQ(type("alias ls"), "sh dir\n");
  EXPECT_EQ(type("alias exit"), "quit force\n");
  EXPECT_EQ(type("Alias Zed  echo   \"a;b\" // c"), "Alias zed installed\n");
  EXPECT_EQ(type("alias zed; zed d"), "echo \"a;b\"\na;b d\n");
  const std::string all = type("alias");
  EXPECT_LT(all.find("exit\tquit force\n"), all.find("ls\tsh dir\n"));
  EXPECT_TRUE(contains(all, "zed\techo \"a;b\"\n"));
  EXPECT_EQ(type("unalias ZED"), "Unalias command executed for alias zed\n");
  EXPECT_TRUE(fails("unalias zed", "There is no alias named <zed>"));
  EXPECT_TRUE(fails("alias zed", "There is no alias named <zed>"));
}

TEST_F(BuiltIns, DiagnosticsStayWithinTheirRanges) {
  EXPECT_EQ(type("_debug_on 255"), "Debugging flag 255 turned on\n");
  EXPECT_EQ(ZutGetDebugFlags()[255], 1);
  EXPECT_EQ(type("_debug_off 255.9"), "Debugging flag 255 turned off\n");
  EXPECT_EQ(ZutGetDebugFlags()[255], 0);
  for (const char *text : {"_debug_on 256", "_debug_on 1e30"})
    EXPECT_TRUE(fails(text, "is outside 0 to 255"));
  EXPECT_TRUE(fails("_debug_on -1", "Usage: _debug_on NUMBER"));

  const std::string set = type("_set_frame_count 41; _set_frame_count; _set_time 86400; _set_time");
  for (const char *part : {"Frame count set to 41.", "Frame count: 41.",
                           "Current time set to 86400.", "Current time: 86400."})
    EXPECT_TRUE(contains(set, part)) << set;
  type("stats; _set_frame_count 51");
  const std::string stats = type("stats");
  for (const char *part :
       {"Frame count: 51.", "Frames since the last stats command: 10.", "CPU time used: "})
    EXPECT_TRUE(contains(stats, part)) << stats;
  EXPECT_TRUE(fails("_alarm 5", "not available"));
  EXPECT_TRUE(fails("_set_fd_limit 5", "limit of open files"));
  EXPECT_EQ(type("_sleep 0; _putenv \"ZUT_BUILTINS=1 2\""), "");
  const char *value = nullptr;
  EXPECT_TRUE(ZutGetenv("ZUT_BUILTINS", &value) && value && std::string(value) == "1 2");
  EXPECT_TRUE(fails("_putenv nothing", "could not be set: <nothing>"));
  EXPECT_TRUE(fails("_debug_set \"no/where\"", "Cannot open the debug file <no/where.dbg>"));
  TempDir dir;
  writeFile("env.dbg", "kept");
  ZutPutenv("VNDEBUGFILENAME=env.dbg");
  EXPECT_EQ(type("_debug_set other"), "Debugging file set to other\n");
  ZutPutenv("VNDEBUGFILENAME=");
  EXPECT_STREQ(ZutDebugFileName(), "other.dbg");
  EXPECT_EQ(readFile("env.dbg"), "kept");
  EXPECT_EQ(type("_debug_set STDERR"), "Debugging file set to STDERR\n");
}

TEST_F(BuiltIns, SigintWorksTheCounter) {
  ZutInterruptReset();
  EXPECT_EQ(type("_sigint; _sigint INCR; _sigint get"),
            "Incrementing interrupt counter.\nIncrementing interrupt counter.\n"
            "Interrupt counter is 2\n");
  EXPECT_TRUE(fails("_sigint reset now", "Unexpected text <now>"));
  EXPECT_TRUE(fails("_sigint 1; _sigint", "Expected: <identifier>"));
  EXPECT_TRUE(fails("_sigint nothing", "Unknown word <nothing>"));
  EXPECT_EQ(ZutInterruptGet(), 0);
}

TEST_F(BuiltIns, OptionsAreSetAndShown) {
  ZutOption *prompt = ZutOptionLookup("prompt"), *backup = ZutOptionLookup("backup_name");
  EXPECT_EQ(type("setopt Prompt \"a> \"; setopt prompt; setopt prompt unknown"),
            "Option prompt set to \"a> \".\nprompt \"a> \"\nOption prompt set to UNKNOWN.\n");
  EXPECT_EQ(type("setopt prompt x; unsetopt prompt"),
            "Option prompt set to \"x\".\nOption prompt unset\n");
  EXPECT_EQ(type("setopt application two; setopt project vantrel"),
            "Option project set to two.\nOption project set to vantrel.\n");
  EXPECT_TRUE(contains(type("setopt"), "\nsocket_connect_timeout 5\n"));
  EXPECT_EQ(type("setnopt side frame_interval 2; setnopt side frame_interval; "
                 "setopt frame_interval"),
            "Option side/frame_interval set to 2.\nside/frame_interval 2\nframe_interval 0\n");
  EXPECT_TRUE(contains(type("setnopt side"), "side/project vantrel\n"));
  EXPECT_EQ(type("createopt color enum red, blue; setopt color blue"),
            "Option color created.\nOption color set to blue.\n");

  ZutOptionSetReadOnly(prompt, 1);
  const auto refuse = [](ZutOption *, void *, ZutWord) { return ZutErrNumSet(19), 0; };
  ZutOptionSetVerifyFunc(backup, refuse, 0);
  const struct {
    const char *text, *message;
  } cases[] = {
      {"setopt nosuch 1 2", "Unknown option <nosuch>"},
      {"setopt nosuch", "Unknown option <nosuch>"},
      {"unsetopt nosuch", "Unknown option <nosuch>"},
      {"setnopt side nosuch 1", "Unknown option <nosuch>"},
      {"setopt verbose false maybe", "after the value of option <verbose>: <maybe>"},
      {"setopt verbose 1", "Usage: setopt"},
      {"setopt verbose maybe", "<maybe> is not a boolean value"},
      {"setopt trace_level loud",
       "<loud> is not a legal value of option <trace_level>.\nLegal values: "},
      {"setopt verbose unknown", "Option <verbose> is required"},
      {"setopt frame_interval -1", "must not be negative"},
      {"setopt prompt x", "Option <prompt> is read only"},
      {"setopt backup_name x", "The value of option <backup_name> was refused"},
      {"unsetopt verbose", "it must keep a value"},
      {"unsetopt project", "it must keep one of its values"},
      {"setopt trace_level unknown", "it must keep one of its values"},
      {"createopt COLOR string", "An option named <color> exists already"},
      {"createopt shade hue 1", "Option <shade> could not be created"},
  };
  for (const auto &row : cases) EXPECT_TRUE(fails(row.text, row.message)) << row.text;
  EXPECT_EQ(ZutOptionLookup("shade"), nullptr);
}

TEST_F(BuiltIns, SystemCommandsReachTheSystem) {
  TempDir dir;
  fs::create_directory("a b");
  EXPECT_TRUE(contains(type("cd \"a b\""), "Current directory changed to a b\n"));
  EXPECT_EQ(fs::current_path().filename(), "a b");
  EXPECT_EQ(type("sh  echo   one /* x */ two>out.txt"),
            "sh command executing with string: echo one two>out.txt\n");
  EXPECT_TRUE(contains(readFile("out.txt"), "one two"));
  EXPECT_EQ(type("sh \"echo \\\"three;\\\" > out.txt\""),
            "sh command executing with string: echo \"three;\" > out.txt\n");
  EXPECT_TRUE(contains(readFile("out.txt"), "three;"));
  EXPECT_TRUE(fails("sh exit 3", "exit 3"));
  EXPECT_EQ(type("setopt editor _cat; edit out.txt").find("Option editor set"), 0u);
  EXPECT_TRUE(fails("edit gone.txt", "Cannot open the file <gone.txt>"));
  EXPECT_TRUE(fails("source", "needs the name of a file"));
  EXPECT_TRUE(fails("cd \"no/where\"", "no/where: "));
  ZutPutenv(("HOME=" + dir.path().string()).c_str());
  type("cd");
  EXPECT_TRUE(fs::equivalent(fs::current_path(), dir.path()));
  ZutPutenv("HOME=");
  EXPECT_TRUE(fails("cd", "HOME is not set"));
}

// --- Ends, in processes of their own ---

CHILD(quit) {
  ZutOutInit();
  ZutQuitCbCreate([](void *, void *, ZutWord) { ZutOut("callback\n"); }, 0);
  ZutAtExit([] { std::printf("handler\n"); });
  ZutCommandMainLoop();
  std::exit(9);
}

TEST(Ends, QuitAsksUnlessForced) {
  const Result asked = runChild("quit", {}, "quit FORCE\nquit\nno\nquit\nyes\n");
  EXPECT_EQ(asked.code, 0);
  EXPECT_TRUE(contains(asked.out, "Unknown word <FORCE>"));
  EXPECT_TRUE(contains(asked.out, "Really quit? Really quit? callback\n"
                                  "This process is now exiting.\nhandler\n"));
  EXPECT_EQ(runChild("quit", {}, "exit\n").code, 0);
  EXPECT_EQ(runChild("quit", {}, "quit\n").code, 9) << "the end of the input is no";
}

TEST(Ends, AbortLeavesAtOnce) {
  const Result plain = runChild("quit", {}, "_abort\n");
  EXPECT_EQ(plain.code, 2);
  EXPECT_TRUE(contains(plain.out, "Aborting process\n"));
  EXPECT_FALSE(contains(plain.out, "handler"));
  EXPECT_TRUE(runChild("quit", {{"VN_ABORT_NATIVE", "1"}}, "_abort\n").aborted());
}

} // namespace
