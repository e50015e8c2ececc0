// One reader of printf conversions serves the examination of a format and the printing of a real
// number. No state, no lock.

#include "format/textformat.h"

#include "base/check.h"
#include "base/text.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace {

struct Conversion {
  bool left = false, plus = false, blank = false, alternate = false, zero = false;
  int32_t width = 0;
  int32_t precision = -1; // none
  std::string_view length;
  char letter = 0;
};

bool isOneOf(char c, std::string_view set) { return c && set.find(c) != std::string_view::npos; }

// Digits, stopping to count beyond the maximum.
const char *readNumber(const char *at, int32_t &number) {
  for (number = 0; utIsDigit(*at); ++at) {
    number = std::min(number * 10 + (*at - '0'), utFormatMaxWidth + 1);
  }
  return at;
}

// Reads what follows a percent sign; returns the place after it. The letter is 0 at the text's end.
const char *readConversion(const char *at, Conversion &c) {
  for (; isOneOf(*at, "-+ #0"); ++at) {
    c.left |= *at == '-';
    c.plus |= *at == '+';
    c.blank |= *at == ' ';
    c.alternate |= *at == '#';
    c.zero |= *at == '0';
  }
  at = readNumber(at, c.width);
  if (*at == '.') at = readNumber(at + 1, c.precision);
  const char *length = at;
  while (isOneOf(*at, "hljztL")) ++at;
  c.length = {length, static_cast<size_t>(at - length)};
  c.letter = *at;
  return *at ? at + 1 : at;
}

bool isInteger(char letter) { return isOneOf(letter, "diouxX"); }
bool isReal(char letter) { return isOneOf(letter, "efgEFG"); }

bool isPlain(const Conversion &c) {
  if (c.width > utFormatMaxWidth || c.precision > utFormatMaxWidth) return false;
  if (c.length.empty())
    return isInteger(c.letter) || isReal(c.letter) || isOneOf(c.letter, "aAcsp");
  if (isReal(c.letter)) return c.length == "l" || c.length == "L";
  if (!isInteger(c.letter)) return false;
  return c.length == "hh" || c.length == "ll" ||
         (c.length.size() == 1 && isOneOf(c.length[0], "hljzt"));
}

char kindOf(const Conversion &c) {
  if (isInteger(c.letter)) return c.length == "l" ? 'l' : '?';
  return c.letter == 's' || c.letter == 'c' ? c.letter : '?';
}

// Calls `take` with each conversion but %%; false as soon as one is not plain or is not taken.
template <class Take>
bool everyConversion(const char *format, Take take) {
  while ((format = std::strchr(format, '%')) != nullptr) {
    if (format[1] == '%') {
      format += 2;
      continue;
    }
    Conversion c;
    format = readConversion(format + 1, c);
    if (!isPlain(c) || !take(c)) return false;
  }
  return true;
}

// Keeps what fits and leaves room for the end.
class Writer {
public:
  Writer(char *out, int32_t size) : out_(out), room_(size - 1) { utCheck(room_ >= 0); }
  void put(std::string_view text) {
    const auto count = std::min(static_cast<int32_t>(text.size()), room_ - length_);
    std::copy_n(text.data(), count, out_ + length_);
    length_ += count;
  }
  void fill(char c, int32_t count) {
    for (; count > 0; --count) put({&c, 1});
  }
  int32_t finish() {
    utCheck(length_ >= 0 && length_ <= room_);
    out_[length_] = 0;
    return length_;
  }

private:
  char *out_;
  int32_t room_;
  int32_t length_ = 0;
};

// A number's parts: sign or base, then digits. The longest is a fixed one of 309 digits and 255
// decimals.
struct NumberText {
  std::string_view before;
  char digits[640];
  char *end = digits;

  void pointBefore(char *place) { // for the flag #: digits without a decimal point get one
    if (std::find(digits, place, '.') != place) return;
    utCheck(place <= end && end < std::end(digits));
    std::copy_backward(place, end, end + 1);
    ++end;
    *place = '.';
  }
  char *exponent() { return std::find(digits, end, 'e'); }
};

std::string_view signOf(const Conversion &c, bool negative) {
  return negative ? "-" : c.plus ? "+" : c.blank ? " " : "";
}

void printAs(NumberText &text, double value, std::chars_format form, int32_t precision) {
  char *last = text.digits + sizeof text.digits - 1; // room for the flag's point
  const auto [end, error] = std::to_chars(text.digits, last, value, form, precision);
  utCheck(error == std::errc());
  text.end = end;
}

// %#g keeps its trailing zeros, so the form is chosen here: by the exponent of the rounded value.
void printGeneral(NumberText &text, double value, int32_t precision) {
  utCheck(precision >= 1);
  printAs(text, value, std::chars_format::scientific, precision - 1);
  const char *digits = text.exponent() + 1;
  int exponent = 0;
  std::from_chars(digits + (*digits == '+'), text.end, exponent);
  if (exponent >= -4 && exponent < precision) {
    printAs(text, value, std::chars_format::fixed, precision - 1 - exponent);
  }
}

