// Callback lists and callbacks, and what the event types need of them: see include/zut.h,
// "Callback types and callback lists".
#pragma once

#include "callback/listlock.h"
#include "zut.h"

#include <atomic>

struct ZutCb {
  ZutDqNode links;
  ZutCbFunc function;
  ZutWord argument;
  std::atomic<ZutCbList *> list;
  int16_t priority;
  std::atomic<bool> linked;    // stands in the list; not changed by a new priority
  std::atomic<bool> destroyed; // by the first ZutCbDestroy; stands in no list
  bool noticed;                // its change function was called for the end
  std::atomic<int32_t> users;  // of the record: see inside.h
  ZutCbChangeFunc change;
  ZutWord changeArgument;
  uint64_t place; // ascends in calling order: priority, then age
};

// All but the lock and the last two fields is written under the lock's write side; a reader that
// is the list's only user also empties `removed`.
struct ZutCbList {
  void *owner; // null: a global list
  ZutCbType *type;
  ZutCb end; // the ring of callbacks in calling order begins and ends here; its place is the last
  std::atomic<int32_t> count;
  int32_t destroyPending; // by its last user
  // A thread that leaves has something to free: the list, or `removed`.
  std::atomic<int32_t> leftover;
  ZutCb *removed; // while the list had users, linked through links.right
  uint64_t age;   // insertions so far
  ListLock lock;
  std::atomic<uint16_t> startThresh;
  std::atomic<uint16_t> currentThresh;
};

// The core of the calls below include/zut.h's. `list` is read by this thread once more than
// before, and no longer on return. Result 0, with error 5: too many walks through a list.
int32_t utCbListCall(ThreadBlock &self, ZutCbList &list, void *owner, ZutCbCallData &data);
// The owner's list is read already, the global one is not.
int32_t utCbMergeCall(ThreadBlock &self, ZutCbList &local, ZutCbList &global, void *owner,
                      ZutCbCallData &data);
// Ends reading; the only user frees what was removed, the last user destroys an
// owner's list whose destruction is pending.
void utCbListLeaveChanged(ThreadBlock &self, ZutCbList &list);
inline void utCbListLeave(ThreadBlock &self, ZutCbList &list) {
  if (list.leftover.load(std::memory_order_relaxed)) [[unlikely]]
    utCbListLeaveChanged(self, list);
  else utListUnread(self, list.lock);
}
// Destroys the list or, while it has other users or this thread calls it, leaves that to the last
// user: error 32.
int32_t utCbListDestroy(ThreadBlock &self, ZutCbList &list);
