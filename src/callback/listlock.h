// The reader-writer lock of a callback list, cheap while no thread writes: one word counts the
// read locks, and each thread keeps which of them are its own in its block.
//
// A thread reads again, writes inside its own writing, and writes where it reads (an upgrade).
// Writers that wait hold off new readers.
//
// A thread that has to wait first parks: all its reading is moved from the readers to the parked
// in the lists' words. Then writers of those lists go on, although the thread counts as one of
// their users; it resumes where it returns to a list. So no two threads wait for each
// other, and no thread reads a list that is written. The price is that a list may have
// changed when a call into the caller's code returns: walks through a list expect that.
//
// Before a hold is parked, the callback that runs under it is noted: the thread counts as one of
// its users until that callback returns. So whoever writes a list finds in the callback's count
// every other thread that runs it, although none of them counts as a reader.
//
// What is read here is trivially destructible throughout: callers' functions run in between.
#pragma once

#include "base/check.h"
#include "base/threadblock.h"
#include "platform/platform_thread.h"

#include <atomic>

struct ListLock;

// A read lock of this thread on a callback list.
struct CbHold {
  ListLock *lock;
  ZutCb *inside;  // the callback that runs under this lock, or null
  int32_t parked; // 1: counted as parked, not as reading
  int32_t noted;  // 1: counted as a user of `inside`
};

// All of them, the latest mostly last: the part of the thread's block that belongs to the lists.
struct CbReads {
  CbHold *begin;
  CbHold *end;
  CbHold *limit;       // of the room
  uint32_t generation; // another one: this thread has parked, or begun to write a list
  int32_t writing;     // how many lists it writes
};

inline CbReads &utListReads(ThreadBlock &self) { return utThreadPart<CbReads>(self.callback); }

struct ListLock {
  std::atomic<int32_t> word;         // read locks, parked ones, Z_LIST_CLOSED
  std::atomic<ThreadBlock *> writer; // who writes
  int32_t writes;                    // the writer's depth
};

inline constexpr int32_t Z_LIST_READER = 1; // up to 32767 at a time
inline constexpr int32_t Z_LIST_READERS = 0x7fff;
inline constexpr int32_t Z_LIST_PARKED = 1 << 15;
inline constexpr int32_t Z_LIST_USERS = 0x3fffffff; // readers and parked
inline constexpr int32_t Z_LIST_CLOSED = 1 << 30;   // a thread writes or waits to
// One of these is set from 8192 readers or parked ones on: then walks are refused. The rest of each
// count is room for look-ups and changes, of which a thread has one at a time.
inline constexpr int32_t Z_LIST_FULL = 3 << 13 | 3 << 28;

// --- Waiting ---
// Wakes the threads that wait for a list's state to change.
void utListWake();
inline void utListChange(ListLock &lock, int32_t by) {
  const int32_t word = lock.word.fetch_add(by);
  utCheck(word >= 0 && word + by >= 0);
  if (word & Z_LIST_CLOSED) [[unlikely]]
    utListWake();
}
// Notes the callbacks that the thread is in; parks the thread as well.
void utListNote(ThreadBlock &self);
void utListPark(ThreadBlock &self);

// Counts the changes to the locks of all lists for those who wait. One word for all: a thread
// that waits needs no list that might be freed during the wait, and waiting is rare.
extern std::atomic<int32_t> utListChanges;
extern std::atomic<int32_t> utListWaiters;

// Waits, parked, until attempt() is true. An attempt that fails leaves everything parked.
template <class Attempt>
void utListWait(ThreadBlock &self, Attempt attempt) {
  utListPark(self);
  utListWaiters.fetch_add(1);
  for (;;) {
    const int32_t seen = utListChanges.load();
    if (attempt()) break;
    utPlatWordWait(utListChanges, seen, Z_NO_DEADLINE);
  }
  utListWaiters.fetch_sub(1);
}

// --- Reading and writing ---

// Reading. TryRead returns false where Read would wait. May be mixed with writing in any order. One
// addition, taken back if the list was closed, is cheaper than a look and a change that may fail.
// Read returns false when there are as many walks through the list as there may be: it is read all
// the same, but a walk must not begin.
bool utListTryRead(ThreadBlock &self, ListLock &lock);
bool utListReadSlowly(ThreadBlock &self, ListLock &lock);
inline bool utListRead(ThreadBlock &self, ListLock &lock) {
  CbReads &reads = utListReads(self);
  CbHold *hold = reads.end;
  utCheck(hold <= reads.limit);
  if (hold != reads.limit) [[likely]] {
    if (!(lock.word.fetch_add(Z_LIST_READER) & (Z_LIST_CLOSED | Z_LIST_FULL))) [[likely]] {
      *hold = {&lock, nullptr, 0, 0};
      reads.end = hold + 1;
      return true;
    }
    utListChange(lock, -Z_LIST_READER);
  }
  return utListReadSlowly(self, lock);
}

// After the last call the list may be gone at any moment.
void utListUnreadSlowly(ThreadBlock &self, ListLock &lock);
inline void utListUnread(ThreadBlock &self, ListLock &lock) {
  utCheck(utListReads(self).end != utListReads(self).begin);
  CbHold *last = utListReads(self).end - 1;
  if (last->lock == &lock && !last->parked) [[likely]] {
    utListReads(self).end = last;
    utListChange(lock, -Z_LIST_READER);
  } else {
    utListUnreadSlowly(self, lock);
  }
}

// As many walks as there may be? For after TryRead.
inline bool utListIsFull(const ListLock &lock) {
  return lock.word.load(std::memory_order_relaxed) & Z_LIST_FULL;
}

// How many read locks the thread has.
int32_t utListDepth(ThreadBlock &self, const ListLock &lock);

// Writing. While a thread writes no other reads; some may be parked.
void utListWrite(ThreadBlock &self, ListLock &lock);
void utListUnwrite(ThreadBlock &self, ListLock &lock);

// Reads again, after a call that may have waited, the lists that this thread reads; the second
// may be null. Needed, as a new look at the lists is, when the thread's generation is another one.
void utListResume(ThreadBlock &self, ListLock &lock, ListLock *second = nullptr);
