// The lock of a callback list. What a word says of this thread and what the thread's block says
// always agree: a hold that is not parked is one reader, a parked one is one of the parked.
//
// The words' changes and the tests of those who wait are sequentially consistent: either a change
// is seen by the test, or the waiter is seen by utListWake after the change.
#include "callback/listlock.h"

#include "base/check.h"
#include "base/memory.h"
#include "callback/callback.h"

#include <algorithm>
#include <span>

std::atomic<int32_t> utListChanges{0};
std::atomic<int32_t> utListWaiters{0};

namespace {

// --- The thread's holds ---

std::span<CbHold> holdsOf(const CbReads &reads) { return {reads.begin, reads.end}; }

void freeHolds(ThreadBlock &block) { Z_FREE(utListReads(block).begin, "holds"); }

void addHold(ThreadBlock &self, ListLock &lock) {
  CbReads &reads = utListReads(self);
  if (reads.end == reads.limit) {
    self.callback.end = freeHolds;
    const auto count = static_cast<int32_t>(reads.end - reads.begin);
    const int32_t room = 2 * count + 4;
    const auto size = room * static_cast<int32_t>(sizeof(CbHold));
    reads.begin = static_cast<CbHold *>(Z_REALLOC(reads.begin, size, "holds"));
    reads.end = reads.begin + count;
    reads.limit = reads.begin + room;
  }
  utCheck(reads.end < reads.limit);
  *reads.end++ = {&lock, nullptr, 0, 0};
}

int32_t countHolds(const CbReads &reads, const ListLock &lock, int32_t parked) {
  const auto isIt = [&](const CbHold &hold) { return hold.lock == &lock && hold.parked == parked; };
  return static_cast<int32_t>(std::ranges::count_if(holdsOf(reads), isIt));
}

// --- The word ---

// Adds to the word unless another thread has closed the list; that one waits for a thread that
// still reads it.
bool tryAdd(ThreadBlock &self, ListLock &lock, int32_t change) {
  const bool reads = countHolds(utListReads(self), lock, 0) > 0;
  int32_t word = lock.word.load();
  do {
    if ((word & Z_LIST_CLOSED) && !reads && lock.writer.load(std::memory_order_relaxed) != &self)
      return false;
  } while (!lock.word.compare_exchange_weak(word, word + change));
  return true;
}

void park(CbReads &reads, CbHold &hold) {
  if (hold.parked) return;
  utCheck(!hold.inside || hold.noted);
  hold.parked = 1;
  ++reads.generation;
  utListChange(*hold.lock, Z_LIST_PARKED - Z_LIST_READER);
}

// Returns the change that the word needs.
int32_t unpark(CbReads &reads, const ListLock &lock) {
  int32_t by = 0;
  for (CbHold &hold : holdsOf(reads)) {
    if (hold.lock != &lock || !hold.parked) continue;
    hold.parked = 0;
    by += Z_LIST_READER - Z_LIST_PARKED;
  }
  return by;
}

bool tryResume(ThreadBlock &self, ListLock &lock) {
  const int32_t parked = countHolds(utListReads(self), lock, 1);
  if (!parked) return true;
  if (!tryAdd(self, lock, parked * (Z_LIST_READER - Z_LIST_PARKED))) return false;
  unpark(utListReads(self), lock);
  return true;
}

bool tryClose(ListLock &lock) {
  int32_t word = lock.word.load();
  do {
    if (word & Z_LIST_CLOSED) return false;
  } while (!lock.word.compare_exchange_weak(word, word | Z_LIST_CLOSED));
  return true;
}

} // namespace

void utListWake() {
  if (!utListWaiters.load()) return;
  utListChanges.fetch_add(1);
  utPlatWordWakeAll(utListChanges);
}

void utListNote(ThreadBlock &self) {
  for (CbHold &hold : holdsOf(utListReads(self))) {
    if (!hold.inside || hold.noted) continue;
    hold.noted = 1;
    ++utListReads(self).generation;
    hold.inside->users.fetch_add(1);
  }
}

void utListPark(ThreadBlock &self) {
  utListNote(self);
  for (CbHold &hold : holdsOf(utListReads(self))) park(utListReads(self), hold);
}

bool utListTryRead(ThreadBlock &self, ListLock &lock) {
  if (!tryAdd(self, lock, Z_LIST_READER)) return false;
  addHold(self, lock);
  return true;
}

bool utListReadSlowly(ThreadBlock &self, ListLock &lock) {
  const bool full = utListIsFull(lock);
  if (!utListTryRead(self, lock)) utListWait(self, [&] { return utListTryRead(self, lock); });
  return !full;
}

void utListUnreadSlowly(ThreadBlock &self, ListLock &lock) {
  utCheck(utListDepth(self, lock) > 0);
  CbHold *hold = utListReads(self).end - 1;
  while (hold->lock != &lock) --hold;
  const int32_t by = hold->parked ? -Z_LIST_PARKED : -Z_LIST_READER;
  *hold = *--utListReads(self).end;
  utListChange(lock, by);
}

int32_t utListDepth(ThreadBlock &self, const ListLock &lock) {
  return countHolds(utListReads(self), lock, 0) + countHolds(utListReads(self), lock, 1);
}

void utListWrite(ThreadBlock &self, ListLock &lock) {
  ++utListReads(self).generation;
  if (lock.writer.load(std::memory_order_relaxed) == &self) {
    ++lock.writes;
    return;
  }
  utListNote(self);
  for (CbHold &hold : holdsOf(utListReads(self))) {
    if (hold.lock == &lock) park(utListReads(self), hold);
  }
  if (!tryClose(lock)) utListWait(self, [&] { return tryClose(lock); });
  const auto noReaders = [&] { return !(lock.word.load() & Z_LIST_READERS); };
  if (!noReaders()) utListWait(self, noReaders);
  utCheck(lock.word.load() & Z_LIST_CLOSED && !lock.writer.load() && lock.writes == 0);
  lock.writer.store(&self, std::memory_order_relaxed);
  lock.writes = 1;
  ++utListReads(self).writing;
}

// This thread's parked read locks of the list are resumed in the same step.
void utListUnwrite(ThreadBlock &self, ListLock &lock) {
  utCheck(lock.word.load() & Z_LIST_CLOSED && lock.writer.load() == &self && lock.writes > 0);
  if (--lock.writes) return;
  utCheck(utListReads(self).writing > 0);
  --utListReads(self).writing;
  lock.writer.store(nullptr, std::memory_order_relaxed);
  utListChange(lock, unpark(utListReads(self), lock) - Z_LIST_CLOSED);
}

void utListResume(ThreadBlock &self, ListLock &lock, ListLock *second) {
  const auto attempt = [&] {
    if (tryResume(self, lock) && (!second || tryResume(self, *second))) return true;
    utListPark(self);
    return false;
  };
  if (!attempt()) utListWait(self, attempt);
}
