// The reader-writer mutex.
//
// One word holds how many threads read, whether one writes and whether any waits. While none waits,
// threads enter and leave by changing the word alone. How many read locks a thread holds is kept
// with the thread (threadblock.h). The writer's depth is touched by the writer only.
//
// Once a thread has to wait, the word is closed and all threads take the mutex, which guards all
// that the waiting needs. Under the mutex, while the word is closed, no other thread changes it. An
// upgrading thread that waits is not counted among the readers: its locks are set aside, and given
// back when it gives up.
#include "base/check.h"
#include "base/errword.h"
#include "base/fastlock.h"
#include "base/memory.h"
#include "base/threadblock.h"
#include "thread/utlock.h"

#include <algorithm>

namespace {

// The word: threads that read, and two flags.
constexpr uint32_t Z_WRITER = 0x80000000;
constexpr uint32_t Z_CLOSED = 0x40000000; // a thread waits, or the mutex is held
constexpr uint32_t Z_READERS = 0x3FFFFFFF;

constexpr int32_t Z_QUOTA_MAX = 32;

// A thread that waits to write what it reads; lives on its stack.
struct Upgrade {
  Upgrade *next;
  FastCond cond;
  bool restored; // its read locks count again
};

} // namespace

struct ZutRwMutex {
  uint64_t number;            // no other mutex of the process ever has it
  std::atomic<int32_t> quota; // most threads that read at once so far, not below what was asked
  char apart[64];             // what is only read must not share a cache line with the word
  std::atomic<uint32_t> word;
  int32_t depth;                 // locks of the writer, who alone touches it
  std::atomic<uintptr_t> writer; // the writer's token or 0
  FastLock mutex;                // guards the rest
  FastCond readCond;
  FastCond writeCond;
  int32_t waitingReaders;
  int32_t waitingWriters; // upgrades included
  Upgrade *upgrades;      // waiting, oldest first
  Upgrade *givenUp;       // timed out while another thread writes: read again right after
};

