// Records that wait in a few slots for their next use, so that one for each line costs little. A
// slot is emptied and filled by one atomic exchange.
#pragma once

#include "base/check.h"

#include <atomic>

// Constant initialised; what it holds stays until the process ends.
template <class T>
class Spares {
public:
  // Null: none waits.
  T *take() {
    for (std::atomic<T *> &slot : slots) {
      if (!slot.load(std::memory_order_relaxed)) continue;
      if (T *record = slot.exchange(nullptr, std::memory_order_acquire)) return record;
    }
    return nullptr;
  }
  // False: no slot is free.
  bool keep(T *record) {
    utCheck(record);
    for (std::atomic<T *> &slot : slots) {
      T *none = nullptr;
      if (slot.compare_exchange_strong(none, record, std::memory_order_release,
                                       std::memory_order_relaxed))
        return true;
    }
    return false;
  }

private:
  std::atomic<T *> slots[4]; // enough for aliases and sourced files within each other
};

// A record that has needed more storage than this is not kept.
inline constexpr int32_t utSpareSizeMax = 4096;
