// Byte order and the real-number formats of other machines: IEEE 754, DEC F, D and G, IBM 370.
//
// Every conversion loads the value into one unsigned word whose highest bit is the sign, works on
// that, and stores it in the order asked for; so alignment and the order of this machine never
// matter. The three layouts of a stored word:
//   little   least significant byte first         (IEEE order 0)
//   big      most significant byte first          (IEEE order 1, IBM)
//   words    16-bit little-endian words, the most significant first (DEC)
// Infinities, NaNs and denormals get no special treatment: their bits go through the arithmetic.
// The conversions of words are pure; a warning about one is returned with its word.
#include "base/check.h"
#include "base/errword.h"
#include "base/report.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

constexpr int32_t little = Z_LITTLE_ENDIAN;
constexpr int32_t big = Z_BIG_ENDIAN;
constexpr int32_t host = std::endian::native == std::endian::big ? big : little;

template <class Word>
constexpr Word reversed(Word word) {
  if constexpr (sizeof(Word) == 4) return __builtin_bswap32(word);
  else return __builtin_bswap64(word);
}

// Exchanges the 16-bit halves, or the four quarters end for end.
constexpr uint32_t wordsTurned(uint32_t word) { return std::rotl(word, 16); }
constexpr uint64_t wordsTurned(uint64_t word) {
  return uint64_t{wordsTurned(static_cast<uint32_t>(word))} << 32 |
         wordsTurned(static_cast<uint32_t>(word >> 32));
}

template <class Word>
Word load(const void *from, int32_t order) {
  Word word;
  std::memcpy(&word, from, sizeof word);
  return order == host ? word : reversed(word);
}

template <class Word>
void store(void *to, Word word, int32_t order) {
  if (order != host) word = reversed(word);
  std::memcpy(to, &word, sizeof word);
}

template <class Word>
Word loadDec(const void *from) {
  return wordsTurned(load<Word>(from, little));
}

template <class Word>
void storeDec(void *to, Word word) {
  store(to, wordsTurned(word), little);
}

constexpr uint32_t sign32 = 0x80000000u;
constexpr uint32_t fraction23 = 0x007fffffu;
constexpr uint32_t fraction24 = 0x00ffffffu;
constexpr uint64_t sign64 = uint64_t{1} << 63;
constexpr uint64_t fraction52 = (uint64_t{1} << 52) - 1;
constexpr uint64_t fraction55 = (uint64_t{1} << 55) - 1;

// What a conversion makes, and the message about an exponent that did not fit, if any.
template <class Word>
struct Made {
  constexpr Made(Word made) : word(made) {}

  Word word;
  Msg warning = Msg{};
  int32_t exponent = 0; // what the message names
};
using Made4 = Made<uint32_t>;
using Made8 = Made<uint64_t>;

// Where the leading one stands in the first hexadecimal digit of an IBM fraction. When that is 0,
// the fraction is not normalised and stays where it is.
struct Lead {
  int8_t shift; // what brings it to the digit's top
  int8_t less;  // what it and the hidden bit take from the exponent
};
constexpr Lead leads[16] = {{0, 0}, {3, 4}, {2, 3}, {2, 3}, {1, 2}, {1, 2}, {1, 2}, {1, 2},
                            {0, 1}, {0, 1}, {0, 1}, {0, 1}, {0, 1}, {0, 1}, {0, 1}, {0, 1}};

// --- 4 bytes ---

// Positive and negative zero.
constexpr bool isZero(uint32_t word) { return (word & ~sign32) == 0; }

// The hidden bit stands before the point in IEEE and after it in DEC F, and the biases differ by
// one: two steps of the exponent. They are made on the byte of the sign and the upper exponent
// bits, so the ends of the range carry into the sign. Kept.
constexpr uint32_t decFStep = 0x01000000u;

