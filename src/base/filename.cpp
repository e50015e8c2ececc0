#include "base/filename.h"

#include "base/text.h"
#include "platform/platform.h"

const char *utFileBase(const char *name) {
  const char *base = name;
  while (*name) {
    const bool separator = utIsSeparator(*name);
    name += utPlatCharSize(name);
    if (separator) base = name;
  }
  return base;
}

bool utEndsInSeparator(const char *name) { return *name && *utFileBase(name) == '\0'; }

void utSetSeparators(char *name, char separator) {
  for (; *name; name += utPlatCharSize(name)) {
    if (utIsSeparator(*name)) *name = separator;
  }
}

char *utLowerName(char *name) {
  for (char *c = name; *c; c += utPlatCharSize(c)) *c = utLower(*c);
  return name;
}

bool utSameName(const char *a, const char *b) {
  while (utLower(*a) == utLower(*b)) {
    if (*a == '\0') return true;
    const int32_t size = utPlatCharSize(a);
    if (size != utPlatCharSize(b) || (size > 1 && a[1] != b[1])) return false;
    a += size;
    b += size;
  }
  return false;
}
