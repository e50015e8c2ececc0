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
// The same into `size` bytes. False and "" when it does not fit.
bool utFileNameBuild(char *out, size_t size, const char *directory, const char *base,
                     const char *extension);

// Creates a file for reading and writing ("w+b") that did not exist before, not even as a link.
// Null with the runtime error number set.
FILE *utFileCreateNew(const char *name);

// The runtime error number as errno stands; gives 0.
int32_t utFailC();
