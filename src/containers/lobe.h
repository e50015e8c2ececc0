// The record of a lobe and what the event types need of it: see include/zut.h, "Lobe tables".
#pragma once

#include "base/fastlock.h"
#include "zut.h"

#include <atomic>

inline constexpr int32_t Z_LOBE_TEXT = -1; // the size of a lobe of texts

struct ZutLobe {
  int32_t number;
  ZutHashTable *values; // object to value block; under mutex
  FastLock mutex;
  int32_t size;
  ZutLobe *older;             // the one declared before
  std::atomic<int32_t> count; // of values; changed under mutex
};

// The object's value block, or null without an error number. The caller holds the lobe's mutex.
void *utLobeFind(const ZutLobe &lobe, const void *object);

// True when no object has a value; reads one word.
inline bool utLobeEmpty(const ZutLobe &lobe) {
  return lobe.count.load(std::memory_order_relaxed) == 0;
}
