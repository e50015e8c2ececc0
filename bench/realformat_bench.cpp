// Real numbers of other machines, against frexp and ldexp: a million values, one by one, each
// copied to where it is converted.
#include "support/row.h"
#include "zut.h"

#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr size_t values = 1000000;

// How the peer reads and writes a format: through a double and by the format's definition, IEEE
// like the others, because it does not ask how this machine stores a double.
struct Format {
  int bits;         // of the stored word
  int fractionBits; // stored ones
  int exponentBits;
  int bias; // of the form 0.1fraction
  enum { ieee, dec, ibm } kind;
};

constexpr Format ieee4{32, 23, 8, 126, Format::ieee}, ieee8{64, 52, 11, 1022, Format::ieee};
constexpr Format decF{32, 23, 8, 128, Format::dec}, decD{64, 55, 8, 128, Format::dec};
constexpr Format decG{64, 52, 11, 1024, Format::dec};
constexpr Format ibm4{32, 24, 7, 64, Format::ibm}, ibm8{64, 56, 7, 64, Format::ibm};

// Word order of the DEC formats.
uint32_t turned(uint32_t word) { return word << 16 | word >> 16; }
uint64_t turned(uint64_t word) {
  return static_cast<uint64_t>(turned(static_cast<uint32_t>(word))) << 32 |
         turned(static_cast<uint32_t>(word >> 32));
}
uint32_t reversed(uint32_t word) { return __builtin_bswap32(word); }
uint64_t reversed(uint64_t word) { return __builtin_bswap64(word); }

// To and from a word whose sign is the highest bit.
template <class Word, Format F>
Word ordered(Word word) {
  return F.kind == Format::dec ? turned(word) : F.kind == Format::ibm ? reversed(word) : word;
}

template <class Word, Format F>
double readNumber(Word word) {
  word = ordered<Word, F>(word);
  constexpr Word hidden = Word{1} << F.fractionBits;
  const Word fraction = word & (hidden - 1);
  const int field = static_cast<int>(word >> F.fractionBits) & ((1 << F.exponentBits) - 1);
  const double value =
      F.kind == Format::ibm
          ? std::ldexp(static_cast<double>(fraction), 4 * (field - F.bias) - F.fractionBits)
          : std::ldexp(static_cast<double>(fraction | hidden), field - F.bias - F.fractionBits - 1);
  return word >> (F.bits - 1) ? -value : value;
}

template <class Word, Format F>
Word writeNumber(double value) {
  if (value == 0.0) return 0;
  constexpr Word hidden = Word{1} << F.fractionBits;
  int exponent = 0;
  const double fraction = std::frexp(std::fabs(value), &exponent);
  Word word = static_cast<Word>(value < 0) << (F.bits - 1);
  if constexpr (F.kind == Format::ibm) {
    const int power = (exponent + 4096 + 3) / 4 - 1024;
    word |= static_cast<Word>(power + F.bias) << F.fractionBits |
            static_cast<Word>(std::ldexp(fraction, F.fractionBits + exponent - 4 * power));
  } else {
    const auto digits = static_cast<Word>(std::ldexp(fraction, F.fractionBits + 1));
    word |= static_cast<Word>(exponent + F.bias) << F.fractionBits | (digits & (hidden - 1));
  }
  return ordered<Word, F>(word);
}

// Numbers that every format can hold.
template <class Word, Format From>
std::vector<Word> numbers() {
  std::mt19937_64 random(3);
  std::uniform_real_distribution<double> fraction(0.5, 1.0);
  std::vector<Word> list;
  for (size_t i = 0; i < values; ++i) {
    const double value = std::ldexp(fraction(random), static_cast<int>(random() % 200) - 100);
    list.push_back(writeNumber<Word, From>(i % 2 ? -value : value));
  }
  return list;
}

using Function = decltype(&ZutSwapReal4IeeeToDecF);

template <class Word, Format From, Format To>
void addRow(const char *name, Function function) {
  static const std::vector<Word> source = numbers<Word, From>();
  constexpr int32_t input = From.kind == Format::ibm, output = To.kind == Format::ibm;
  const auto ours = [=](benchmark::State &state) {
    std::vector<Word> results(values);
    const Word *from = source.data();
    Word *to = results.data();
    const Function call = function;
    for (auto _ : state) {
      for (size_t i = 0; i < values; ++i) {
        to[i] = from[i];
        call(&to[i], input, output);
      }
      benchmark::DoNotOptimize(to);
    }
  };
  const auto scalar = [](benchmark::State &state) {
    std::vector<Word> results(values);
    const Word *from = source.data();
    Word *to = results.data();
    for (auto _ : state) {
      for (size_t i = 0; i < values; ++i) {
        to[i] = writeNumber<Word, To>(readNumber<Word, From>(from[i]));
      }
      benchmark::DoNotOptimize(to);
    }
  };
  Row("real number", name).ours(ours).peer("frexp, ldexp", scalar);
}

} // namespace

void addRows() {
  addRow<uint32_t, ieee4, decF>("IEEE 4 to F", ZutSwapReal4IeeeToDecF);
  addRow<uint32_t, decF, ieee4>("F to IEEE 4", ZutSwapReal4DecFToIeee);
  addRow<uint32_t, ieee4, ibm4>("IEEE 4 to IBM", ZutSwapReal4IeeeToIbm370);
  addRow<uint32_t, ibm4, ieee4>("IBM to IEEE 4", ZutSwapReal4Ibm370ToIeee);
  addRow<uint32_t, decF, ibm4>("F to IBM", ZutSwapReal4DecFToIbm370);
  addRow<uint32_t, ibm4, decF>("IBM to F", ZutSwapReal4Ibm370ToDecF);
  addRow<uint64_t, ieee8, decD>("IEEE 8 to D", ZutSwapReal8IeeeToDecD);
  addRow<uint64_t, ieee8, decG>("IEEE 8 to G", ZutSwapReal8IeeeToDecG);
  addRow<uint64_t, decD, ieee8>("D to IEEE 8", ZutSwapReal8DecDToIeee);
  addRow<uint64_t, decD, decG>("D to G", ZutSwapReal8DecDToDecG);
  addRow<uint64_t, decG, ieee8>("G to IEEE 8", ZutSwapReal8DecGToIeee);
  addRow<uint64_t, decG, decD>("G to D", ZutSwapReal8DecGToDecD);
  addRow<uint64_t, ieee8, ibm8>("IEEE 8 to IBM", ZutSwapReal8IeeeToIbm370);
  addRow<uint64_t, ibm8, ieee8>("IBM to IEEE 8", ZutSwapReal8Ibm370ToIeee);
  addRow<uint64_t, decD, ibm8>("D to IBM", ZutSwapReal8DecDToIbm370);
  addRow<uint64_t, ibm8, decD>("IBM to D", ZutSwapReal8Ibm370ToDecD);
  addRow<uint64_t, decG, ibm8>("G to IBM", ZutSwapReal8DecGToIbm370);
  addRow<uint64_t, ibm8, decG>("IBM to G", ZutSwapReal8Ibm370ToDecG);
}
