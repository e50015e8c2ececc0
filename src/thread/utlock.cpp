// Mutexes of both kinds, conditions, spinlocks.
//
// A fast mutex serves one process and is a word of our own; a kernel mutex is the system's. A
// condition is a generation count, or for a named one the system's event, which other processes
// may wake. None of them is guarded by anything but itself.
#include "thread/utlock.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "platform/platform_time.h"

// A woken thread looks at the condition once more, though it may have been destroyed by then: its
// last user frees it.
struct ZutCond {
  FastCond local;
  PlatEvent *named;           // null: `local` is used
  std::atomic<int32_t> users; // each who waits and, until it is destroyed, its owner
};

struct ZutSpinlock {
  std::atomic<int32_t> word; // 0 free, 1 held
};

namespace {

constexpr double Z_POLL = 0.1; // seconds between two tries of a timed fast lock

bool isFlag(int32_t value) { return value == 0 || value == 1; }

int32_t failOs() { return utFail(Err::os); }

int32_t lockKernel(PlatMutex *mutex, double timeout) {
  switch (utPlatMutexLock(mutex, utPlatDeadline(utMilliseconds(timeout)))) {
  case PlatWait::done: return 1;
  case PlatWait::timedOut: return utFail(Err::timeout);
  case PlatWait::failed: break;
  }
  return failOs();
}

// The program's settled way to wait with a limit: by tries, and without an error number.
int32_t pollFast(FastLock &lock, double timeout) {
  const int64_t start = utPlatWallMilliseconds();
  while (!utFastTry(lock)) {
    ZutSleep(Z_POLL);
    if (static_cast<double>(utPlatWallMilliseconds() - start) >= timeout * 1000.0) return 0;
  }
  return 1;
}

// What is not the usual lock of a fast mutex; out of its way, which has no frame then.
[[gnu::noinline]] int32_t lockOther(ZutMutex *mutex, double timeout) {
  if (!mutex || !utIsTimeout(timeout)) return utFail(Err::invalid);
  if (!mutex->fast) return lockKernel(mutex->kernel, timeout);
  utCheck(mutex->fast == 1);
  if (timeout > 0.0) return pollFast(mutex->lock, timeout);
  return utFastTry(mutex->lock) ? 1 : utFail(Err::timeout);
}

[[gnu::noinline]] int32_t unlockOther(ZutMutex *mutex) {
  if (!mutex || mutex->fast) return utFail(Err::invalid);
  return utPlatMutexUnlock(mutex->kernel) ? 1 : failOs();
}

PlatWait waitWoken(ZutCond &cond, int32_t ticket, double timeout) {
  const PlatDeadline deadline = utPlatDeadline(utMilliseconds(timeout));
  if (cond.named) return utPlatEventWait(cond.named, ticket, deadline);
  return utFastCondWaitPast(cond.local, ticket, deadline) ? PlatWait::done : PlatWait::timedOut;
}

// The wait begins before the mutex is left, so that no wake in between is missed.
int32_t wait(ZutCond &cond, ZutMutex *mutex, double timeout) {
  int32_t ticket = cond.local.generation.load(std::memory_order_relaxed);
  if (cond.named && !utPlatEventArm(cond.named, &ticket)) return failOs();
  if (!ZutMutexUnlock(mutex)) return 0;
  const PlatWait result = waitWoken(cond, ticket, timeout);
  if (result == PlatWait::failed) return failOs();
  const int32_t locked = ZutMutexLock(mutex, Z_FOREVER);
  if (result == PlatWait::done) return locked;
  return locked ? utFail(Err::timeout) : 0;
}

ZutMutex *createFast(int32_t owner) {
  if (!isFlag(owner)) return utFailNull(Err::invalid);
  ZutMutex *mutex = utNew<ZutMutex>("mt");
  mutex->fast = 1;
  if (owner) utFastEnter(mutex->lock);
  return mutex;
}

// `event` null: a condition of this process.
ZutCond *createCond(PlatEvent *event) {
  ZutCond *cond = utNew<ZutCond>("cond");
  cond->named = event;
  cond->users.store(1, std::memory_order_relaxed);
  return cond;
}

ZutCond *createNamed(PlatEvent *event) { return event ? createCond(event) : utFailNull(Err::os); }

bool leaveCond(ZutCond *cond) {
  utCheck(cond->users.load() > 0);
  if (cond->users.fetch_sub(1, std::memory_order_acq_rel) > 1) return true;
  const bool done = !cond->named || utPlatEventClose(cond->named);
  Z_FREE(cond, "cond");
  return done;
}

} // namespace

