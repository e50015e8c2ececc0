// convert: shows a number or a text in every format of the library.
#include "zut.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <string>

namespace {

constexpr char usage[] = "usage: convert [-t] [NUMBER | TEXT]...\n"
                         "Shows each argument, or each line of the standard input when there is "
                         "none: a number as bytes\n"
                         "of the machines that it may be sent to, with what they read there; a "
                         "text in UTF-8 and UCS-2.\n"
                         "  -t      numbers, too, are texts\n"
                         "  --help  print this\n"
                         "Texts are UTF-8. Exit codes: 0, or 1 when one was not.\n";

using Conversion = int32_t(Z_CALL *)(void *value, int32_t input_order, int32_t output_order);

// A real-number format, with its conversions from and to IEEE.
struct Form {
  const char *name;
  size_t size;
  int32_t order;
  Conversion from;
  Conversion to;
};

int32_t Z_CALL reorder4(void *value, int32_t input, int32_t output) {
  if (input != output) ZutSwapFourBytes(value);
  return 1;
}
int32_t Z_CALL reorder8(void *value, int32_t input, int32_t output) {
  if (input != output) ZutSwapEightBytes(value);
  return 1;
}

constexpr Form forms[] = {
    {"IEEE, little-endian", 4, Z_LITTLE_ENDIAN, reorder4, reorder4},
    {"IEEE, big-endian", 4, Z_BIG_ENDIAN, reorder4, reorder4},
    {"DEC F", 4, Z_LITTLE_ENDIAN, ZutSwapReal4IeeeToDecF, ZutSwapReal4DecFToIeee},
    {"IBM 370", 4, Z_BIG_ENDIAN, ZutSwapReal4IeeeToIbm370, ZutSwapReal4Ibm370ToIeee},
    {"IEEE, little-endian", 8, Z_LITTLE_ENDIAN, reorder8, reorder8},
    {"IEEE, big-endian", 8, Z_BIG_ENDIAN, reorder8, reorder8},
    {"DEC D", 8, Z_LITTLE_ENDIAN, ZutSwapReal8IeeeToDecD, ZutSwapReal8DecDToIeee},
    {"DEC G", 8, Z_LITTLE_ENDIAN, ZutSwapReal8IeeeToDecG, ZutSwapReal8DecGToIeee},
    {"IBM 370", 8, Z_BIG_ENDIAN, ZutSwapReal8IeeeToIbm370, ZutSwapReal8Ibm370ToIeee},
};

std::string hex(const void *data, size_t size) {
  std::string text;
  for (size_t i = 0; i < size; ++i) {
    char digits[4];
    std::snprintf(digits, sizeof digits, " %02x", static_cast<const uint8_t *>(data)[i]);
    text += digits;
  }
  return text;
}

// Real is float or double, as large as the form's numbers.
template <class Real>
void showReal(const Form &form, Real value, int digits) {
  const int32_t host = ZutGetIntFormat();
  form.from(&value, host, form.order);
  const std::string bytes = hex(&value, sizeof value);
  form.to(&value, form.order, host);
  std::printf("  %-21s %d bytes %-24s  %.*g\n", form.name, static_cast<int>(form.size),
              bytes.c_str(), digits, static_cast<double>(value));
}

void showNumber(double value) {
  for (const Form &form : forms) {
    const auto narrow = static_cast<float>(value);
    if (form.size == 8) showReal(form, value, 17);
    else if (std::isfinite(narrow)) showReal(form, narrow, 9);
    else std::printf("  %-21s 4 bytes  too large\n", form.name);
  }
}

// Units in this machine's order, shown in `order`.
void showUnits(const char *name, uint16_t *units, int32_t order) {
  const int32_t size = ZutStrLenByte(units, Z_CHAR_FORMAT_UCS2);
  const auto reorder = [=] {
    for (int32_t i = 0; order != ZutGetIntFormat() && i < size / 2; ++i) ZutSwapTwoBytes(&units[i]);
  };
  reorder();
  std::printf("  %-21s %d units %s\n", name, static_cast<int>(size / 2),
              hex(units, static_cast<size_t>(size)).c_str());
  reorder();
}

// False for what is not UTF-8.
bool showText(const std::string &text) {
  uint16_t *units = nullptr;
  const bool whole = ZutConvertUtf8ToUcs2(text.c_str(), &units) == 1;
  if (whole) {
    std::printf("  %-21s %d bytes %s\n", "UTF-8", static_cast<int>(text.size()),
                hex(text.data(), text.size()).c_str());
    showUnits("UCS-2, little-endian", units, Z_LITTLE_ENDIAN);
    showUnits("UCS-2, big-endian", units, Z_BIG_ENDIAN);
  } else {
    std::printf("  not UTF-8 of characters up to U+FFFF\n");
  }
  ZutFree(units);
  return whole;
}

bool isNumber(const std::string &word, double &value) {
  const char *end = word.data() + word.size();
  const auto [last, error] = std::from_chars(word.data(), end, value);
  return error == std::errc() && last == end && std::isfinite(value);
}

bool show(const std::string &word, bool onlyTexts) {
  std::printf("%s\n", word.c_str());
  double value = 0.0;
  if (onlyTexts || !isNumber(word, value)) return showText(word);
  showNumber(value);
  return true;
}

} // namespace

int main(int argc, char **argv) {
  ZutOutInit(); // so that the library can tell what it had to change
  const std::string option = argc > 1 ? argv[1] : "";
  if (option == "--help") {
    std::fputs(usage, stdout);
    return 0;
  }
  const bool onlyTexts = option == "-t";
  const int first = onlyTexts ? 2 : 1;
  bool fine = true;
  for (int i = first; i < argc; ++i) fine = show(argv[i], onlyTexts) && fine;
  if (first < argc) return fine ? 0 : 1;
  for (std::string line; std::getline(std::cin, line);) {
    if (line.ends_with('\r')) line.pop_back();
    fine = show(line, onlyTexts) && fine;
  }
  return fine ? 0 : 1;
}
