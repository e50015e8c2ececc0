// The lock of a callback list. What a word says of this thread and what the thread's block says
// always agree: a hold that is not parked is one reader, a parked one is one of the parked.
//
// The words' changes and the tests of those who wait are sequentially consistent: either a change
// is seen by the test, or the waiter is seen by utListWake after the change.
#include "callback/listlock.h"

#include "core/memory.h"

#include <cstring>

std::atomic<int32_t> utListChanges{0};
std::atomic<int32_t> utListWaiters{0};

namespace {

// --- The thread's holds ---

CbHold *holdsOf(CbReads &reads) { return reads.more ? reads.more : reads.first; }

CbHold *find(CbReads &reads, const ListLock &lock) {
  CbHold *holds = holdsOf(reads);
  for (int32_t i = reads.count; i-- > 0;) {
    if (holds[i].lock == &lock) return &holds[i];
  }
  return nullptr;
}

constexpr int32_t Z_FIRST_HOLDS = sizeof(CbReads::first) / sizeof(CbHold);

void makeRoom(CbReads &reads) {
  const int32_t capacity = 2 * reads.count;
  const auto size = capacity * static_cast<int32_t>(sizeof(CbHold));
  if (reads.more) {
    reads.more = static_cast<CbHold *>(Z_REALLOC(reads.more, size, "holds"));
  } else {
    reads.more = static_cast<CbHold *>(Z_MALLOC(size, "holds"));
    std::memcpy(reads.more, reads.first, sizeof reads.first);
  }
  reads.capacity = capacity;
}

void addHold(CbReads &reads, ListLock &lock) {
  if (reads.count == (reads.more ? reads.capacity : Z_FIRST_HOLDS)) [[unlikely]] makeRoom(reads);
  holdsOf(reads)[reads.count++] = {&lock, 1, 0};
}

void removeHold(CbReads &reads, CbHold *hold) {
  *hold = holdsOf(reads)[--reads.count];
  if (!reads.count && reads.more) [[unlikely]] {
    Z_FREE(reads.more, "holds");
    reads.more = nullptr;
  }
}

// --- The word ---

// Adds to the word unless another thread has closed the list.
bool tryAdd(ThreadBlock &self, ListLock &lock, int32_t change) {
  int32_t word = lock.word.load();
  do {
    if ((word & Z_LIST_CLOSED) && lock.writer.load(std::memory_order_relaxed) != &self)
      return false;
  } while (!lock.word.compare_exchange_weak(word, word + change));
  return true;
}

void change(ListLock &lock, int32_t by) {
  if (lock.word.fetch_add(by) & Z_LIST_CLOSED) utListWake();
}

void park(CbReads &reads, CbHold &hold) {
  if (hold.parked) return;
  hold.parked = 1;
  ++reads.parked;
  change(*hold.lock, Z_LIST_PARKED - Z_LIST_READER);
}

bool tryResume(ThreadBlock &self, CbHold &hold) {
  if (!hold.parked) return true;
  if (!tryAdd(self, *hold.lock, Z_LIST_READER - Z_LIST_PARKED)) return false;
  hold.parked = 0;
  --self.lists.parked;
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

void utListPark(ThreadBlock &self) {
  CbHold *holds = holdsOf(self.lists);
  for (int32_t i = 0; i < self.lists.count; ++i) park(self.lists, holds[i]);
}

bool utListTryRead(ThreadBlock &self, ListLock &lock) {
  if (CbHold *hold = find(self.lists, lock)) {
    if (!tryResume(self, *hold)) return false;
    ++hold->depth;
    return true;
  }
  if (!tryAdd(self, lock, Z_LIST_READER)) return false;
  addHold(self.lists, lock);
  return true;
}

void utListReadSlowly(ThreadBlock &self, ListLock &lock) {
  if (!utListTryRead(self, lock))
    utListWait(self, [&] { return utListTryRead(self, lock); });
}

void utListUnreadSlowly(ThreadBlock &self, ListLock &lock) {
  CbHold *hold = find(self.lists, lock);
  if (--hold->depth) return;
  const int32_t mine = hold->parked ? Z_LIST_PARKED : Z_LIST_READER;
  self.lists.parked -= hold->parked;
  removeHold(self.lists, hold);
  change(lock, -mine);
}

int32_t utListDepth(ThreadBlock &self, const ListLock &lock) {
  const CbHold *hold = find(self.lists, lock);
  return hold ? hold->depth : 0;
}

void utListWrite(ThreadBlock &self, ListLock &lock) {
  if (lock.writer.load(std::memory_order_relaxed) == &self) {
    ++lock.writes;
    return;
  }
  if (CbHold *hold = find(self.lists, lock)) park(self.lists, *hold);
  if (!tryClose(lock)) utListWait(self, [&] { return tryClose(lock); });
  const auto noReaders = [&] { return !(lock.word.load() & Z_LIST_READERS); };
  if (!noReaders()) utListWait(self, noReaders);
  lock.writer.store(&self, std::memory_order_relaxed);
  lock.writes = 1;
}

void utListUnwrite(ThreadBlock &self, ListLock &lock) {
  if (--lock.writes) return;
  int32_t by = -Z_LIST_CLOSED;
  CbHold *hold = find(self.lists, lock);
  if (hold && hold->parked) { // resumed in the same step
    hold->parked = 0;
    --self.lists.parked;
    by += Z_LIST_READER - Z_LIST_PARKED;
  }
  lock.writer.store(nullptr, std::memory_order_relaxed);
  change(lock, by);
}

void utListResumeParked(ThreadBlock &self, ListLock &lock, ListLock *second) {
  const auto attempt = [&] {
    if (tryResume(self, *find(self.lists, lock)) &&
        (!second || tryResume(self, *find(self.lists, *second))))
      return true;
    utListPark(self);
    return false;
  };
  if (!attempt()) utListWait(self, attempt);
}
