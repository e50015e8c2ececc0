// File names as texts in the character set of the system's file functions. Where a character of
// that set has two bytes, the second may look like a letter or a separator.
#pragma once

// Both count wherever a name is examined.
constexpr bool utIsSeparator(char c) { return c == '/' || c == '\\'; }
bool utEndsInSeparator(const char *name);
// The part after the last separator; the whole name if there is none.
const char *utFileBase(const char *name);
// Turns both separators into `separator`, in place.
void utSetSeparators(char *name, char separator);

// Lower-cases in place; gives `name`.
char *utLowerName(char *name);
// Equal ignoring case.
bool utSameName(const char *a, const char *b);