constexpr Made4 ieee4ToDecF(uint32_t word) { return isZero(word) ? 0 : word + decFStep; }
constexpr Made4 decFToIeee4(uint32_t word) { return word == 0 ? 0 : word - decFStep; }

// An exponent of 16 counts in steps of four: the fraction moves right until the rest is one. IBM
// single holds every exponent of IEEE single.
constexpr Made4 ieee4ToIbm4(uint32_t word) {
  if (isZero(word)) return 0;
  const uint32_t exponent = word >> 23 & 0xff;
  const uint32_t fraction = (word & fraction23) | (fraction23 + 1);
  const uint32_t shift = 3 - ((exponent + 1) & 3);
  utCheck((exponent + 2 + shift) % 4 == 0);
  return (word & sign32) | ((exponent + 2 + shift) / 4 + 32) << 24 | fraction >> shift;
}

// IEEE single holds fewer exponents than IBM single: they are clamped to 33..96, and the result's
// to 1..254, so that it stays finite and is not zero.
constexpr Made4 ibm4ToIeee4(uint32_t word) {
  Made4 made = 0;
  if (word == 0) return made;
  auto exponent = static_cast<int32_t>(word >> 24 & 0x7f);
  if (exponent < 33) [[unlikely]] {
    made.warning = Msg::realUnderflow;
    exponent = 33;
  } else if (exponent > 96) [[unlikely]] {
    made.warning = Msg::realOverflow;
    exponent = 96;
  }
  utCheck(exponent >= 33 && exponent <= 96);
  const uint32_t fraction = word & fraction24;
  const Lead lead = leads[fraction >> 20];
  const auto biased = static_cast<uint32_t>(std::clamp(4 * exponent - 129 - lead.less, 1, 254));
  made.word = (word & sign32) | biased << 23 | ((fraction << lead.shift) & fraction23);
  return made;
}

constexpr Made4 decFToIbm4(uint32_t word) { return ieee4ToIbm4(decFToIeee4(word).word); }

constexpr Made4 ibm4ToDecF(uint32_t word) {
  Made4 made = ibm4ToIeee4(word);
  if (word != 0) made.word += decFStep; // no other comes out as zero
  return made;
}

// --- 8 bytes ---

// An IEEE double taken apart. Between other formats numbers go through this form.
struct Double {
  uint64_t sign;    // in its place
  int32_t exponent; // biased, 11 bits
  uint64_t fraction;

  constexpr bool isZero() const { return (static_cast<uint64_t>(exponent) | fraction) == 0; }
};

// Of IEEE and DEC G, and of DEC D. What is outside of the field wraps around. Kept: only the upper
// ends are clamped before.
constexpr int32_t exponent11(uint64_t word) { return static_cast<int32_t>(word >> 52 & 0x7ff); }
constexpr int32_t exponent8(uint64_t word) { return static_cast<int32_t>(word >> 55 & 0xff); }
constexpr uint64_t inField11(int32_t exponent) {
  return static_cast<uint64_t>(exponent & 0x7ff) << 52;
}
constexpr uint64_t inField8(int32_t exponent) {
  return static_cast<uint64_t>(exponent & 0xff) << 55;
}

constexpr Double fromIeee(uint64_t word) {
  return {word & sign64, exponent11(word), word & fraction52};
}

// The difference of the exponents is formed as a signed byte, so an exponent of 0 with a fraction
// comes out as 1150. Kept.
constexpr Double fromDecD(uint64_t word) {
  if (word == 0) return {};
  const auto exponent = static_cast<int8_t>(exponent8(word) + 127);
  return {word & sign64, exponent + 1023, (word & fraction55) >> 3};
}

constexpr Double fromDecG(uint64_t word) {
  if (word == 0) return {};
  return {word & sign64, (exponent11(word) - 2) & 0x7ff, word & fraction52};
}

