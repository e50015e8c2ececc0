// The trace object's record.
#pragma once

#include "zut.h"

#include <atomic>

// Level, flags and file may change while other threads write; prefix and file change under the
// process mutex.
struct ZutTrace {
  char *name;
  std::atomic<ZutFileNode *> file; // of the open-file table, or one of our own without a name
  std::atomic<int32_t> level;
  std::atomic<uint32_t> flags;
  char *prefix;
  std::atomic<int32_t> refcount;
  ZutCatalog *catalog;
  ZutWord number; // for its bindings, see binding.h
  // Since a message was last written completely; under the process mutex.
  int64_t lostMessages;
  int64_t lostBytes;
  bool lossReported; // ever
};

// Takes over what the options of these names hold now, as binding to them would, without following
// them. Waits for no callback.
void utTraceTakeOptions(struct ZutTrace *trace, const char *level, const char *file,
                        const char *flags);
