#include "support/errors.h"

#include <cstring>
#include <memory>
#include <random>
#include <string>

namespace {

std::string referenceEncode(const std::u16string &units) {
  std::string text;
  const auto add = [&](uint32_t marks, uint32_t bits) { text += static_cast<char>(marks | bits); };
  for (const uint32_t c : units) {
    if (c < 0x80) add(0, c);
    else if (c < 0x800) add(0xC0, c >> 6);
    else add(0xE0, c >> 12), add(0x80, c >> 6 & 0x3F);
    if (c >= 0x80) add(0x80, c & 0x3F);
  }
  return text;
}

// Reads each character by its length and holds it against its encoding. False at the first fault;
// `units` then holds what stands before it.
bool referenceDecode(const std::string &text, std::u16string &units) {
  for (size_t at = 0; at < text.size();) {
    const auto lead = static_cast<uint8_t>(text[at]);
    const size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : 3;
    uint32_t code = length == 1 ? lead : lead & (length == 2 ? 0x1F : 0x0F);
    for (const char trail : text.substr(at + 1, length - 1)) code = code << 6 | (trail & 0x3F);
    const std::u16string unit(1, static_cast<char16_t>(code));
    if (text.substr(at, length) != referenceEncode(unit)) return false;
    units += unit;
    at += length;
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

// Decodes like the reference, up to the zeros after the last unit.
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

void expectEncoded(const void *units, const std::string &expected) {
  char *text = nullptr;
  ASSERT_EQ(ZutConvertUcs2ToUtf8(static_cast<const uint16_t *>(units), &text), 1);
  ASSERT_EQ(text, expected);
  ZutFree(text);
}

} // namespace

TEST(Utf8, TextsOfManyLengthsAtEveryAddress) {
  std::mt19937 random(5);
  for (uint32_t i = 0; i < 0x10000 + 3000; ++i) { // every unit alone first
    const std::u16string units =
        i <= 0xFFFF ? std::u16string(i ? 1 : 0, static_cast<char16_t>(i)) : randomText(random);
    const std::string text = referenceEncode(units);
    expectEncoded(exact<uint16_t>(units).get(), text);
    expectDecoded(text);
    const size_t offset = i % 16, bytes = 2 * units.size();
    std::string moved(offset + bytes + 2, '\0');
    std::memcpy(moved.data() + offset, units.data(), bytes);
    expectEncoded(moved.data() + offset, text);
    ASSERT_EQ(ZutStrLenByte(moved.data() + offset, Z_CHAR_FORMAT_UCS2), bytes);
  }
}

TEST(Utf8, RefusesWhatIsNoCharacter) {
  uint16_t *units = nullptr;
  for (const char *text : {"\xC0\x81", "\xC1\xBF", "\xE0\x9F\xBF", "\x80", "\xE2\x82", "\xC3",
                           "\xF0\x90\x80\x80", "\xFF", "\xC3(", "\xE2(\xA1"}) {
    EXPECT_ERROR(0, ZutConvertUtf8ToUcs2(text, &units)) << testing::PrintToString(text);
    ZutFree(units);
    for (const size_t before : {1, 15, 16, 31})
      expectDecoded(std::string(before, 'a') + text + "b");
  }
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
}
