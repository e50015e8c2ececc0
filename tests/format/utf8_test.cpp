#include "support/child.h"

#include <cstring>
#include <memory>
#include <random>

namespace {

struct Row {
  uint32_t mask, value, shift, largest, least; // of a lead byte; of a code
};
constexpr Row table[] = {
    {0x80, 0x00, 0, 0x7F, 0}, {0xE0, 0xC0, 6, 0x7FF, 0x80}, {0xF0, 0xE0, 12, 0xFFFF, 0x800}};

// Byte for byte by the table of the encoding.
std::string referenceEncode(const std::u16string &units) {
  std::string text;
  for (const uint32_t c : units) {
    const Row *row = table;
    while (row->largest < c) ++row;
    text += static_cast<char>(c >> row->shift | row->value);
    for (uint32_t shift = row->shift; shift > 0;) {
      shift -= 6;
      text += static_cast<char>((c >> shift & 0x3F) | 0x80);
    }
  }
  return text;
}

// False at the first fault; `units` then holds what stands before it.
bool referenceDecode(const std::string &text, std::u16string &units) {
  for (size_t i = 0; i < text.size();) {
    const auto byte = [&] { return i < text.size() ? static_cast<uint8_t>(text[i++]) : 0u; };
    const uint32_t lead = byte();
    uint32_t code = lead;
    const Row *row = table;
    for (; row != std::end(table) && (lead & row->mask) != row->value; ++row) {
      const uint32_t trail = byte() ^ 0x80;
      if (trail > 0x3F) return false;
      code = code << 6 | trail;
    }
    if (row == std::end(table)) return false;
    code &= row->largest;
    if (code < row->least) return false;
    units += static_cast<char16_t>(code);
  }
  return true;
}

// In a block of exactly its size, so that the address sanitizer sees a byte too far.
template <class Unit, class Text>
std::unique_ptr<Unit[]> exact(const Text &text) {
  auto copy = std::make_unique<Unit[]>(text.size() + 1);
  std::copy(text.begin(), text.end(), copy.get());
  return copy;
}

// Runs of characters of one length, and single ones, as texts have them.
std::u16string randomText(std::mt19937 &random) {
  std::u16string text;
  for (auto runs = random() % 8; runs > 0; --runs) {
    const auto kind = random() % 4;
    for (auto count = random() % 40; count > 0; --count) {
      const uint32_t any = random();
      text += static_cast<char16_t>(kind == 0   ? 1 + any % 0x7F
                                    : kind == 1 ? 0x80 + any % 0x780
                                    : kind == 2 ? 0x800 + any % 0xF800
                                                : 1 + (any >> (16 + any % 12)) % 0xFFFF);
    }
    if (random() % 2) text += u' ';
  }
  return text;
}

// Whether the library decodes it like the reference, up to the zeros behind.
void expectDecoded(const std::string &text) {
  std::u16string expected;
  const bool whole = referenceDecode(text, expected);
  expected.resize(text.size() + 1);
  uint16_t *units = nullptr;
  ASSERT_EQ(ZutConvertUtf8ToUcs2(exact<char>(text).get(), &units), whole)
      << testing::PrintToString(text);
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), units)) << testing::PrintToString(text);
  ZutFree(units);
}

std::string encoded(const uint16_t *units) {
  char *text = nullptr;
  EXPECT_EQ(ZutConvertUcs2ToUtf8(units, &text), 1);
  std::string copy = text;
  ZutFree(text);
  return copy;
}

} // namespace

TEST(Utf8, EveryUnitThereAndBack) {
  for (uint32_t c = 1; c <= 0xFFFF; ++c) {
    const uint16_t units[] = {static_cast<uint16_t>(c), 0};
    const std::string text = encoded(units);
    ASSERT_EQ(text, referenceEncode({static_cast<char16_t>(c)}));
    expectDecoded(text);
  }
  expectDecoded("");
}

TEST(Utf8, TextsOfManyLengthsAtEveryAddress) {
  std::mt19937 random(5);
  for (int i = 0; i < 3000; ++i) {
    const std::u16string units = randomText(random);
    const std::string text = referenceEncode(units);
    ASSERT_EQ(encoded(exact<uint16_t>(units).get()), text);
    expectDecoded(text);
    const size_t offset = static_cast<size_t>(i) % 16, bytes = 2 * units.size();
    std::string moved(offset + bytes + 2, '\0');
    std::memcpy(moved.data() + offset, units.data(), bytes);
    const void *start = moved.data() + offset;
    ASSERT_EQ(encoded(static_cast<const uint16_t *>(start)), text);
    ASSERT_EQ(ZutStrLenByte(start, Z_CHAR_FORMAT_UCS2), static_cast<int32_t>(bytes));
  }
}

TEST(Utf8, RefusesWhatIsNoCharacter) {
  uint16_t *units = nullptr;
  ZutErrNumSet(0);
  for (const char *text : {"\xC0\x81", "\xC1\xBF", "\xE0\x9F\xBF", "\x80", "\xE2\x82", "\xC3",
                           "\xF0\x90\x80\x80", "\xFF", "\xC3(", "\xE2(\xA1"}) {
    EXPECT_EQ(ZutConvertUtf8ToUcs2(text, &units), 0) << testing::PrintToString(text);
    ZutFree(units);
    for (const size_t before : {1, 15, 16, 31})
      expectDecoded(std::string(before, 'a') + text + "b");
  }
  EXPECT_EQ(ZutErrNumGet(), 0);
  std::mt19937 random(6);
  for (int i = 0; i < 20000; ++i) { // one damaged byte
    std::string text = referenceEncode(randomText(random));
    if (!text.empty()) text[random() % text.size()] = static_cast<char>(1 + random() % 255);
    expectDecoded(text);
  }
}

TEST(Utf8, SizesAndCopies) {
  const uint16_t units[] = {'a', 0x2600, 0};
  uint16_t copy[4] = {9, 9, 9, 9};
  EXPECT_EQ(ZutStrCpy(copy, units, Z_CHAR_FORMAT_UCS2_BIG_ENDIAN), copy);
  EXPECT_TRUE(copy[1] == 0x2600 && copy[2] == 0 && copy[3] == 9);
  EXPECT_EQ(ZutTextGetSize(units, Z_CHAR_FORMAT_UCS2), 4);
  char text[] = "......";
  EXPECT_EQ(ZutStrCpy(text, "ab", 65001), text);
  EXPECT_EQ(std::string(text, 6), std::string("ab\0...", 6));
  EXPECT_EQ(ZutStrLenByte("ab", 1252), 2);
  char *none = nullptr;
  EXPECT_EQ(ZutConvertUcs2ToUtf8(nullptr, &none), 0);
  EXPECT_EQ(ZutErrNumGet(), 3);
}
