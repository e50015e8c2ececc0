// Characters and short texts, without the locale: the library's classes are those of ASCII.
#pragma once

#include "zut.h"

#include <cstring>
#include <string_view>

constexpr bool utIsUpper(char c) { return c >= 'A' && c <= 'Z'; }
constexpr bool utIsLower(char c) { return c >= 'a' && c <= 'z'; }
constexpr bool utIsAlpha(char c) { return utIsUpper(c) || utIsLower(c); }
constexpr bool utIsDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool utIsHex(char c) {
  return utIsDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
constexpr bool utIsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr bool utIsPrint(char c) { return c >= ' ' && c <= '~'; }
constexpr char utLower(char c) { return utIsUpper(c) ? static_cast<char>(c + 32) : c; }

// Equal ignoring case.
bool utSameWord(std::string_view a, std::string_view b);
inline bool utSame(const char *a, const char *b) { return std::strcmp(a, b) == 0; }
// Does `text` begin with `prefix`, ignoring case?
bool utBeginsWord(std::string_view text, std::string_view prefix);

// Lower-cases in place; returns `text`.
char *utLowerText(char *text);

// Copies into `size` bytes, cut where it does not fit, always terminated. True when nothing was
// cut.
bool utCopyCut(char *dest, size_t size, std::string_view text);

// Truncates towards zero and stays within 32 bits; NaN becomes 0.
constexpr int32_t utToInt32(double value) {
  if (!(value == value)) return 0;
  if (value >= 2147483647.0) return INT32_MAX;
  if (value <= -2147483648.0) return INT32_MIN;
  return static_cast<int32_t>(value);
}

// Decimal number at the start of a text, saturating; 0 when there is none (like atoi).
int32_t utParseInt(const char *text);
// Real number at the start of a text in the C locale; 0.0 when there is none (like atof).
double utParseReal(const char *text);
