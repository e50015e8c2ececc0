// Who is inside a callback. Threads that wait for one to be left are all parked, so they hold off
// only each other; a ring of them is found by the one that would close it, because the others no
// longer move.
#include "callback/inside.h"

#include "base/check.h"
#include "base/fastlock.h"
#include "base/memory.h"

#include <algorithm>
#include <span>

namespace {

std::span<const CbHold> holdsOf(const ThreadBlock &thread) {
  const auto &reads = utThreadPart<CbReads>(thread.callback);
  return {reads.begin, reads.end};
}

int32_t notedBy(const ThreadBlock &thread, const ZutCb &cb) {
  const auto isIt = [&](const CbHold &hold) { return hold.noted && hold.inside == &cb; };
  return static_cast<int32_t>(std::ranges::count_if(holdsOf(thread), isIt));
}

// A thread that waits until the others have left a callback; on its stack.
struct Waiter {
  const ThreadBlock *thread; // its holds do not change while it waits
  const ZutCb *cb;
  Waiter *next;
  bool reached; // the thread that looks for a ring waits for this one
};

FastLock waitersLock;
Waiter *waiters = nullptr; // under waitersLock

bool waitsFor(const Waiter &waiter, const Waiter &other) {
  const auto isIt = [&](const CbHold &hold) { return hold.inside == waiter.cb; };
  return &waiter != &other && std::ranges::any_of(holdsOf(*other.thread), isIt);
}

// Marks those that `waiter` waits for. True: some were not marked before.
bool reach(const Waiter &waiter) {
  utCheck(utFastHeld(waitersLock));
  bool more = false;
  for (Waiter *other = waiters; other; other = other->next) {
    if (other->reached || !waitsFor(waiter, *other)) continue;
    other->reached = more = true;
  }
  return more;
}

// Does `mine` wait, through others, for itself?
bool closesRing(const Waiter &mine) {
  for (Waiter *waiter = waiters; waiter; waiter = waiter->next) waiter->reached = false;
  for (bool more = reach(mine); more && !mine.reached;) {
    more = false;
    for (const Waiter *waiter = waiters; waiter; waiter = waiter->next)
      more |= waiter->reached && reach(*waiter);
  }
  return mine.reached;
}

void leave(Waiter &mine) {
  utCheck(utFastHeld(waitersLock));
  Waiter **link = &waiters;
  for (; *link != &mine; link = &(*link)->next) utCheck(*link);
  *link = mine.next;
}

bool enter(Waiter &mine) {
  const FastGuard guard(waitersLock);
  mine.next = waiters;
  waiters = &mine;
  if (!closesRing(mine)) return true;
  leave(mine);
  return false;
}

} // namespace

void utCbRelease(ZutCb &cb, int32_t use) {
  utCheck(cb.users.load() >= use);
  if (cb.users.fetch_sub(use) != use) {
    utListWake();
    return;
  }
  if (!cb.noticed) utCbNoticeDestroyed(cb);
  Z_FREE(&cb, "cb");
}

void utCbNoticeDestroyed(ZutCb &cb) {
  utCheck(cb.destroyed.load() && !cb.noticed);
  cb.noticed = 1;
  ZutCbChangeData data = {&cb, Z_CB_CHANGE_DESTROY};
  if (cb.change) cb.change(&cb, &data, cb.changeArgument);
  cb.list.store(nullptr, std::memory_order_relaxed);
}

bool utCbOthersInside(const ThreadBlock &self, const ZutCb &cb) {
  return cb.users.load() % Z_CB_KEPT != Z_CB_USER + notedBy(self, cb);
}

bool utCbAwaitOthers(ThreadBlock &self, ZutCb &cb) {
  if (!utCbOthersInside(self, cb)) return true;
  if (utListReads(self).writing) return false;
  utListPark(self);
  utCheck(utListReads(self).writing == 0);
  Waiter mine = {&self, &cb, nullptr, false};
  if (!enter(mine)) return false;
  utListWait(self, [&] { return !utCbOthersInside(self, cb); });
  const FastGuard guard(waitersLock);
  leave(mine);
  return true;
}