void realText(NumberText &text, const Conversion &c, double value) {
  const int32_t precision = c.precision < 0 ? 6 : c.precision;
  const double size = std::fabs(value);
  const char form = c.letter | 0x20;
  text.before = signOf(c, std::signbit(value));
  if (!std::isfinite(value)) {
    text.end = std::to_chars(text.digits, std::end(text.digits), size).ptr;
  } else if (form == 'f') {
    printAs(text, size, std::chars_format::fixed, precision);
  } else if (form == 'e') {
    printAs(text, size, std::chars_format::scientific, precision);
  } else if (c.alternate) {
    printGeneral(text, size, std::max(precision, 1));
  } else {
    printAs(text, size, std::chars_format::general, precision);
  }
  if (c.alternate && std::isfinite(value)) text.pointBefore(text.exponent());
  if (utIsUpper(c.letter)) {
    std::transform(text.digits, text.end, text.digits,
                   [](char d) { return utIsLower(d) ? static_cast<char>(d - 32) : d; });
  }
}

void integerText(NumberText &text, const Conversion &c, int32_t value) {
  const bool isSigned = c.letter == 'd' || c.letter == 'i';
  const bool hex = c.letter == 'x' || c.letter == 'X';
  const uint32_t size =
      isSigned && value < 0 ? 0u - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
  text.before = isSigned                      ? signOf(c, value < 0)
                : hex && c.alternate && value ? (c.letter == 'x' ? "0x" : "0X")
                                              : "";
  char digits[16];
  const int base = hex ? 16 : c.letter == 'o' ? 8 : 10;
  const char *end = std::to_chars(digits, std::end(digits), size, base).ptr;
  const auto count = static_cast<int32_t>(size || c.precision != 0 ? end - digits : 0);
  const int32_t least = c.letter == 'o' && c.alternate ? (size ? count + 1 : 1) : 0;
  text.end = std::fill_n(text.digits, std::max({c.precision, least, count}) - count, '0');
  text.end = std::copy_n(digits, count, text.end);
  utCheck(text.end <= std::end(text.digits));
  if (c.letter == 'X') {
    for (char *at = text.digits; at < text.end; ++at) *at = utIsLower(*at) ? *at - 32 : *at;
  }
}

void putNumber(Writer &writer, Conversion c, double value) {
  c.width = std::min(c.width, utFormatMaxWidth);
  c.precision = std::min(c.precision, utFormatMaxWidth);
  const bool real = isReal(c.letter);
  const bool zeros = c.zero && !c.left && (real ? std::isfinite(value) : c.precision < 0);
  NumberText text;
  if (real) realText(text, c, value);
  else integerText(text, c, utToInt32(value));
  const std::string_view digits{text.digits, static_cast<size_t>(text.end - text.digits)};
  const int32_t pad = c.width - static_cast<int32_t>(text.before.size() + digits.size());
  if (!c.left && !zeros) writer.fill(' ', pad);
  writer.put(text.before);
  if (zeros) writer.fill('0', pad);
  writer.put(digits);
  if (c.left) writer.fill(' ', pad);
}

constexpr size_t decimalSize = 24; // of 64 bits with a sign

template <class Integer>
std::string_view decimal(char (&space)[decimalSize], Integer value) {
  const char *end = std::to_chars(space, std::end(space), value).ptr;
  return {space, static_cast<size_t>(end - space)};
}

} // namespace

bool utFormatAgrees(const char *format, std::string_view kinds) {
  size_t count = 0;
  const bool taken = everyConversion(format, [&](const Conversion &c) {
    return count < kinds.size() && kindOf(c) == kinds[count++];
  });
  return taken && count == kinds.size();
}

bool utFormatSafe(const char *format) {
  return everyConversion(format, [](const Conversion &) { return true; });
}

int32_t utFormatReal(char *out, int32_t size, const char *format, double value) {
  Writer writer(out, size);
  bool printed = false;
  while (const char *percent = std::strchr(format, '%')) {
    writer.put({format, static_cast<size_t>(percent - format)});
    Conversion c;
    format = percent[1] == '%' ? percent + 2 : readConversion(percent + 1, c);
    if (percent[1] == '%') {
      writer.put("%");
    } else if (!printed && (isReal(c.letter) || isInteger(c.letter))) {
      putNumber(writer, c, value);
      printed = true;
    } else {
      writer.put({percent, static_cast<size_t>(format - percent)});
    }
  }
  writer.put(format);
  return writer.finish();
}

int32_t utFormatPlain(char *out, int32_t size, const char *format, va_list args) {
  char *at = out;
  char *const end = out + size - 1;
  const auto put = [&](std::string_view text) {
    if (text.size() > static_cast<size_t>(end - at)) return false;
    at = std::copy(text.begin(), text.end(), at);
    return true;
  };
  while (const char *percent = std::strchr(format, '%')) {
    if (!put({format, static_cast<size_t>(percent - format)})) return -1;
    const bool isLong = percent[1] == 'l';
    const char letter = percent[isLong ? 2 : 1];
    format = percent + (isLong ? 3 : 2);
    char space[decimalSize];
    std::string_view text;
    if (letter == 'd') {
      text = decimal(space, isLong ? va_arg(args, long) : va_arg(args, int));
    } else if (letter == 'u') {
      text = decimal(space, isLong ? va_arg(args, unsigned long) : va_arg(args, unsigned));
    } else if (letter == 's' && !isLong) {
      const char *given = va_arg(args, const char *);
      if (!given) return -1;
      text = given;
    } else if (letter == 'c' && !isLong) {
      space[0] = static_cast<char>(va_arg(args, int));
      text = {space, 1};
    } else if (letter == '%' && !isLong) {
      text = "%";
    } else {
      return -1;
    }
    if (!put(text)) return -1;
  }
  if (!put(format)) return -1;
  utCheck(at >= out && at <= end);
  *at = 0;
  return static_cast<int32_t>(at - out);
}
