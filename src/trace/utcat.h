// Catalogs: messages fetched for printing.
#pragma once

#include "zut.h"

struct CatText {
  const char *text;
  uint32_t severity;
  bool takesArguments; // else the text is printed as it stands
};

// Fetches the text of a message for printing; it stays readable until utCatTextEnd, even if the
// catalog is pointed at another file meanwhile. False, with nothing to end, when there is none.
bool utCatTextBegin(ZutCatalog &catalog, int32_t id, CatText &out);
void utCatTextEnd(ZutCatalog &catalog);
