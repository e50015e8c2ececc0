#include "support/child.h"
#include "support/errors.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <random>

namespace {

// A number as its format's definition reads it: 1.fraction times 2 to the exponent. The fraction
// stands at the top of its word.
struct Real {
  bool negative;
  int exponent;
  uint64_t fraction;
};

// A stored number stands at the top of a 64-bit word here, its sign highest.
struct Format {
  int size;
  int exponentBits;
  int bias; // of the form 1.fraction; 0 for the powers of 16 of IBM
  enum { ieee, dec, ibm } kind;
};
constexpr Format ieee4{4, 8, 127, Format::ieee}, ieee8{8, 11, 1023, Format::ieee};
constexpr Format decF{4, 8, 129, Format::dec}, decD{8, 8, 129, Format::dec};
constexpr Format decG{8, 11, 1025, Format::dec};
constexpr Format ibm4{4, 7, 0, Format::ibm}, ibm8{8, 7, 0, Format::ibm};

int fieldOf(const Format &format, uint64_t word) {
  return static_cast<int>(word << 1 >> (64 - format.exponentBits));
}

Real read(const Format &format, uint64_t word) {
  const bool negative = word >> 63;
  const uint64_t rest = word << (1 + format.exponentBits);
  const int field = fieldOf(format, word);
  if (format.kind != Format::ibm) return {negative, field - format.bias, rest};
  const int zeros = std::countl_zero(rest); // an unnormalised fraction is taken as it stands
  if (zeros > 3) return {negative, 4 * (field - 64), rest << 1};
  return {negative, 4 * (field - 64) - 1 - zeros, rest << zeros << 1};
}

// The warning that the conversion prints last; empty for none.
std::string warning;

// The stated exceptions: exponents are clamped at the top, or fall out of their field and wrap
// around, in the 4-byte DEC conversions with a carry into the sign.
uint64_t write(const Format &format, const Real &real, bool carries) {
  int field = real.exponent + format.bias;
  uint64_t fraction = real.fraction;
  if (format.kind == Format::ibm) {
    const int power = (real.exponent + 1 + 4096 + 3) / 4 - 1024; // of 16, not below the number
    fraction = (1ull << 63 | fraction >> 1) >> (4 * power - (real.exponent + 1));
    field = std::clamp(power + 64, 0, 127);
    if (field != power + 64) warning = "5120";
  }
  const int range = 1 << format.exponentBits;
  const bool flips = carries && (field < 0 || field >= range);
  const uint64_t word = static_cast<uint64_t>(real.negative != flips) << 63 |
                        static_cast<uint64_t>(field & (range - 1)) << (63 - format.exponentBits) |
                        fraction >> (1 + format.exponentBits);
  return format.size == 4 ? word >> 32 << 32 : word;
}

struct Step {
  Format from, to;
  int least = -9999, largest = 9999; // exponents of the result
};

uint64_t reference(const Step &step, uint64_t word) {
  const bool minusZero = step.from.kind == Format::ieee && word << 1 == 0;
  if (word == 0 || minusZero) return 0;
  if (step.from.kind == Format::ibm && step.from.size == 4) {
    const int field = fieldOf(step.from, word);
    warning = field < 33 ? "5116" : field > 96 ? "5117" : "";
    word = (word & ~(0x7full << 56)) | static_cast<uint64_t>(std::clamp(field, 33, 96)) << 56;
  }
  Real real = read(step.from, word);
  if (step.from.size == 8 && step.from.exponentBits == 8 && step.to.kind == Format::ieee &&
      fieldOf(step.from, word) == 0) {
    real.exponent += 256; // D with exponent 0
  }
  if (real.exponent > step.largest && step.from.size == 8) {
    const bool ofG = step.from.kind == Format::dec; // whose point is one place further to the left
    warning = (ofG ? "5119-W The exponent " : "5118-W The exponent ") +
              std::to_string(real.exponent + ofG) + " ";
  }
  real.exponent = std::clamp(real.exponent, step.least, step.largest);
  const bool carries =
      step.from.size == 4 && (step.from.kind == Format::dec || step.to.kind == Format::dec);
  return write(step.to, real, carries);
}

using Function = decltype(&ZutSwapReal4IeeeToDecF);
struct Conversion {
  const char *name;
  Function function;
  std::vector<Step> steps;
};

const Step toD{ieee8, decD, -9999, 126}, toG{ieee8, decG, -9999, 1022}, fromD{decD, ieee8};
const Step fromG{decG, ieee8}, fromIbm4{ibm4, ieee4, -126, 127}, fromIbm8{ibm8, ieee8};
const Conversion conversions[] = {
    {"IEEE-F", ZutSwapReal4IeeeToDecF, {{ieee4, decF}}},
    {"F-IEEE", ZutSwapReal4DecFToIeee, {{decF, ieee4}}},
    {"IEEE-IBM", ZutSwapReal4IeeeToIbm370, {{ieee4, ibm4}}},
    {"IBM-IEEE", ZutSwapReal4Ibm370ToIeee, {fromIbm4}},
    {"F-IBM", ZutSwapReal4DecFToIbm370, {{decF, ieee4}, {ieee4, ibm4}}},
    {"IBM-F", ZutSwapReal4Ibm370ToDecF, {fromIbm4, {ieee4, decF}}},
    {"IEEE-D", ZutSwapReal8IeeeToDecD, {toD}},
    {"IEEE-G", ZutSwapReal8IeeeToDecG, {toG}},
    {"D-IEEE", ZutSwapReal8DecDToIeee, {fromD}},
    {"D-G", ZutSwapReal8DecDToDecG, {{decD, decG}}},
    {"G-IEEE", ZutSwapReal8DecGToIeee, {fromG}},
    {"G-D", ZutSwapReal8DecGToDecD, {{decG, decD, -9999, 125}}},
    {"IEEE-IBM 8", ZutSwapReal8IeeeToIbm370, {{ieee8, ibm8}}},
    {"IBM-IEEE 8", ZutSwapReal8Ibm370ToIeee, {fromIbm8}},
    {"D-IBM", ZutSwapReal8DecDToIbm370, {fromD, {ieee8, ibm8}}},
    {"IBM-D", ZutSwapReal8Ibm370ToDecD, {fromIbm8, toD}},
    {"G-IBM", ZutSwapReal8DecGToIbm370, {fromG, {ieee8, ibm8}}},
    {"IBM-G", ZutSwapReal8Ibm370ToDecG, {fromIbm8, toG}},
};

bool allows(const Format &format, int32_t order) {
  return (order == Z_LITTLE_ENDIAN && format.kind != Format::ibm) ||
         (order == Z_BIG_ENDIAN && format.kind != Format::dec);
}

// The bytes as the format stores them.
std::string store(const Format &format, uint64_t word, int32_t order) {
  std::string bytes;
  for (int i = 0; i < format.size; ++i) bytes += static_cast<char>(word >> (56 - 8 * i));
  if (format.kind == Format::dec) {
    for (size_t i = 0; i < bytes.size(); i += 2) std::swap(bytes[i], bytes[i + 1]);
  } else if (order == Z_LITTLE_ENDIAN) {
    std::reverse(bytes.begin(), bytes.end());
  }
  return bytes;
}

// Every exponent with the least, the largest and random fractions, of both signs; zeros.
std::vector<uint64_t> words(const Format &format) {
  std::mt19937_64 random(7);
  std::vector<uint64_t> list;
  const uint64_t used = format.size == 4 ? ~0ull << 32 : ~0ull;
  for (uint64_t field = 0; field >> format.exponentBits == 0; ++field) {
    const uint64_t head = field << (63 - format.exponentBits);
    list.insert(list.end(), {head, head | 1ull << 63});
    for (const uint64_t fraction : {~uint64_t{0}, random(), random() >> 5}) {
      const uint64_t sign = random() & 1ull << 63;
      list.push_back((sign | head | fraction >> (1 + format.exponentBits)) & used);
    }
  }
  return list;
}

} // namespace