// IEEE double holds every exponent of IBM double.
constexpr Double fromIbm(uint64_t word) {
  if (word == 0) return {};
  const auto exponent = static_cast<int32_t>(word >> 56 & 0x7f);
  const Lead lead = leads[word >> 52 & 0xf];
  return {word & sign64, 4 * exponent - 256 + 1023 - lead.less,
          ((word << lead.shift) & fraction55) >> 3};
}

constexpr Made8 toIeee(const Double &number) {
  return number.sign | inField11(number.exponent) | number.fraction;
}

// To a format whose largest exponent takes the place of a larger one.
template <int32_t Largest, Msg Message>
constexpr int32_t atMost(int32_t exponent, Made8 &made) {
  if (exponent <= Largest) return exponent;
  made.warning = Message;
  made.exponent = exponent;
  return Largest;
}

constexpr Made8 toDecD(const Double &number) {
  Made8 made = 0;
  if (number.isZero()) return made;
  const int32_t exponent = atMost<126, Msg::realTooLarge>(number.exponent - 1023, made);
  made.word = number.sign | inField8(exponent + 129) | number.fraction << 3;
  return made;
}

constexpr Made8 toDecG(const Double &number) {
  Made8 made = 0;
  if (number.isZero()) return made;
  const int32_t exponent = atMost<1022, Msg::realTooLarge>(number.exponent - 1023, made);
  made.word = number.sign | inField11(exponent + 1025) | number.fraction;
  return made;
}

// The 53 bits stand at the top of the 56 and move right by 0..3, so none is lost. `aligned` is the
// biased exponent that goes with the shift; 767..1275 is what the IBM exponent spans.
constexpr Made8 toIbm(const Double &number) {
  Made8 made = 0;
  if (number.isZero()) return made;
  const int32_t shift = 3 - ((number.exponent + 1) & 3);
  const int32_t aligned = number.exponent + shift + 1;
  const int32_t kept = std::clamp(aligned, 767, 1275);
  if (kept != aligned) made.warning = Msg::realClamped;
  utCheck((kept + 1) % 4 == 0);
  const auto power = static_cast<uint64_t>((kept + 1) / 4 - 192);
  utCheck(power < 128);
  made.word = number.sign | power << 56 | (number.fraction | (fraction52 + 1)) << 3 >> shift;
  return made;
}

constexpr Made8 ieee8ToDecD(uint64_t word) { return toDecD(fromIeee(word)); }
constexpr Made8 ieee8ToDecG(uint64_t word) { return toDecG(fromIeee(word)); }
constexpr Made8 ieee8ToIbm8(uint64_t word) { return toIbm(fromIeee(word)); }
constexpr Made8 decDToIeee8(uint64_t word) { return toIeee(fromDecD(word)); }
constexpr Made8 decGToIeee8(uint64_t word) { return toIeee(fromDecG(word)); }
constexpr Made8 ibm8ToIeee8(uint64_t word) { return toIeee(fromIbm(word)); }
constexpr Made8 decDToIbm8(uint64_t word) { return toIbm(fromDecD(word)); }
constexpr Made8 decGToIbm8(uint64_t word) { return toIbm(fromDecG(word)); }
constexpr Made8 ibm8ToDecD(uint64_t word) { return toDecD(fromIbm(word)); }
constexpr Made8 ibm8ToDecG(uint64_t word) { return toDecG(fromIbm(word)); }

constexpr Made8 decDToDecG(uint64_t word) {
  if (word == 0) return 0;
  return (word & sign64) | inField11(exponent8(word) - 128 + 1024) | (word & fraction55) >> 3;
}

constexpr Made8 decGToDecD(uint64_t word) {
  Made8 made = 0;
  if (word == 0) return made;
  const int32_t exponent = atMost<126, Msg::realTooLargeForD>(exponent11(word) - 1024, made);
  made.word = (word & sign64) | inField8(exponent + 128) | (word & fraction52) << 3;
  return made;
}

// --- The edge ---

// Which order may stand on a side of a conversion.
enum class Side { ieee, dec, ibm };

