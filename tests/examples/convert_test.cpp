// The example program: what it prints, the same on every platform.
#include "support/child.h"

namespace {

Result convert(const std::vector<std::string> &arguments, const std::string &input = "") {
  return runProgram("convert", arguments, {{"VNTIMESTAMPOUTPUTSUPPRESS", "1"}}, input);
}

TEST(Convert, ShowsANumberInEveryFormat) {
  const Result result = convert({"1e100"});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out, R"(1e100
  IEEE, little-endian   4 bytes  too large
  IEEE, big-endian      4 bytes  too large
  DEC F                 4 bytes  too large
  IBM 370               4 bytes  too large
  IEEE, little-endian   8 bytes  7d c3 94 25 ad 49 b2 54  1e+100
  IEEE, big-endian      8 bytes  54 b2 49 ad 25 94 c3 7d  1e+100
ORL-WL-05118-W The exponent 332 is too large for the DEC format; the largest one is used.
  DEC D                 8 bytes  92 7f 69 4d a6 2c e8 1b  9.7234613716580341e+37
  DEC G                 8 bytes  d2 54 ad 49 94 25 7d c3  1e+100
ORL-WL-05120-W The exponent of a number is outside the range of the IBM format; the nearest one is used.
  IBM 370               8 bytes  7f 12 49 ad 25 94 c3 7d  5.1698788284564231e+74
)");
}

TEST(Convert, ShowsATextInBothEncodings) {
  const Result result = convert({"-t"}, "h\xC3\xA9\xE2\x82\xAC\r\n\xFF\n");
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(result.out, "h\xC3\xA9\xE2\x82\xAC\n"
                        R"(  UTF-8                 6 bytes  68 c3 a9 e2 82 ac
  UCS-2, little-endian  3 units  68 00 e9 00 ac 20
  UCS-2, big-endian     3 units  00 68 00 e9 20 ac
)"
                        "\xFF\n"
                        R"(  not UTF-8 of characters up to U+FFFF
)");
}

} // namespace