// In every pair of byte orders, of which those that the formats do not have are refused.
TEST(RealFormat, EveryConversionAgreesWithTheDefinitionOfItsFormats) {
  Capture output;
  for (const Conversion &conversion : conversions) {
    SCOPED_TRACE(conversion.name);
    const Format &from = conversion.steps.front().from, &to = conversion.steps.back().to;
    for (int32_t orders = 0; orders < 16; ++orders) {
      const int32_t input = orders / 4 - 1, target = orders % 4 - 1;
      for (const uint64_t word : words(from)) {
        const std::string given = '<' + store(from, word, input) + '>';
        std::string made = given;
        const auto convert = [&] { return conversion.function(&made[1], input, target); }; // odd
        if (!allows(from, input) || !allows(to, target)) {
          EXPECT_ERROR(7, convert());
          EXPECT_EQ(made, given);
          break;
        }
        warning.clear();
        uint64_t expected = word;
        for (const Step &step : conversion.steps) expected = reference(step, expected);
        ASSERT_EQ(convert(), 1);
        ASSERT_EQ(made, '<' + store(to, expected, target) + '>') << std::hex << word;
        const std::string text = output.take();
        ASSERT_EQ(text.empty(), warning.empty()) << text << warning;
        ASSERT_NE(text.find(warning), text.npos) << text << warning;
      }
    }
  }
}

TEST(RealFormat, NamesAndByteOrders) {
  const char *name = "before";
  EXPECT_EQ(ZutGetIntFormat(), std::endian::native == std::endian::big);
  EXPECT_EQ(ZutGetRealFormat(), Z_REAL_IEEE);
  EXPECT_TRUE(ZutIntFormatToStr(1, &name) && std::string(name) == "BIG_ENDIAN");
  EXPECT_TRUE(ZutRealFormatToStr(3, &name) && std::string(name) == "IBM_370");
  for (const int32_t none : {-1, 4}) EXPECT_ERROR(0, ZutRealFormatToStr(none, &name));
  EXPECT_ERROR(0, ZutIntFormatToStr(2, &name));
  char text[] = "0123456789abcdef";
  ZutSwapTwoBytes(text);
  ZutSwapFourBytes(text);
  ZutSwapEightBytes(text + 8);
  EXPECT_STREQ(static_cast<char *>(ZutSwapSixteenBytes(text)), "89abcdef76541023");
}
