// The shell, from its command line to its exit code.
#include "support/child.h"

namespace fs = std::filesystem;

namespace {

bool contains(const std::string &text, const std::string &part) {
  return text.find(part) != std::string::npos;
}

class Shell : public testing::Test {
protected:
  Result run(const std::vector<std::string> &arguments, const std::string &input = "",
             Environment more = {}) {
    more.insert(more.begin(), {"HOME", dir.path().string()});
    more.emplace_back("VNTIMESTAMPOUTPUTSUPPRESS", "1");
    return runProgram("zutsh", arguments, more, input);
  }
  TempDir dir;
};

TEST_F(Shell, FailuresDecideItsExitCode) {
  const Result piped = run({"-n"}, "nosuch\necho on\n");
  EXPECT_TRUE(contains(piped.out, "Unknown command <nosuch>.") && contains(piped.out, "on\n"));
  EXPECT_EQ(piped.code, 1);
  EXPECT_EQ(run({"-n"}, "nosuch\nquit force\n").code, 1);
  EXPECT_EQ(run({"-n"}, "quit force\nnosuch\n").code, 0);
  EXPECT_EQ(run({"-n", "-f", "missing.cm"}).code, 1);
  EXPECT_EQ(run({"-n", "-c", "_abort"}).code, 2);
  if (!fs::exists("/proc/self/exe") || !fs::exists("/dev/full"))
    return; // the system cannot lose any
  for (const char *arguments : {"-nc 'echo x' >/dev/full", "-nc 'echo x' >&-", "--help >/dev/full",
                                "-n -d x -c 'echo x; quit force' >&-"}) {
    const std::string line = std::string("\"/proc/$PPID/exe 2>&1 ") + arguments + "; echo =$?\"";
    const std::string out = run({"-n", "-c", "sh " + line}).out;
    EXPECT_TRUE(out.ends_with("\nzutsh: cannot write to the standard output\n=1\n")) << out;
  }
}

TEST_F(Shell, NamesFileAndLineOfFailures) {
  writeFile("inner.cm", "echo in\nsetopt nosuch 1\n");
  writeFile("outer.cm", "echo out\n\nsource inner.cm\n17\nNoSuch\necho after\n");
  const Result result = run({"-f", "outer.cm"});
  EXPECT_EQ(result.err, "inner.cm:2: command failed: setopt\nouter.cm:4: command failed\n"
                        "outer.cm:5: command failed: nosuch\n");
  EXPECT_TRUE(contains(result.out, "out\nin\n"));
  EXPECT_TRUE(contains(result.out, "after\n"));
  EXPECT_EQ(result.code, 1);
  const Result stopped = run({"-ef", "outer.cm", "-c", "echo never"});
  EXPECT_TRUE(contains(stopped.out, "Unknown option <nosuch>"));
  EXPECT_FALSE(contains(stopped.out, "after") || contains(stopped.out, "never"));
  EXPECT_EQ(run({"-ne"}, "nosuch\necho never\n").out.find("never"), std::string::npos);
  EXPECT_FALSE(contains(run({"-nei", "-c", "nosuch"}, "echo never\n").out, "Type 'help'"));
}

TEST_F(Shell, RunsJobsInOrderAndStaysWhenAsked) {
  writeFile("zutsh.cm", "alias one echo one\n");
  writeFile("a.cm", "echo file\n");
  const Environment elsewhere = {{"HOME", (dir.path() / "none").string()}};
  EXPECT_EQ(run({"-c", "one", "-f", "a.cm", "-c", "echo two"}, "echo no\n", elsewhere).out,
            "one\nfile\ntwo\n");
  EXPECT_EQ(run({"-nc", "one"}).code, 1) << "without the start-up files";
  EXPECT_EQ(run({"-in", "-c", "echo one"}, "echo two\n").out, "one\nType 'help' for help.\ntwo\n");
}

TEST_F(Shell, WritesADebugFileWhenAsked) {
  const Result set = run({"-c", "setopt trace_level info"});
  EXPECT_EQ(set.out + set.err, "Option trace_level set to info.\n");
  EXPECT_TRUE(fs::is_empty(dir.path())) << "no debug file";
  EXPECT_EQ(run({"-d", "mine.dbg", "-c", ""}).code, 0);
  EXPECT_EQ(run({"-c", "_debug_set other.dbg"}).out, "Debugging file set to other.dbg\n");
  EXPECT_TRUE(fs::exists("mine.dbg") && fs::exists("other.dbg"));
}

TEST_F(Shell, SaysWhatIsWrongWithItsSurroundings) {
  const Result usage = run({"-x"});
  EXPECT_EQ(usage.code, 64);
  EXPECT_TRUE(contains(usage.err, "zutsh: <-x>: no such option\nusage: zutsh"));
  EXPECT_TRUE(contains(run({"-nc"}).err, "<-nc>: an argument is missing"));
  EXPECT_EQ(run({"file"}).code, 64);
  EXPECT_EQ(run({"--help"}).code, 0);
  EXPECT_TRUE(contains(run({"--version"}).out, "zutsh "));
  const Result bare = run({"-c", "nosuch"}, "", {{"VNHOME", (dir.path() / "none").string()}});
  EXPECT_TRUE(contains(bare.err, "cannot read the message catalog"));
  EXPECT_TRUE(contains(bare.err, "orl_wl.cat"));
  EXPECT_EQ(bare.code, 1);
  writeFile("bad.cat", "bad line\n");
  const Result changed = run({"-n"}, "setopt catalog_file bad.cat\nsetopt catalog_file gone.cat\n"
                                     "setopt catalog_file .\n");
  EXPECT_EQ(changed.err,
            "zutsh: cannot read the message catalog gone.cat: messages are not printed\n"
            "zutsh: cannot read the message catalog .: messages are not printed\n");
  EXPECT_EQ(changed.out.find("Corrupt"), changed.out.rfind("Corrupt")) << "read once";
}

// With all options made and the catalog loaded.
TEST_F(Shell, StaysBelowEightMegabytes) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer's own memory counts";
#endif
  if (fs::path::preferred_separator != '/' || !fs::exists("/proc/self/status"))
    GTEST_SKIP() << "the system does not show it";
  const std::string out = run({"-n", "-c", "sh grep VmHWM: /proc/$PPID/status"}).out;
  const size_t place = out.rfind("VmHWM:"); // after the echo of the command
  ASSERT_NE(place, std::string::npos) << out;
  EXPECT_LT(std::stol(out.substr(place + 6)), 8 * 1024) << "kB";
}

} // namespace
