// UTF-8 to UCS-2 and back against ICU: a megabyte of UTF-8, its result in a new block.
#include "support/row.h"
#include "zut.h"

#include <unicode/ustring.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr size_t textSize = 1 << 20; // bytes of UTF-8

// A letter of each kind of text.
using Letter = uint32_t (*)(std::mt19937 &);

uint32_t ascii(std::mt19937 &random) { return 'a' + random() % 26; }
uint32_t latin(std::mt19937 &random) {
  return random() % 8 == 0 ? 0xE0 + random() % 31 : ascii(random);
}
uint32_t cyrillic(std::mt19937 &random) { return 0x430 + random() % 32; }
uint32_t cjk(std::mt19937 &random) { return 0x4E00 + random() % 0x5000; }

void append(std::string &text, uint32_t c) {
  if (c < 0x80) {
    text += static_cast<char>(c);
  } else if (c < 0x800) {
    text += static_cast<char>(0xC0 | c >> 6);
    text += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    text += static_cast<char>(0xE0 | c >> 12);
    text += static_cast<char>(0x80 | (c >> 6 & 0x3F));
    text += static_cast<char>(0x80 | (c & 0x3F));
  }
}

// Words of 2 to 11 letters with blanks between them; ideographs are parted by their own comma.
std::string textOf(Letter letter) {
  std::mt19937 random(1);
  std::string text;
  while (text.size() < textSize) {
    for (uint32_t count = 2 + random() % 10; count > 0; --count) append(text, letter(random));
    append(text, letter == cjk ? 0xFF0C : ' ');
  }
  return text;
}

std::vector<uint16_t> unitsOf(const std::string &text) {
  uint16_t *units = nullptr;
  ZutConvertUtf8ToUcs2(text.c_str(), &units);
  uint16_t *end = units;
  while (*end) ++end;
  std::vector<uint16_t> copy(units, end + 1);
  ZutFree(units);
  return copy;
}

void decodeOurs(benchmark::State &state, const std::string &text) {
  for (auto _ : state) {
    uint16_t *units = nullptr;
    if (!ZutConvertUtf8ToUcs2(text.c_str(), &units)) state.SkipWithError("refused");
    benchmark::DoNotOptimize(units);
    ZutFree(units);
  }
}

void decodeIcu(benchmark::State &state, const std::string &text) {
  for (auto _ : state) {
    const auto length = static_cast<int32_t>(std::strlen(text.c_str()));
    auto *units = static_cast<UChar *>(std::malloc((static_cast<size_t>(length) + 1) * 2));
    UErrorCode error = U_ZERO_ERROR;
    u_strFromUTF8(units, length + 1, nullptr, text.c_str(), length, &error);
    if (U_FAILURE(error)) state.SkipWithError("refused");
    benchmark::DoNotOptimize(units);
    std::free(units);
  }
}

void encodeOurs(benchmark::State &state, const std::vector<uint16_t> &units) {
  for (auto _ : state) {
    char *text = nullptr;
    ZutConvertUcs2ToUtf8(units.data(), &text);
    benchmark::DoNotOptimize(text);
    ZutFree(text);
  }
}

// One pass into the largest block that could be needed is faster than measuring first.
void encodeIcu(benchmark::State &state, const std::vector<uint16_t> &units) {
  const auto *source = reinterpret_cast<const UChar *>(units.data());
  for (auto _ : state) {
    const int32_t length = u_strlen(source);
    const int32_t size = 3 * length + 1;
    auto *text = static_cast<char *>(std::malloc(static_cast<size_t>(size)));
    UErrorCode error = U_ZERO_ERROR;
    u_strToUTF8(text, size, nullptr, source, length, &error);
    if (U_FAILURE(error)) state.SkipWithError("refused");
    benchmark::DoNotOptimize(text);
    std::free(text);
  }
}

struct Kind {
  std::string name;
  Letter letter;
};

// Both directions; the texts live as long as the program.
void addKind(const Kind &kind) {
  const auto *text = new std::string(textOf(kind.letter));
  const auto *units = new std::vector<uint16_t>(unitsOf(*text));
  Row("UTF-8 to UCS-2", kind.name)
      .ours([=](benchmark::State &state) { decodeOurs(state, *text); })
      .peer("ICU", [=](benchmark::State &state) { decodeIcu(state, *text); });
  Row("UCS-2 to UTF-8", kind.name)
      .ours([=](benchmark::State &state) { encodeOurs(state, *units); })
      .peer("ICU", [=](benchmark::State &state) { encodeIcu(state, *units); });
}

} // namespace

void addRows() {
  addKind({"ASCII", ascii});
  addKind({"Latin", latin});
  addKind({"Cyrillic", cyrillic});
  addKind({"CJK", cjk});
}
