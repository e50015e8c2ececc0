// The recursive lock inside a fast mutex and the word inside a condition. Both need no destruction,
// and all zeros is their first state.
#pragma once

#include "base/check.h"
#include "platform/platform_thread.h"

#include <atomic>

// A recursive lock. The holder's further locks are counted, without an atomic operation, in two
// counts that only rise: taking and giving back need not wait for each other's store.
struct FastLock {
  std::atomic<int32_t> word;    // 0 free, 1 held, 2 held, a thread may be blocked
  std::atomic<uintptr_t> owner; // the holder's token, 0 while free
  uint32_t taken;               // further locks of holders so far
  uint32_t given;               // how many of them were given back; equal when not held again
};

inline bool utFastHeld(const FastLock &lock) {
  return lock.owner.load(std::memory_order_relaxed) == utPlatThreadToken();
}

inline bool utFastTry(FastLock &lock) {
  if (utFastHeld(lock)) {
    ++lock.taken;
    return true;
  }
  int32_t free = 0;
  if (!lock.word.compare_exchange_strong(free, 1, std::memory_order_acquire,
                                         std::memory_order_relaxed))
    return false;
  utCheck(lock.taken == lock.given);
  lock.owner.store(utPlatHolderToken(), std::memory_order_relaxed);
  return true;
}

void utFastBlock(FastLock &lock);

inline void utFastEnter(FastLock &lock) {
  if (!utFastTry(lock)) [[unlikely]]
    utFastBlock(lock);
}

// False: this thread does not hold it; nothing changes.
inline bool utFastLeave(FastLock &lock) {
  if (!utFastHeld(lock)) return false;
  utCheck(lock.word.load(std::memory_order_relaxed) != 0);
  if (lock.taken != lock.given) {
    ++lock.given;
    return true;
  }
  lock.owner.store(0, std::memory_order_relaxed);
  if (lock.word.exchange(0, std::memory_order_release) == 2) [[unlikely]]
    utPlatWordWakeOne(lock.word);
  return true;
}

// How many times this thread holds it.
inline int32_t utFastDepth(const FastLock &lock) {
  return utFastHeld(lock) ? static_cast<int32_t>(lock.taken - lock.given) + 1 : 0;
}

// Holds a fast lock for a scope. Not in a frame that a jump can skip.
class FastGuard {
public:
  explicit FastGuard(FastLock &lock) : lock_(lock) { utFastEnter(lock); }
  ~FastGuard() { utFastLeave(lock_); }
  FastGuard(const FastGuard &) = delete;
  FastGuard &operator=(const FastGuard &) = delete;

private:
  FastLock &lock_;
};

// What threads wait on. A wake is a new generation: it releases every thread that waits at that
// moment, even if others begin to wait before these run.
struct FastCond {
  std::atomic<int32_t> generation;
};

// Waits until the generation is another one. False: the deadline has passed.
bool utFastCondWaitPast(FastCond &cond, int32_t generation, PlatDeadline deadline);
// Waits for a wake. The lock, held once, is released during the wait. False: the deadline has
// passed.
bool utFastCondWait(FastCond &cond, FastLock &lock, PlatDeadline deadline);
void utFastCondWake(FastCond &cond);
