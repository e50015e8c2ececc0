// Characters, short texts and numbers in them, the same in every locale.
#include "base/text.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace {

const char *skipSpace(const char *text) {
  while (utIsSpace(*text)) ++text;
  return text;
}

// Does the unsigned decimal number in [first, last) lie at or above 1? Decided by the position of
// the first digit other than 0, which is enough for numbers outside the range of a double.
bool isHuge(const char *first, const char *last) {
  const char *end = std::find_if(first, last, [](char c) { return c == 'e' || c == 'E'; });
  const char *point = std::find(first, end, '.');
  const char *digit = std::find_if(first, end, [](char c) { return c >= '1' && c <= '9'; });
  const long exponent = end == last ? 0 : utParseInt(end + 1);
  return (point - digit) + exponent > 0;
}

} // namespace

bool utSameWord(std::string_view a, std::string_view b) {
  return a.size() == b.size() && utBeginsWord(a, b);
}

bool utBeginsWord(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() &&
         std::equal(prefix.begin(), prefix.end(), text.begin(),
                    [](char a, char b) { return utLower(a) == utLower(b); });
}

char *utLowerText(char *text) {
  for (char *c = text; *c; ++c) *c = utLower(*c);
  return text;
}

bool utCopyCut(char *dest, size_t size, std::string_view text) {
  utCheck(size > 0);
  const size_t length = std::min(text.size(), size - 1);
  std::memcpy(dest, text.data(), length);
  dest[length] = '\0';
  return length == text.size();
}

int32_t utParseInt(const char *text) {
  text = skipSpace(text);
  const bool negative = *text == '-';
  if (*text == '-' || *text == '+') ++text;
  int64_t value = 0;
  for (; utIsDigit(*text) && value <= INT32_MAX; ++text) value = value * 10 + (*text - '0');
  if (negative) value = -value;
  return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX));
}

double utParseReal(const char *text) {
  text = skipSpace(text);
  const bool negative = *text == '-';
  if (*text == '-' || *text == '+') ++text;
  if (!utIsDigit(*text) && *text != '.') return 0.0; // nor the words inf and nan
  double value = 0.0;
  const auto [end, error] = std::from_chars(text, text + std::strlen(text), value);
  if (error == std::errc::result_out_of_range) value = isHuge(text, end) ? HUGE_VAL : 0.0;
  return negative ? -value : value;
}

extern "C" {

int32_t Z_CALL ZutStrCmpi(const char *a, const char *b) {
  if (!a || !b) {
    utErrSet(Err::nullPointer);
    return (a != nullptr) - (b != nullptr);
  }
  for (;; ++a, ++b) {
    const int32_t order =
        static_cast<unsigned char>(utLower(*a)) - static_cast<unsigned char>(utLower(*b));
    if (order != 0 || *a == '\0') return order;
  }
}

char *Z_CALL ZutStringCopy(char **dest, const char *text) {
  if (!dest) return utFailNull(Err::nullPointer);
  char *copy = utDup(text, "string"); // first: `text` may be the old string or part of it
  Z_FREE(*dest, "string");
  return *dest = copy;
}

int32_t Z_CALL ZutIdIsValid(const char *text) {
  if (!text) return utFail(Err::nullPointer);
  constexpr size_t longest = 63;
  if (!utIsAlpha(*text) && *text != '_') return utFail(Err::invalid);
  const char *end = text + 1;
  while (utIsAlpha(*end) || utIsDigit(*end) || (*end && std::strchr("_%?", *end))) ++end;
  return *end || static_cast<size_t>(end - text) > longest ? utFail(Err::invalid) : 1;
}

} // extern "C"
