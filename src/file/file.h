// Names of any length, and single files.
#pragma once

#include "base/filename.h"
#include "zut.h"

// directory + separator + base + extension as ZutBuildFileName joins them, at any length. A text
// to free with Z_FREE.
char *utFileNameDup(const char *directory, const char *base, const char *extension);

// Sets the runtime error number from errno. Returns 0.
int32_t utFailC();