namespace {

std::atomic<uint64_t> lastNumber;

bool isQuota(int32_t quota) { return quota >= 1 && quota <= Z_QUOTA_MAX; }

bool writes(const ZutRwMutex &mutex) {
  return mutex.writer.load(std::memory_order_relaxed) == utPlatThreadToken();
}

uint32_t readers(const ZutRwMutex &mutex) {
  return mutex.word.load(std::memory_order_relaxed) & Z_READERS;
}

bool isWritten(const ZutRwMutex &mutex) {
  return (mutex.word.load(std::memory_order_relaxed) & Z_WRITER) != 0;
}

bool isOccupied(const ZutRwMutex &mutex) { return isWritten(mutex) || readers(mutex) > 0; }

// --- The calling thread's read locks ---

// A mutex that this thread reads (count above 0) or has read.
struct RwHold {
  uint64_t mutex; // its number: an address may be used again
  int32_t count;  // read locks
};

// The part of the thread's block that belongs to the reader-writer mutexes.
struct RwHolds {
  RwHold places[8]; // each mutex has one
  RwHold *more;     // those whose place is taken
  int32_t moreCount;
  int32_t moreCapacity;
};

RwHolds &holdsOf(ThreadBlock &block) { return utThreadPart<RwHolds>(block.rwmutex); }

void freeMoreHolds(ThreadBlock &block) { Z_FREE(holdsOf(block).more, "holds"); }

// The place of a mutex among the thread's holds. One that nothing is held by may be taken over.
RwHold &placeOf(ThreadBlock &block, const ZutRwMutex &mutex) {
  RwHolds &holds = holdsOf(block);
  return holds.places[mutex.number % std::size(holds.places)];
}

// The thread's hold when it is in its place, maybe with a count of 0; otherwise null.
RwHold *findPlaced(const ZutRwMutex &mutex) {
  void *block = utPlatThreadBlockGet();
  if (!block) return nullptr;
  RwHold &place = placeOf(*static_cast<ThreadBlock *>(block), mutex);
  return place.mutex == mutex.number ? &place : nullptr;
}

// Wherever it is. Null: the thread does not read the mutex.
RwHold *findHold(const ZutRwMutex &mutex) {
  ThreadBlock &block = utThreadBlock();
  const auto isIt = [&mutex](const RwHold &hold) {
    return hold.mutex == mutex.number && hold.count > 0;
  };
  RwHold &place = placeOf(block, mutex);
  if (isIt(place)) return &place;
  const RwHolds &holds = holdsOf(block);
  RwHold *end = holds.more + holds.moreCount;
  RwHold *more = std::find_if(holds.more, end, isIt);
  return more == end ? nullptr : more;
}

RwHold &freeMore(ThreadBlock &block) {
  RwHolds &holds = holdsOf(block);
  for (int32_t i = 0; i < holds.moreCount; ++i) {
    if (holds.more[i].count == 0) return holds.more[i];
  }
  if (holds.moreCount == holds.moreCapacity) {
    block.rwmutex.end = freeMoreHolds;
    holds.moreCapacity = 2 * holds.moreCapacity + 8;
    const auto size = holds.moreCapacity * static_cast<int32_t>(sizeof(RwHold));
    holds.more = static_cast<RwHold *>(Z_REALLOC(holds.more, size, "rw_mutex->read_lock_counts"));
  }
  utCheck(holds.moreCount < holds.moreCapacity);
  return holds.more[holds.moreCount++];
}

// For a mutex that the thread has no hold of.
void addHold(const ZutRwMutex &mutex) {
  utCheck(!findHold(mutex));
  ThreadBlock &block = utThreadBlock();
  RwHold &place = placeOf(block, mutex);
  (place.count == 0 ? place : freeMore(block)) = {mutex.number, 1};
}

// --- By the word alone ---

// `quota` is what was read of it: another look after the word has changed would cost a cache miss.
void noteReaders(ZutRwMutex &mutex, int32_t quota, uint32_t count) {
  utCheck(count > 0 && isQuota(quota));
  const auto used = static_cast<int32_t>(count);
  while (used > quota && !mutex.quota.compare_exchange_weak(quota, used)) {
  }
}

enum class Read { in, closed, counted };

// One addition is cheaper than a change that may have to be tried again. Counted: the word was
// closed between the two looks, and the caller has to take its count back under the mutex.
[[gnu::always_inline]] inline Read tryRead(ZutRwMutex &mutex) {
  const int32_t quota = mutex.quota.load(std::memory_order_relaxed);
  if ((mutex.word.load(std::memory_order_relaxed) & ~Z_READERS) != 0) return Read::closed;
  const uint32_t word = mutex.word.fetch_add(1, std::memory_order_acquire);
  if ((word & ~Z_READERS) != 0) return Read::counted;
  noteReaders(mutex, quota, word + 1);
  return Read::in;
}

[[gnu::always_inline]] inline bool tryLeaveRead(ZutRwMutex &mutex) {
  uint32_t word = mutex.word.load(std::memory_order_relaxed);
  utCheck((word & Z_READERS) > 0);
  do {
    if ((word & Z_CLOSED) != 0) return false;
  } while (!mutex.word.compare_exchange_weak(word, word - 1, std::memory_order_release,
                                             std::memory_order_relaxed));
  return true;
}

bool trySwap(ZutRwMutex &mutex, uint32_t from, uint32_t to) {
  if (mutex.word.load(std::memory_order_relaxed) != from) return false;
  return mutex.word.compare_exchange_strong(from, to, std::memory_order_acq_rel,
                                            std::memory_order_relaxed);
}

// --- With the mutex ---

// While it lives, only the thread that made it changes the word, except that a late reader may
// count itself and wait for the mutex to undo that. A wait in between lets others in; those
// who wait keep the word closed.
class Closed {
public:
  explicit Closed(ZutRwMutex &mutex) : mutex_(mutex) {
    utFastEnter(mutex.mutex);
    mutex.word.fetch_or(Z_CLOSED, std::memory_order_acquire);
  }
  ~Closed() {
    utCheck(mutex_.waitingReaders >= 0 && mutex_.waitingWriters >= 0);
    const bool waiting =
        mutex_.waitingReaders > 0 || mutex_.waitingWriters > 0 || mutex_.upgrades || mutex_.givenUp;
    if (!waiting) mutex_.word.fetch_and(~Z_CLOSED, std::memory_order_release);
    utFastLeave(mutex_.mutex);
  }
  Closed(const Closed &) = delete;
  Closed &operator=(const Closed &) = delete;

private:
  ZutRwMutex &mutex_;
};

bool waitOn(ZutRwMutex &mutex, FastCond &cond, int32_t &waiting, PlatDeadline deadline) {
  utCheck(utFastHeld(mutex.mutex) && mutex.word.load() & Z_CLOSED && waiting >= 0);
  ++waiting;
  const bool woken = utFastCondWait(cond, mutex.mutex, deadline);
  --waiting;
  return woken;
}

void append(Upgrade *&list, Upgrade &entry) {
  Upgrade **link = &list;
  while (*link) link = &(*link)->next;
  entry.next = nullptr;
  *link = &entry;
}

void remove(Upgrade *&list, const Upgrade &entry) {
  Upgrade **link = &list;
  for (; *link != &entry; link = &(*link)->next) utCheck(*link);
  *link = entry.next;
}

uint32_t setAside(const ZutRwMutex &mutex) {
  uint32_t count = 0;
  for (const Upgrade *entry = mutex.upgrades; entry; entry = entry->next) ++count;
  return count;
}

// New readers must wait for those that gave their upgrade up and still have read locks.
void restoreGivenUp(ZutRwMutex &mutex) {
  while (Upgrade *entry = mutex.givenUp) {
    utCheck(!entry->restored && !isWritten(mutex));
    mutex.givenUp = entry->next;
    mutex.word.fetch_add(1, std::memory_order_relaxed);
    entry->restored = true;
    utFastCondWake(entry->cond);
  }
}

// A thread has left, or ceased to wait: wakes those that may enter next.
void wakeNext(ZutRwMutex &mutex) {
  if (isWritten(mutex)) return;
  restoreGivenUp(mutex);
  if (mutex.waitingWriters == 0) utFastCondWake(mutex.readCond);
  else if (readers(mutex) == 0)
    utFastCondWake(mutex.upgrades ? mutex.upgrades->cond : mutex.writeCond);
}

void waitRead(ZutRwMutex &mutex, bool counted) {
  const Closed closed(mutex);
  if (counted) {
    utCheck(readers(mutex) > 0);
    mutex.word.fetch_sub(1, std::memory_order_relaxed);
    wakeNext(mutex); // a thread may have waited for this one
  }
  while (isWritten(mutex) || mutex.waitingWriters > 0)
    waitOn(mutex, mutex.readCond, mutex.waitingReaders, Z_NO_DEADLINE);
  mutex.word.fetch_add(1, std::memory_order_acquire);
  noteReaders(mutex, mutex.quota.load(std::memory_order_relaxed), readers(mutex) + setAside(mutex));
}

// Turns the caller, who reads, into the word's writer. Each wait gets the whole timeout. The entry
// counts as waiting for as long as it is listed.
bool waitUpgrade(ZutRwMutex &mutex, double timeout) {
  const Closed closed(mutex);
  if (readers(mutex) > 1 && timeout == 0.0) return false;
  utCheck(readers(mutex) > 0);
  mutex.word.fetch_sub(1, std::memory_order_acq_rel);
  Upgrade entry{};
  append(mutex.upgrades, entry);
  const int64_t milliseconds = utMilliseconds(timeout);
  bool alone = !isOccupied(mutex);
  for (bool woken = true; woken && !alone; alone = !isOccupied(mutex))
    woken = waitOn(mutex, entry.cond, mutex.waitingWriters, utPlatDeadline(milliseconds));
  remove(mutex.upgrades, entry);
  if (alone) {
    mutex.word.fetch_or(Z_WRITER, std::memory_order_acquire);
    return true;
  }
  // The read locks count again, though not beside a writer.
  append(mutex.givenUp, entry);
  wakeNext(mutex);
  while (!entry.restored) utFastCondWait(entry.cond, mutex.mutex, Z_NO_DEADLINE);
  utCheck(readers(mutex) > 0);
  return false;
}

void beginWriting(ZutRwMutex &mutex, int32_t depth) {
  utCheck(isWritten(mutex) && mutex.writer.load() == 0);
  mutex.writer.store(utPlatHolderToken(), std::memory_order_relaxed);
  mutex.depth = depth;
}

// The read locks become the writer's depth.
void turnWriter(ZutRwMutex &mutex, RwHold &hold) {
  utCheck(hold.mutex == mutex.number && hold.count > 0);
  beginWriting(mutex, hold.count);
  hold.count = 0;
}

int32_t upgrade(ZutRwMutex &mutex, RwHold &hold, double timeout) {
  if (!trySwap(mutex, 1, Z_WRITER) && !waitUpgrade(mutex, timeout)) return utFail(Err::timeout);
  turnWriter(mutex, hold);
  return 1;
}

// --- What the common paths leave over; not inlined, so that those need no frame ---

[[gnu::noinline]] int32_t readOther(ZutRwMutex *mutex) {
  if (!mutex) return utFail(Err::invalid);
  if (writes(*mutex)) {
    ++mutex->depth;
  } else if (RwHold *hold = findHold(*mutex)) {
    ++hold->count;
  } else {
    const Read result = tryRead(*mutex);
    if (result != Read::in) waitRead(*mutex, result == Read::counted);
    addHold(*mutex);
  }
  return 1;
}

[[gnu::noinline]] int32_t readCounted(ZutRwMutex *mutex) {
  waitRead(*mutex, true);
  addHold(*mutex);
  return 1;
}

[[gnu::noinline]] int32_t writeOther(ZutRwMutex *mutex) {
  if (!mutex) return utFail(Err::invalid);
  if (!writes(*mutex)) {
    if (RwHold *hold = findHold(*mutex)) {
      upgrade(*mutex, *hold, Z_FOREVER);
    } else {
      const Closed closed(*mutex);
      while (isOccupied(*mutex) || mutex->upgrades)
        waitOn(*mutex, mutex->writeCond, mutex->waitingWriters, Z_NO_DEADLINE);
      mutex->word.fetch_or(Z_WRITER, std::memory_order_acquire);
      beginWriting(*mutex, 0);
    }
  }
  ++mutex->depth;
  return 1;
}

// A thread that does not read may ask only while none does. Beside a writer none does, though a
// late reader may have counted itself for a moment.
[[gnu::noinline]] int32_t upgradeOther(ZutRwMutex *mutex, double timeout) {
  if (!mutex) return utFail(Err::invalid);
  if (!utIsTimeout(timeout)) return utFail(Err::tooSmall);
  if (RwHold *hold = findHold(*mutex)) return upgrade(*mutex, *hold, timeout);
  return isWritten(*mutex) || readers(*mutex) == 0 ? 1 : utFail(Err::invalid);
}

[[gnu::noinline]] int32_t leaveClosed(ZutRwMutex *mutex, uint32_t word) {
  const Closed closed(*mutex);
  utCheck(word == Z_WRITER ? isWritten(*mutex) : word == 1 && readers(*mutex) > 0);
  mutex->word.fetch_sub(word, std::memory_order_release);
  wakeNext(*mutex);
  return 1;
}

[[gnu::noinline]] int32_t unlockOther(ZutRwMutex *mutex) {
  RwHold *hold = mutex ? findHold(*mutex) : nullptr;
  if (!hold) return utFail(Err::invalid);
  return --hold->count > 0 || tryLeaveRead(*mutex) ? 1 : leaveClosed(mutex, 1);
}

} // namespace

