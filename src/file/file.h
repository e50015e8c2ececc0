// Names of any length, and single files.
#pragma once

#include "zut.h"

// Both count wherever a name is examined.
constexpr bool utIsSeparator(char c) { return c == '/' || c == '\\'; }
// The part after the last separator; the whole name if there is none.
const char *utFileBase(const char *name);

// directory + separator + base + extension as ZutBuildFileName joins them, at any length. A text
// to free with Z_FREE.
char *utFileNameDup(const char *directory, const char *base, const char *extension);

// The runtime error number as errno stands; gives 0.
int32_t utFailC();