constexpr bool allowed(Side side, int32_t order) {
  switch (side) {
  case Side::ieee: return order == little || order == big;
  case Side::dec: return order == little;
  default: return order == big;
  }
}

template <class Word>
Word take(const void *value, Side side, int32_t order) {
  return side == Side::dec ? loadDec<Word>(value) : load<Word>(value, order);
}

template <class Word>
void put(void *value, Word word, Side side, int32_t order) {
  if (side == Side::dec) storeDec(value, word);
  else store(value, word, order);
}

// Slow paths, as tail calls: so the fast path needs no frame.
[[gnu::cold, gnu::noinline]] int32_t refuse(Err error) { return utFail(error); }

[[gnu::cold, gnu::noinline]] int32_t warn(Msg message, int32_t exponent) {
  switch (message) {
  case Msg::realUnderflow: utReport<Msg::realUnderflow>(Z_TRACE_LEVEL_WARNING); break;
  case Msg::realOverflow: utReport<Msg::realOverflow>(Z_TRACE_LEVEL_WARNING); break;
  case Msg::realTooLarge: utReport<Msg::realTooLarge>(Z_TRACE_LEVEL_WARNING, exponent); break;
  case Msg::realTooLargeForD:
    utReport<Msg::realTooLargeForD>(Z_TRACE_LEVEL_WARNING, exponent);
    break;
  default:
    utCheck(message == Msg::realClamped);
    utReport<Msg::realClamped>(Z_TRACE_LEVEL_WARNING);
    break;
  }
  return 1;
}

// Checks the arguments, then converts in place.
template <class Word, Side From, Side To, Made<Word> (*Convert)(Word)>
int32_t convert(void *value, int32_t inputOrder, int32_t outputOrder) {
  if (!value) return refuse(Err::nullPointer);
  if (!allowed(From, inputOrder) || !allowed(To, outputOrder)) return refuse(Err::invalid);
  const Made<Word> made = Convert(take<Word>(value, From, inputOrder));
  put<Word>(value, made.word, To, outputOrder);
  return made.warning == Msg{} ? 1 : warn(made.warning, made.exponent);
}

template <size_t Size>
void *reverseBytes(void *value) {
  if (!value) return utFailNull(Err::nullPointer);
  auto *bytes = static_cast<unsigned char *>(value);
  std::reverse(bytes, bytes + Size);
  return value;
}

int32_t nameOf(const char *const *names, int32_t count, int32_t format, const char **out) {
  if (!out) return utFail(Err::nullPointer);
  if (format < 0 || format >= count) return 0;
  *out = names[format];
  return 1;
}

} // namespace