extern "C" {

ZutRwMutex *Z_CALL ZutRwMutexCreate(int32_t owner, int32_t quota) {
  if ((owner != 0 && owner != 1) || !isQuota(quota)) return utFailNull(Err::invalid);
  auto *mutex = utNew<ZutRwMutex>("rw_mutex");
  mutex->number = ++lastNumber;
  mutex->quota.store(quota, std::memory_order_relaxed);
  if (owner) ZutRwMutexWriteLock(mutex);
  return mutex;
}

int32_t Z_CALL ZutRwMutexDestroy(ZutRwMutex *mutex) {
  if (!mutex) return utFail(Err::invalid);
  if (RwHold *hold = findHold(*mutex)) hold->count = 0;
  utFastEnter(mutex->mutex); // a thread that has just left may still be waking others
  utFastLeave(mutex->mutex);
  Z_FREE(mutex, "rw_mutex");
  return 1;
}

int32_t Z_CALL ZutRwMutexGetReadQuota(ZutRwMutex *mutex, int32_t *quota_out) {
  if (!mutex) return utFail(Err::invalid);
  if (!quota_out) return utFail(Err::nullPointer);
  *quota_out = mutex->quota.load(std::memory_order_relaxed);
  return 1;
}

int32_t Z_CALL ZutRwMutexSetReadQuota(ZutRwMutex *mutex, int32_t quota) {
  if (!mutex || !isQuota(quota)) return utFail(Err::invalid);
  ZutRwMutexWriteLock(mutex);
  mutex->quota.store(quota, std::memory_order_relaxed);
  return ZutRwMutexUnlock(mutex);
}

int32_t Z_CALL ZutRwMutexReadLock(ZutRwMutex *mutex) {
  RwHold *hold = mutex ? findPlaced(*mutex) : nullptr;
  if (!hold || hold->count > 0) return readOther(mutex);
  switch (tryRead(*mutex)) {
  case Read::in: hold->count = 1; return 1;
  case Read::closed: return readOther(mutex);
  case Read::counted: break;
  }
  return readCounted(mutex);
}

// A free mutex is not read by the caller either.
int32_t Z_CALL ZutRwMutexWriteLock(ZutRwMutex *mutex) {
  if (!mutex || !trySwap(*mutex, 0, Z_WRITER)) return writeOther(mutex);
  beginWriting(*mutex, 1);
  return 1;
}

int32_t Z_CALL ZutRwMutexUnlock(ZutRwMutex *mutex) {
  if (mutex && writes(*mutex)) {
    utCheck(isWritten(*mutex) && mutex->depth > 0 && !findHold(*mutex));
    if (--mutex->depth > 0) return 1;
    mutex->writer.store(0, std::memory_order_relaxed);
    return trySwap(*mutex, Z_WRITER, 0) ? 1 : leaveClosed(mutex, Z_WRITER);
  }
  RwHold *hold = mutex ? findPlaced(*mutex) : nullptr;
  if (!hold || hold->count != 1) return unlockOther(mutex);
  const bool left = tryLeaveRead(*mutex);
  hold->count = 0;
  return left ? 1 : leaveClosed(mutex, 1);
}

int32_t Z_CALL ZutRwMutexUpgradeLock(ZutRwMutex *mutex, double timeout) {
  RwHold *hold = mutex ? findPlaced(*mutex) : nullptr;
  if (!hold || hold->count == 0 || !utIsForever(timeout) || !trySwap(*mutex, 1, Z_WRITER))
    return upgradeOther(mutex, timeout);
  turnWriter(*mutex, *hold);
  return 1;
}

int32_t Z_CALL ZutRwMutexReadLocked(ZutRwMutex *mutex) {
  if (!mutex) return utFail(Err::invalid);
  return writes(*mutex) || findHold(*mutex) ? 1 : 0;
}

int32_t Z_CALL ZutRwMutexWriteLocked(ZutRwMutex *mutex) {
  if (!mutex) return utFail(Err::invalid);
  return writes(*mutex) ? 1 : 0;
}

} // extern "C"