extern "C" {

ZutMutex *Z_CALL ZutMutexCreate(int32_t owner) {
  if (!isFlag(owner)) return utFailNull(Err::invalid);
  PlatMutex *kernel = utPlatMutexCreate(owner != 0);
  if (!kernel) return utFailNull(Err::os);
  ZutMutex *mutex = utNew<ZutMutex>("mt");
  mutex->kernel = kernel;
  return mutex;
}

ZutMutex *Z_CALL ZutMutexCreateFast(int32_t owner) { return createFast(owner); }

ZutMutex *Z_CALL ZutMutexCreateEx(int32_t owner) { return createFast(owner); }

int32_t Z_CALL ZutMutexDestroy(ZutMutex *mutex) {
  if (!mutex) return utFail(Err::invalid);
  // What another thread holds stays whole: its holder will give it back.
  if (!mutex->fast && !utPlatMutexDestroy(mutex->kernel)) return failOs();
  Z_FREE(mutex, "mutex");
  return 1;
}

int32_t Z_CALL ZutMutexLock(ZutMutex *mutex, double timeout) {
  if (!mutex || !utIsForever(timeout) || !mutex->fast) [[unlikely]]
    return lockOther(mutex, timeout);
  utFastEnter(mutex->lock);
  return 1;
}

int32_t Z_CALL ZutMutexUnlock(ZutMutex *mutex) {
  if (!mutex || !mutex->fast || !utFastLeave(mutex->lock)) [[unlikely]]
    return unlockOther(mutex);
  return 1;
}

void *Z_CALL ZutMutexCreateNamedNp(const char *name, int32_t owner) {
  if (!isFlag(owner)) return utFailNull(Err::invalid);
  if (!name) return utFailNull(Err::nullPointer);
  void *mutex = utPlatNamedMutexCreate(name, owner != 0);
  if (!mutex) utErrSet(Err::os);
  return mutex;
}

void *Z_CALL ZutMutexAttachNamedNp(const char *name) {
  if (!name) return utFailNull(Err::nullPointer);
  void *mutex = utPlatNamedMutexAttach(name);
  if (!mutex) utErrSet(Err::os);
  return mutex;
}

ZutCond *Z_CALL ZutCondCreate(void) { return createCond(nullptr); }

ZutCond *Z_CALL ZutCondCreateNamedNp(const char *name) {
  if (!name) return utFailNull(Err::nullPointer);
  return createNamed(utPlatEventCreate(name));
}

ZutCond *Z_CALL ZutCondAttachNamedNp(const char *name) {
  if (!name) return utFailNull(Err::nullPointer);
  return createNamed(utPlatEventAttach(name));
}

int32_t Z_CALL ZutCondDestroy(ZutCond *cond) {
  if (!cond) return utFail(Err::invalid);
  return leaveCond(cond) ? 1 : failOs();
}

int32_t Z_CALL ZutCondWakeAll(ZutCond *cond) {
  if (!cond) return utFail(Err::invalid);
  if (cond->named) return utPlatEventWake(cond->named) ? 1 : failOs();
  utFastCondWake(cond->local);
  return 1;
}

int32_t Z_CALL ZutCondWait(ZutCond *cond, ZutMutex *mutex, double timeout) {
  if (!cond || !mutex || !utIsTimeout(timeout) || timeout == 0.0) return utFail(Err::invalid);
  cond->users.fetch_add(1, std::memory_order_relaxed);
  const int32_t woken = wait(*cond, mutex, timeout);
  leaveCond(cond);
  return woken;
}

ZutSpinlock *Z_CALL ZutSpinlockCreate(int32_t owner) {
  if (!isFlag(owner)) return utFailNull(Err::invalid);
  ZutSpinlock *lock = utNew<ZutSpinlock>("sl");
  if (owner) ZutSpinlockLock(lock);
  return lock;
}

int32_t Z_CALL ZutSpinlockLock(ZutSpinlock *lock) {
  if (!lock) return utFail(Err::invalid);
  for (;;) {
    int32_t free = 0;
    if (lock->word.compare_exchange_weak(free, 1, std::memory_order_acquire,
                                         std::memory_order_relaxed))
      return 1;
    while (lock->word.load(std::memory_order_relaxed) != 0) utPlatPause();
  }
}

int32_t Z_CALL ZutSpinlockUnlock(ZutSpinlock *lock) {
  if (!lock) return utFail(Err::invalid);
  utCheck((lock->word.load(std::memory_order_relaxed) & ~1) == 0);
  lock->word.store(0, std::memory_order_release);
  return 1;
}

int32_t Z_CALL ZutSpinlockDestroy(ZutSpinlock *lock) {
  if (!lock) return utFail(Err::invalid);
  Z_FREE(lock, "sl");
  return 1;
}

} // extern "C"
