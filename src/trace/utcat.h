// Catalogs: messages fetched for printing.
#pragma once

#include "base/text.h"
#include "trace/catfile.h"
#include "zut.h"

#include <cstddef>

// Characters of a line at most; the rest is a line of its own.
constexpr size_t utCatMaxLine = 1023;

// The number of a severity's letter, -1 for any other.
constexpr int32_t utCatSeverity(char letter) {
  switch (utLower(letter)) {
  case 'a': return 0;
  case 'n': return 1;
  case 'e': return 2;
  case 'w': return 3;
  case 'i': return 4;
  case 'v': return 5;
  case 'd': return 6;
  default: return -1;
  }
}

struct CatText {
  const char *format; // safe to print with the message's arguments
  uint32_t severity;
  char space[2 * utCatMaxLine + 64]; // for a format that had to be made
};

// Fetches the text of a message for printing; it stays readable until utCatTextEnd, even if the
// catalog is pointed at another file before. False, with nothing to end, when there is none.
bool utCatTextBegin(ZutCatalog &catalog, int32_t id, CatArguments whose, CatText &out);
void utCatTextEnd(ZutCatalog &catalog);
