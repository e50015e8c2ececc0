// Names of files as the system keeps them, in UTF-16. The library's modules have theirs in the code
// page of the system's narrow file functions, which may lack characters of the path below which the
// library is installed. A unit that it lacks is written as "?" and four hexadecimal digits: no file
// has a question mark in its name. What opens the library's own files reads them back.
#pragma once

#include <windows.h>

#include <cstddef>

// The code page of narrow file names.
unsigned utWinFileCodePage();

// The narrow form. False when it does not fit into `size` bytes.
bool utWinNarrowName(const wchar_t *wide, char *out, size_t size);

struct WideName {
  explicit WideName(const char *name);
  // False, with errno and the last error set, for a name that is empty or too long.
  explicit operator bool() const { return text[0] != 0; }

  wchar_t text[1024];
};
