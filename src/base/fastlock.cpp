// A recursive lock in a word of our own, and waiting for a generation.
#include "base/fastlock.h"

namespace {

constexpr int Z_SPINS = 4096; // pauses before a held fast mutex blocks the thread

// The holder may be about to leave. Each look takes the word out of its cache and slows it down,
// so the pause doubles (back-off).
bool spin(FastLock &lock) {
  for (int pauses = 1; pauses < Z_SPINS; pauses *= 2) {
    for (int i = 0; i < pauses; ++i) utPlatPause();
    if (lock.word.load(std::memory_order_relaxed) == 0 && utFastTry(lock)) return true;
  }
  return false;
}

} // namespace

void utFastBlock(FastLock &lock) {
  if (spin(lock)) return;
  // From here on the word is 2: an unlock wakes one thread. That thread cannot know whether others
  // still wait, so it sets 2 again.
  while (lock.word.exchange(2, std::memory_order_acquire) != 0)
    utPlatWordWait(lock.word, 2, Z_NO_DEADLINE);
  utCheck(lock.taken == lock.given);
  lock.owner.store(utPlatHolderToken(), std::memory_order_relaxed);
}

bool utFastCondWaitPast(FastCond &cond, int32_t generation, PlatDeadline deadline) {
  while (cond.generation.load(std::memory_order_acquire) == generation) {
    if (!utPlatWordWait(cond.generation, generation, deadline)) return false;
  }
  return true;
}

bool utFastCondWait(FastCond &cond, FastLock &lock, PlatDeadline deadline) {
  utCheck(utFastDepth(lock) == 1);
  const int32_t generation = cond.generation.load(std::memory_order_relaxed);
  utFastLeave(lock);
  const bool woken = utFastCondWaitPast(cond, generation, deadline);
  utFastEnter(lock);
  return woken;
}

void utFastCondWake(FastCond &cond) {
  cond.generation.fetch_add(1, std::memory_order_release);
  utPlatWordWakeAll(cond.generation);
}
