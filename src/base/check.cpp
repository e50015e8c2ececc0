#include "base/check.h"

#ifdef ZUT_CHECKS

#  include <cstdio>
#  include <cstdlib>

void utCheckFailed(const char *condition, const char *file, int line) {
  std::fprintf(stderr, "invariant <%s> is broken: %s, line %d\n", condition, file, line);
  std::abort();
}

#endif
