// Printf formats that come from a file, an option or the environment: examined before they reach
// printf, or printed by the library itself. And a printf for the usual case.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <string_view>

// The widest width and the largest precision that such a format may ask for.
constexpr int32_t utFormatMaxWidth = 255;

// Are the format's conversions, in order, those of `kinds`? The kinds are 's' text, 'l' an integer
// passed as long, 'c' character. Flags, width and precision are the format's own.
bool utFormatAgrees(const char *format, std::string_view kinds);

// Is every conversion a plain one: of a known letter, without * and %n, no wider than the maximum?
bool utFormatSafe(const char *format);

// Prints one real number, in the C locale, with two exponent digits or more on every platform. The
// first conversion of a number in `format` gets it: one of efgEFG, or an integer conversion, which
// gets it cut to 32 bits. The rest is copied as text, with %% as %; widths and precisions are cut
// to the maximum. Writes at most `size` bytes, terminated, and returns the length written.
int32_t utFormatReal(char *out, int32_t size, const char *format, double value);

// Prints what vsnprintf would, in a third of the time: texts, characters and decimal integers
// without flags, width or precision. -1, with the arguments used up: the format asks for more than
// that, or the text and its end do not fit into `size` bytes.
int32_t utFormatPlain(char *out, int32_t size, const char *format, va_list args);