extern "C" {

int32_t Z_CALL ZutGetIntFormat() { return host; }
int32_t Z_CALL ZutGetRealFormat() { return Z_REAL_IEEE; }

int32_t Z_CALL ZutIntFormatToStr(int32_t format, const char **out) {
  static constexpr const char *names[] = {"LITTLE_ENDIAN", "BIG_ENDIAN"};
  return nameOf(names, std::size(names), format, out);
}

int32_t Z_CALL ZutRealFormatToStr(int32_t format, const char **out) {
  static constexpr const char *names[] = {"DEC_D", "DEC_G", "IEEE", "IBM_370"};
  return nameOf(names, std::size(names), format, out);
}

void *Z_CALL ZutSwapTwoBytes(void *value) { return reverseBytes<2>(value); }
void *Z_CALL ZutSwapFourBytes(void *value) { return reverseBytes<4>(value); }
void *Z_CALL ZutSwapEightBytes(void *value) { return reverseBytes<8>(value); }
void *Z_CALL ZutSwapSixteenBytes(void *value) { return reverseBytes<16>(value); }

int32_t Z_CALL ZutSwapReal4IeeeToDecF(void *value, int32_t input, int32_t output) {
  return convert<uint32_t, Side::ieee, Side::dec, ieee4ToDecF>(value, input, output);
}

int32_t Z_CALL ZutSwapReal4DecFToIeee(void *value, int32_t input, int32_t output) {
  return convert<uint32_t, Side::dec, Side::ieee, decFToIeee4>(value, input, output);
}

int32_t Z_CALL ZutSwapReal4IeeeToIbm370(void *value, int32_t input, int32_t output) {
  return convert<uint32_t, Side::ieee, Side::ibm, ieee4ToIbm4>(value, input, output);
}

int32_t Z_CALL ZutSwapReal4Ibm370ToIeee(void *value, int32_t input, int32_t output) {
  return convert<uint32_t, Side::ibm, Side::ieee, ibm4ToIeee4>(value, input, output);
}

int32_t Z_CALL ZutSwapReal4DecFToIbm370(void *value, int32_t input, int32_t output) {
  return convert<uint32_t, Side::dec, Side::ibm, decFToIbm4>(value, input, output);
}

int32_t Z_CALL ZutSwapReal4Ibm370ToDecF(void *value, int32_t input, int32_t output) {
  return convert<uint32_t, Side::ibm, Side::dec, ibm4ToDecF>(value, input, output);
}

int32_t Z_CALL ZutSwapReal8IeeeToDecD(void *value, int32_t input, int32_t output) {
  return convert<uint64_t, Side::ieee, Side::dec, ieee8ToDecD>(value, input, output);
}

int32_t Z_CALL ZutSwapReal8IeeeToDecG(void *value, int32_t input, int32_t output) {
  return convert<uint64_t, Side::ieee, Side::dec, ieee8ToDecG>(value, input, output);
}

int32_t Z_CALL ZutSwapReal8DecDToIeee(void *value, int32_t input, int32_t output) {
  return convert<uint64_t, Side::dec, Side::ieee, decDToIeee8>(value, input, output);
}

int32_t Z_CALL ZutSwapReal8DecDToDecG(void *value, int32_t input, int32_t output) {
  return convert<uint64_t, Side::dec, Side::dec, decDToDecG>(value, input, output);
}

int32_t Z_CALL ZutSwapReal8DecGToIeee(void *value, int32_t input, int32_t output) {
  return convert<uint64_t, Side::dec, Side::ieee, decGToIeee8>(value, input, output);
}

int32_t Z_CALL ZutSwapReal8DecGToDecD(void *value, int32_t input, int32_t output) {
  return convert<uint64_t, Side::dec, Side::dec, decGToDecD>(value, input, output);
}

int32_t Z_CALL ZutSwapReal8IeeeToIbm370(void *value, int32_t input, int32_t output) {
  return convert<uint64_t, Side::ieee, Side::ibm, ieee8ToIbm8>(value, input, output);
}

int32_t Z_CALL ZutSwapReal8Ibm370ToIeee(void *value, int32_t input, int32_t output) {
  return convert<uint64_t, Side::ibm, Side::ieee, ibm8ToIeee8>(value, input, output);
}

int32_t Z_CALL ZutSwapReal8DecDToIbm370(void *value, int32_t input, int32_t output) {
  return convert<uint64_t, Side::dec, Side::ibm, decDToIbm8>(value, input, output);
}

int32_t Z_CALL ZutSwapReal8Ibm370ToDecD(void *value, int32_t input, int32_t output) {
  return convert<uint64_t, Side::ibm, Side::dec, ibm8ToDecD>(value, input, output);
}

int32_t Z_CALL ZutSwapReal8DecGToIbm370(void *value, int32_t input, int32_t output) {
  return convert<uint64_t, Side::dec, Side::ibm, decGToIbm8>(value, input, output);
}

int32_t Z_CALL ZutSwapReal8Ibm370ToDecG(void *value, int32_t input, int32_t output) {
  return convert<uint64_t, Side::ibm, Side::dec, ibm8ToDecG>(value, input, output);
}

} // extern "C"
