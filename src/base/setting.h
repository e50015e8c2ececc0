// Port: reading options, for every floor. Answered by config/option.
#pragma once

#include "zut.h"

#include <cstddef>

// Reading one option from inside the library: a copy made under the process mutex. A missing,
// unknown or otherwise typed option returns `otherwise`, false or null; the error state is kept.
double utOptionNumber(const char *name, double otherwise);
// The same for one that is read often: the name is looked up again only when an option was made or
// destroyed since. Under the process mutex.
struct SettingCache {
  const char *name;
  const ZutOption *option;
  uint32_t tableState; // at the look-up; 0: none yet
};
double utOptionNumber(SettingCache &sight, double otherwise);
bool utOptionFlag(const char *name, bool otherwise);
// A copy of a string or a word, to free with Z_FREE.
char *utOptionDup(const char *name);

// Makes the standard set, once. Answered by config/command.
void utStdOptionsCreate();

using ::ZutRealToStr; // the option real_number_format says how a number is written
using ::ZutRealToStrCopy;
