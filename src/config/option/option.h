// The option's record, and reading options from inside the library.
#pragma once

#include "base/setting.h"
#include "zut.h"

#include <atomic>

// The legal words of an enumerated option, shared with its clones. Under the process mutex.
struct LegalValues {
  ZutHashTable *words; // key and value are the same lower-cased word
  int32_t users;
};

struct RetiredValue; // option.cpp

struct ZutOption {
  char *name;
  int32_t type;
  void *value; // null: unknown. By type: &boolean, &number, a text, a ZutStrList
  ZutOptionVerifyFunc verify;
  ZutWord verifyArg;
  int32_t required;
  LegalValues *legal; // null until the first word
  int32_t readOnly;
  int32_t isProtected;
  // How the value is kept; changed under the process mutex.
  int32_t boolean;
  double number;
  int32_t capacity; // bytes of a text
  int32_t spareCapacity;
  char *spare;                // storage for the next text, or null
  std::atomic<int32_t> holds; // stretches of code that use the record; raised without the mutex
  bool destroyed;             // no longer in the table; freed when the last of them ends
  int32_t notifying;          // sets whose callbacks are running
  RetiredValue *retired;      // replaced while they run: a callback may still use them
};

// A string or a word, cut to `size` bytes; false where utOptionDup returns null.
bool utOptionText(const char *name, char *out, size_t size);

// The table of all options, made with the standard set by the first call.
ZutHashTable *utOptionTable();
// The name by which an option is known today; the three old names have new ones.
const char *utOptionName(const char *name);
// Is it an option of the table, and not a member of a named table?
bool utOptionIsGlobal(const ZutOption &option);
// Is `word` among the legal values, or are there none?
bool utOptionIsLegal(const ZutOption &option, const char *word);
// A copy of an option outside the table, without its callbacks. Under the process mutex.
ZutOption *utOptionClone(const ZutOption &option);
