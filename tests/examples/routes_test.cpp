// The example program, from its list of edges to its answers.
#include "support/child.h"

namespace {

// With comments, an empty line, a line's end of two bytes and one that is missing.
constexpr char net[] = "# a small net\na b 7\na c 2   # short cut\n\nc b 3\r\nb d 1\nd a-1 5";

class Routes : public testing::Test {
protected:
  Result run(const std::vector<std::string> &arguments, const std::string &input = "") {
    return runProgram("routes", arguments, {{"VNTIMESTAMPOUTPUTSUPPRESS", "1"}}, input);
  }
  TempDir dir;
};

TEST_F(Routes, AnswersFromAFile) {
  writeFile("net.txt", std::string("\xEF\xBB\xBF") + net); // the mark is no part of a name
  const Result answers = run({"net.txt"}, "path a d\ntable c; setopt weighted false\n"
                                          "path a d; path d a; path d d\n");
  EXPECT_EQ(answers.out, "Type 'help' for help.\n"
                         "a > c > b > d: distance 6\n"
                         "to               distance  first hop\n"
                         "a                       -  -\n"
                         "b                       3  b\n"
                         "d                       4  b\n"
                         "a-1                     9  b\n"
                         "Option weighted set to FALSE.\n"
                         "a > b > d: distance 2\n"
                         "There is no route from d to a.\n"
                         "d: distance 0\n");
  EXPECT_TRUE(answers.err.empty() && answers.code == 0);
  EXPECT_TRUE(std::filesystem::exists("net.txt") && !std::filesystem::exists("routes.dbg"));
}

TEST_F(Routes, FollowsChanges) {
  const char *commands = "link b d 9\nfollow a; unlink c b; link a e 1; link e d 2\n"
                         "setopt weighted false; unlink b d\n";
  EXPECT_EQ(run({}, std::string(net) + "\n.\n" + commands).out,
            "Type 'help' for help.\n"
            "Not linked: this edge is there already.\n"
            "  b: 5 by c\n  c: 2 by c\n  d: 6 by c\n  a-1: 11 by c\n"
            "removed c > b, weight 3\n"
            "  b: 7 by b\n  d: 8 by b\n  a-1: 13 by b\n"
            "added a > e, weight 1\n"
            "  e: 1 by e\n"
            "added e > d, weight 2\n"
            "  d: 3 by e\n  a-1: 8 by e\n"
            "  b: 1 by b\n  c: 1 by c\n  d: 2 by b\n  a-1: 3 by b\n"
            "Option weighted set to FALSE.\n"
            "removed b > d, weight 1\n"
            "  d: 2 by e\n  a-1: 3 by e\n");
}

TEST_F(Routes, NamesBadLinesAndGoesOn) {
  writeFile("bad.txt", "a b\na b 1 2\na b 0\na b 99999\na b x\na b 1.5\n" + std::string(64, 'n') +
                           " b 1\n" + std::string(3000, ' ') + "\na b 3\na b 4\na" + '\0' +
                           " b 5\nb a 1\n");
  const Result result = run({"-c", "path a b", "bad.txt", "-c", "path a c; path b a"});
  EXPECT_EQ(result.err, "bad.txt:1: expected: from to weight\n"
                        "bad.txt:2: expected: from to weight\n"
                        "bad.txt:3: the weight is not from 1 to 99998\n"
                        "bad.txt:4: the weight is not from 1 to 99998\n"
                        "bad.txt:5: the weight is not a whole number\n"
                        "bad.txt:6: the weight is not a whole number\n"
                        "bad.txt:7: a name is too long\n"
                        "bad.txt:8: the line is too long\n"
                        "bad.txt:10: this edge is there already\n"
                        "bad.txt:11: the line holds a NUL\n");
  EXPECT_EQ(result.out, "a > b: distance 3\nThere is no place c.\nb > a: distance 1\n");
  EXPECT_EQ(result.code, 1) << "a command has failed";
}

TEST_F(Routes, EndsWithACodeThatTells) {
  EXPECT_EQ(run({"missing.txt"}).code, 2);
  EXPECT_EQ(run({"-x"}).code, 64);
  EXPECT_EQ(run({"one", "two"}).code, 64);
  EXPECT_EQ(run({"--help"}).code, 0);
  const Result result = run({"-c", "path a; help path; nonsense"}, net);
  EXPECT_EQ(result.code, 1);
  EXPECT_NE(result.out.find("Usage: path FROM TO\n"), std::string::npos);
}

} // namespace
