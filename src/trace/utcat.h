// Catalogs: messages fetched for printing.
#pragma once

#include "zut.h"

#include <cstddef>

// Characters of a line at most; what is beyond is a line of its own.
constexpr size_t utCatMaxLine = 1023;

struct CatText {
  const char *format; // safe to print with the message's arguments
  uint32_t severity;
  char space[2 * utCatMaxLine + 64]; // for a format that had to be made
};

// Fetches the text of a message for printing; it stays readable until utCatTextEnd, even if the
// catalog is pointed at another file meanwhile. False, with nothing to end, when there is none.
bool utCatTextBegin(ZutCatalog &catalog, int32_t id, CatText &out);
void utCatTextEnd(ZutCatalog &catalog);
