// Callback lists: an event's callbacks in calling order, and calling them.
//
// Invariants: the ring is sorted by place, which holds the priority (highest first) and the number
// of the insertion (oldest first); within a list no two callbacks have the same function and
// argument. Guarded by the list's lock: calls, walks and look-ups read, changes write.
//
// While a callback runs, it or (while this thread waits, see listlock.h) another thread may remove
// any callback of the list. A walk therefore keeps no pointer without its place: once something
// was removed, it looks up the first callback at or after the noted place.
//
// A callback may be destroyed by several threads that are inside it, each with the pointer in its
// call data; the first one does it. So the record of a removed callback stays until the list has
// no users besides the one that leaves, and while any thread is inside (inside.h).
//
// A list whose destruction is pending is destroyed by its last user. No list is used after
// utListUnread.
#include "callback/callback.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/report.h"
#include "callback/cbtype.h"
#include "callback/inside.h"
#include "containers/deque.h"

#include <utility>

namespace {

// --- The ring ---

ZutCb *callbackOf(ZutDqNode *node) { return reinterpret_cast<ZutCb *>(node); }

// In calling order; list.end follows the last.
ZutCb *first(const ZutCbList &list) { return callbackOf(list.end.links.right); }
ZutCb *after(const ZutCb *cb) { return callbackOf(cb->links.right); }

constexpr int Z_AGE_BITS = 48;
constexpr uint64_t Z_PLACE_END = UINT64_MAX;

// Sorts after every callback of the same or a higher priority.
uint64_t newPlace(ZutCbList &list, int16_t priority) {
  utCheck(list.lock.writes > 0 && (list.age + 1) >> Z_AGE_BITS == 0);
  return static_cast<uint64_t>(INT16_MAX - priority) << Z_AGE_BITS | ++list.age;
}

void link(ZutCbList &list, ZutCb *cb) {
  cb->place = newPlace(list, cb->priority);
  ZutCb *position = callbackOf(list.end.links.left);
  while (position != &list.end && position->place > cb->place)
    position = callbackOf(position->links.left);
  ZutDqRightInsert(&cb->links, &position->links);
  utCheck(cb->place < after(cb)->place);
  list.count.store(list.count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

void unlink(ZutCbList &list, ZutCb *cb) {
  utCheck(list.lock.writes > 0 && list.count.load() > 0);
  utDqUnlink(&cb->links);
  list.count.store(list.count.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
}

ZutCb *find(const ZutCbList &list, ZutCbFunc function, ZutWord argument) {
  for (ZutCb *cb = first(list); cb != &list.end; cb = after(cb)) {
    if (cb->function == function && cb->argument == argument) return cb;
  }
  return nullptr;
}

// --- Walks ---

// Held in registers for as long as the thread's generation stays the same; only in another one can
// something have been removed.
struct Walk {
  ZutCb *next;    // to be called next, or the list's end
  uint64_t place; // of next
};

Walk walkOf(const ZutCbList &list) {
  ZutCb *next = first(list);
  return {next, next->place};
}

bool isAtEnd(Walk walk) { return walk.place == Z_PLACE_END; }

ZutCb *take(Walk &walk) {
  utCheck(!isAtEnd(walk) && walk.next->place == walk.place);
  ZutCb *cb = walk.next;
  walk.next = after(cb);
  walk.place = walk.next->place;
  return cb;
}

// For a list that is read again. A walk that has noted the end ends.
[[gnu::noinline]] Walk findAgain(const ZutCbList &list, Walk walk) {
  if (isAtEnd(walk)) return walk;
  ZutCb *next = first(list);
  while (next->place < walk.place) next = after(next);
  return {next, next->place};
}

// The hold of the walk that this thread is in: the latest, since holds of inner ones are gone.
CbHold &walkHold(ThreadBlock &self) {
  utCheck(utListReads(self).end != utListReads(self).begin);
  return utListReads(self).end[-1];
}

// The callback of this walk has returned.
void returned(ThreadBlock &self) {
  CbHold &hold = walkHold(self);
  ZutCb *cb = std::exchange(hold.inside, nullptr);
  if (std::exchange(hold.noted, 0)) utCbRelease(*cb, Z_CB_USER);
}

// For a thread that reads the list, which has too many walks: it reads it no longer.
int32_t refuse(ThreadBlock &self, ZutCbList &list) {
  utCbListLeave(self, list);
  return utFail(Err::tooLarge);
}

// After each call into the caller's code. True: the list may have changed.
inline bool settle(ThreadBlock &self, ZutCbList &list, Walk &walk, uint32_t &generation) {
  if (utListReads(self).generation == generation) [[likely]]
    return false;
  returned(self);
  utListResume(self, list.lock);
  walk = findAgain(list, walk);
  generation = utListReads(self).generation;
  return true;
}

void call(ThreadBlock &self, ZutCb *cb, void *owner, ZutCbCallData &data) {
  data.cb = cb;
  walkHold(self).inside = cb;
  cb->function(owner, &data, cb->argument);
}

// --- Changes ---

void notify(ZutCb *cb, int32_t kind) {
  ZutCbChangeData data = {cb, kind};
  if (cb->change) cb->change(cb, &data, cb->changeArgument);
}

ZutCbList *listOf(const ZutCb *cb) { return cb->list.load(std::memory_order_relaxed); }

// The list that a callback stands in. One that was removed has none; one that is being destroyed
// stands in none either, but its change function may still ask for its list.
ZutCbList *homeOf(const ZutCb *cb) {
  return cb->linked.load(std::memory_order_relaxed) ? listOf(cb) : nullptr;
}

void remove(ZutCbList &list, ZutCb *cb) {
  utCheck(homeOf(cb) == &list);
  unlink(list, cb);
  cb->linked.store(false, std::memory_order_relaxed);
}

// For a callback that is out of the list. False: the list has no users, so nothing is kept.
bool keepRemoved(ZutCbList &list, ZutCb *cb) {
  utCheck(!cb->linked.load() && cb->destroyed.load());
  if (!(list.lock.word.load() & Z_LIST_USERS)) return false;
  cb->users.fetch_add(Z_CB_KEPT);
  cb->links.right = list.removed ? &list.removed->links : nullptr;
  list.removed = cb;
  list.leftover.store(1, std::memory_order_relaxed);
  return true;
}

// By the list's only user.
void freeRemoved(ZutCbList &list) {
  ZutCb *cb = std::exchange(list.removed, nullptr);
  list.leftover.store(list.destroyPending, std::memory_order_relaxed);
  while (cb) utCbRelease(*std::exchange(cb, after(cb)), Z_CB_KEPT);
}

void writeEnd(ThreadBlock &self, ZutCbList *list);

// The list that the callback stands in, written by this thread; null when it stands in none.
ZutCbList *writeHome(ThreadBlock &self, const ZutCb *cb) {
  while (ZutCbList *list = homeOf(cb)) {
    utListWrite(self, list->lock);
    if (homeOf(cb) == list) return list;
    writeEnd(self, list); // it was removed while this thread waited
  }
  return nullptr;
}

// For a callback whose list, if it stands in one, this thread writes: a destroyed one has none.
bool isDestroyed(const ZutCb *cb) {
  return cb->destroyed.load(std::memory_order_relaxed) && !utFail(Err::notFound);
}

// A change function may have requested the destruction of the list.
void writeEnd(ThreadBlock &self, ZutCbList *list) {
  if (!list) return;
  if (!list->destroyPending) {
    utListUnwrite(self, list->lock);
    return;
  }
  utListRead(self, list->lock);
  utListUnwrite(self, list->lock);
  utCbListLeave(self, *list);
}

template <class T>
int32_t get(const ZutCb *cb, T ZutCb::*field, T *out) {
  if (!cb || !out) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  ZutCbList *list = homeOf(cb);
  if (list) utListRead(self, list->lock);
  *out = cb->*field;
  if (list) utCbListLeave(self, *list);
  return 1;
}

// Sets the function or the argument; null leaves one as it is. The list may have no such pair.
int32_t setPair(ZutCb *cb, const ZutCbFunc *function, const ZutWord *argument, int32_t kind) {
  ThreadBlock &self = utThreadBlock();
  ZutCbList *list = writeHome(self, cb);
  if (isDestroyed(cb)) return 0;
  const ZutCbFunc newFunction = function ? *function : cb->function;
  const ZutWord newArgument = argument ? *argument : cb->argument;
  const bool taken = list && find(*list, newFunction, newArgument);
  if (!taken) {
    cb->function = newFunction;
    cb->argument = newArgument;
    notify(cb, kind); // may destroy the callback
  }
  writeEnd(self, list);
  return !taken;
}

// --- The end of a list ---

// The thread writes, and its one read lock is the last: change functions find the list active.
void destroy(ThreadBlock &self, ZutCbList &list) {
  utCheck(list.lock.writer.load() == &self && list.lock.writes == 1);
  for (ZutCb *cb; (cb = first(list)) != &list.end;) {
    cb->destroyed.store(true, std::memory_order_relaxed);
    remove(list, cb);
    if (!utCbOthersInside(self, *cb)) utCbNoticeDestroyed(*cb); // from another list, if any
    else cb->list.store(nullptr, std::memory_order_relaxed);
    utCbRelease(*cb, Z_CB_USER);
  }
  freeRemoved(list);
  utCheck(list.count.load() == 0);
  utCbTypeForgetList(list);
  --utListReads(self).writing;
  utListUnread(self, list.lock);
  Z_FREE(&list, "list");
  utListWake();
}

// Ends reading and writing a list whose destruction is pending. True: this was the last user and
// the list is gone.
bool finish(ThreadBlock &self, ZutCbList &list) {
  utCheck(list.destroyPending && utListDepth(self, list.lock) > 0);
  const int32_t users = list.lock.word.load() & Z_LIST_USERS;
  if ((users == Z_LIST_PARKED || users == Z_LIST_READER) && utListDepth(self, list.lock) == 1 &&
      list.lock.writes == 1) {
    destroy(self, list);
    return true;
  }
  utListUnwrite(self, list.lock);
  utListUnread(self, list.lock);
  return false;
}

// --- Dumps ---

unsigned long address(const void *pointer) {
  return static_cast<unsigned long>(reinterpret_cast<uintptr_t>(pointer));
}

long typeNumber(const ZutCbList *list) { return list ? static_cast<long>(list->type->number) : 0L; }

// What is printed is read first: the output function may destroy the callback.
void print(const ZutCb *cb, ZutPrintFunc out) {
  const ZutCbFunc function = cb->function;
  const ZutWord argument = cb->argument;
  const int priority = cb->priority;
  const ZutCbList *list = listOf(cb);
  const unsigned long owner = address(list ? list->owner : nullptr);
  const long number = typeNumber(list);
  out("Cb dump of %lx ", address(cb));
  out("Func: %lx, arg: %lx\n", static_cast<unsigned long>(reinterpret_cast<uintptr_t>(function)),
      static_cast<unsigned long>(argument));
  out("\tList: %lx, pri: %d ", address(list), priority);
  out("Owner: %lx, Type Num: %ld\n", owner, number);
}

} // namespace

// While this thread is the only user, and reads, no thread writes the list or finds a
// removed callback. Of two that leave at once both may see a user: then the next one frees.
void utCbListLeaveChanged(ThreadBlock &self, ZutCbList &list) {
  walkHold(self).inside = nullptr;
  if (list.lock.word.load() == Z_LIST_READER) freeRemoved(list);
  if (!list.destroyPending || !list.owner || utListDepth(self, list.lock) > 1) {
    utListUnread(self, list.lock);
    return;
  }
  utListWrite(self, list.lock);
  finish(self, list);
}

int32_t utCbListDestroy(ThreadBlock &self, ZutCbList &list) {
  utListWrite(self, list.lock);
  list.destroyPending = 1;
  list.leftover.store(1, std::memory_order_relaxed);
  return finish(self, list) ? 1 : utFail(Err::objectInUse);
}

// In line in ZutCbListCall: an event with one callback takes little longer than a call. If the
// destruction is already pending, the walk ends after the first callback.
[[gnu::always_inline]] inline void callAll(ThreadBlock &self, ZutCbList &list, void *owner,
                                           ZutCbCallData &data) {
  Walk walk = walkOf(list);
  uint32_t generation =
      list.destroyPending ? utListReads(self).generation - 1 : utListReads(self).generation;
  while (!isAtEnd(walk)) {
    call(self, take(walk), owner, data);
    if (settle(self, list, walk, generation) && list.destroyPending) break;
  }
  utCbListLeave(self, list);
}

int32_t utCbMergeCall(ThreadBlock &self, ZutCbList &local, ZutCbList &global, void *owner,
                      ZutCbCallData &data) {
  uint32_t generation = utListReads(self).generation;
  if (!utListRead(self, global.lock) || utListIsFull(local.lock)) {
    utCbListLeave(self, global);
    return refuse(self, local);
  }
  if (utListReads(self).generation != generation)
    utListResume(self, local.lock, &global.lock); // it has waited
  generation = utListReads(self).generation;
  Walk locals = walkOf(local);
  Walk globals = walkOf(global);
  const auto run = [&](ZutCb *cb) {
    call(self, cb, owner, data);
    if (utListReads(self).generation == generation) [[likely]]
      return;
    returned(self);
    utListResume(self, local.lock, &global.lock);
    locals = findAgain(local, locals);
    globals = findAgain(global, globals);
    generation = utListReads(self).generation;
  };
  bool stopped = false;
  while (!stopped && !isAtEnd(locals)) {
    const bool useGlobal = globals.place >> Z_AGE_BITS < locals.place >> Z_AGE_BITS;
    stopped = !useGlobal && local.destroyPending;
    if (stopped) break;
    run(useGlobal ? take(globals) : take(locals));
    stopped = local.destroyPending;
  }
  // Once the owner's are through, the global ones all run.
  while (!stopped && !isAtEnd(globals)) run(take(globals));
  utCbListLeave(self, global);
  utCbListLeave(self, local);
  return 1;
}

int32_t utCbListCall(ThreadBlock &self, ZutCbList &list, void *owner, ZutCbCallData &data) {
  if (utListIsFull(list.lock)) return refuse(self, list);
  callAll(self, list, owner, data);
  return 1;
}

extern "C" {

ZutCbList *Z_CALL ZutCbListCreate(ZutCbType *type, void *owner) {
  if (!type) return utFailNull(Err::nullPointer);
  auto *list = utNew<ZutCbList>("new_list");
  list->owner = owner;
  list->type = type;
  list->end.links = {&list->end.links, &list->end.links};
  list->end.place = Z_PLACE_END;
  return list;
}

int32_t Z_CALL ZutCbListDestroy(ZutCbList *list) {
  if (!list) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  utListRead(self, list->lock);
  return utCbListDestroy(self, *list);
}

int32_t Z_CALL ZutCbListCall(ZutCbList *list, void *owner, void *call_data) {
  if (!list || !call_data) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  if (!utListRead(self, list->lock)) return refuse(self, *list);
  callAll(self, *list, owner, *static_cast<ZutCbCallData *>(call_data));
  return 1;
}

int32_t Z_CALL ZutCbListTraverse(ZutCbList *list, ZutCbListTraverseFunc function,
                                 ZutWord argument) {
  if (!list || !function) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  if (!utListRead(self, list->lock)) return refuse(self, *list);
  int32_t result = 0;
  Walk walk = walkOf(*list);
  uint32_t generation = utListReads(self).generation;
  while (!result && !isAtEnd(walk)) {
    ZutCb *cb = walkHold(self).inside = take(walk);
    result = function(list, cb, argument);
    settle(self, *list, walk, generation);
  }
  utCbListLeave(self, *list);
  return result;
}

ZutCb *Z_CALL ZutCbListCbCreate(ZutCbList *list, ZutCbFunc function, ZutWord argument) {
  if (!list || !function) return utFailNull(Err::nullPointer);
  auto *cb = utNew<ZutCb>("new_cb");
  cb->function = function;
  cb->argument = argument;
  cb->users.store(Z_CB_USER, std::memory_order_relaxed);
  if (ZutCbListInsertCb(list, cb)) return cb;
  Z_FREE(cb, "new_cb");
  return nullptr;
}

int32_t Z_CALL ZutCbListInsertCb(ZutCbList *list, ZutCb *cb) {
  if (!list || !cb) return utFail(Err::nullPointer);
  if (isDestroyed(cb)) return 0;
  if (homeOf(cb)) return utFail(Err::objectInUse);
  ThreadBlock &self = utThreadBlock();
  utListWrite(self, list->lock);
  const bool taken = find(*list, cb->function, cb->argument);
  if (!taken) {
    link(*list, cb);
    cb->list.store(list, std::memory_order_relaxed);
    cb->linked.store(true, std::memory_order_relaxed);
  }
  writeEnd(self, list);
  return taken ? utFail(Err::exists) : 1;
}

ZutCb *Z_CALL ZutCbListCbLookup(ZutCbList *list, ZutCbFunc function, ZutWord argument) {
  if (!list || !function) return utFailNull(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  utListRead(self, list->lock);
  ZutCb *cb = find(*list, function, argument);
  utCbListLeave(self, *list);
  return cb ? cb : utFailNull(Err::notFound);
}

int32_t Z_CALL ZutCbListRemoveCb(ZutCbList *list, ZutCb *cb) {
  if (!list || !cb) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  utListWrite(self, list->lock);
  const bool here = homeOf(cb) == list;
  if (here) {
    remove(*list, cb);
    cb->list.store(nullptr, std::memory_order_relaxed);
  }
  writeEnd(self, list);
  return here ? 1 : utFail(Err::notFound);
}

int32_t Z_CALL ZutCbListIsActive(ZutCbList *list) {
  if (!list) return utFail(Err::nullPointer);
  return (list->lock.word.load() & Z_LIST_USERS) != 0;
}

int32_t Z_CALL ZutCbListGetOwner(ZutCbList *list, void **out) {
  if (!list || !out) return utFail(Err::nullPointer);
  *out = list->owner;
  return 1;
}

int32_t Z_CALL ZutCbListGetType(ZutCbList *list, ZutCbType **out) {
  if (!list || !out) return utFail(Err::nullPointer);
  *out = list->type;
  return 1;
}

// The four results of 0 are kept: nothing in the library uses the thresholds, and the
// result says so.
int32_t Z_CALL ZutCbListSetStartThresh(ZutCbList *list, uint16_t threshold) {
  if (!list) return utFail(Err::nullPointer);
  list->startThresh.store(threshold, std::memory_order_relaxed);
  utReport<Msg::thresholdSetStart>(Z_TRACE_LEVEL_WARNING);
  return 0;
}

int32_t Z_CALL ZutCbListGetStartThresh(ZutCbList *list, uint16_t *out) {
  if (!list || !out) return utFail(Err::nullPointer);
  *out = list->startThresh.load(std::memory_order_relaxed);
  utReport<Msg::thresholdGetStart>(Z_TRACE_LEVEL_WARNING);
  return 0;
}

int32_t Z_CALL ZutCbListSetCurrentThresh(ZutCbList *list, uint16_t threshold) {
  if (!list) return utFail(Err::nullPointer);
  list->currentThresh.store(threshold, std::memory_order_relaxed);
  utReport<Msg::thresholdSetCurrent>(Z_TRACE_LEVEL_WARNING);
  return 0;
}

int32_t Z_CALL ZutCbListGetCurrentThresh(ZutCbList *list, uint16_t *out) {
  if (!list || !out) return utFail(Err::nullPointer);
  *out = list->currentThresh.load(std::memory_order_relaxed);
  utReport<Msg::thresholdGetCurrent>(Z_TRACE_LEVEL_WARNING);
  return 0;
}

int32_t Z_CALL ZutCbMergeCall(ZutCbList *owner_list, ZutCbList *global_list, void *owner,
                              void *call_data) {
  if (!owner_list || !global_list || !call_data) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  utListRead(self, owner_list->lock);
  return utCbMergeCall(self, *owner_list, *global_list, owner,
                       *static_cast<ZutCbCallData *>(call_data));
}

int32_t Z_CALL ZutCbPrintList(ZutCbList *list, ZutPrintFunc out) {
  if (!list || !out) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  if (!utListRead(self, list->lock)) return refuse(self, *list);
  out("Cb List Dump of %lx ", address(list));
  out("Owner: %lx, Type: %ld\n", address(list->owner), typeNumber(list));
  out("Current List has %ld entries:\n", static_cast<long>(list->count.load()));
  utListResume(self, list->lock);
  Walk walk = walkOf(*list);
  uint32_t generation = utListReads(self).generation;
  while (!isAtEnd(walk)) {
    print(take(walk), out);
    out("\n");
    settle(self, *list, walk, generation);
  }
  out("Start thresh %d, current thresh: %d ", static_cast<int>(list->startThresh.load()),
      static_cast<int>(list->currentThresh.load()));
  utListResume(self, list->lock);
  utCbListLeave(self, *list);
  return 1;
}

int32_t Z_CALL ZutCbDestroy(ZutCb *cb) {
  if (!cb) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  ZutCbList *list = writeHome(self, cb);
  if (cb->destroyed.exchange(true)) return utFail(Err::notFound);
  bool keepsList = false;
  if (list) {
    remove(*list, cb);
    keepsList = keepRemoved(*list, cb);
    if (keepsList) utListRead(self, list->lock); // the change function may still use it
    writeEnd(self, list);
  }
  utListNote(self); // this thread may run the callback itself; unnoted it would count as another
  const bool left = utCbAwaitOthers(self, *cb);
  if (left) utCbNoticeDestroyed(*cb);
  else cb->list.store(nullptr, std::memory_order_relaxed); // gone when the last one inside leaves
  if (keepsList) utCbListLeave(self, *list);
  utCbRelease(*cb, Z_CB_USER);
  return left ? 1 : utFail(Err::objectInUse);
}

int32_t Z_CALL ZutCbSetFunction(ZutCb *cb, ZutCbFunc function) {
  if (!cb || !function) return utFail(Err::nullPointer);
  return setPair(cb, &function, nullptr, Z_CB_CHANGE_FUNCTION);
}

int32_t Z_CALL ZutCbSetArgument(ZutCb *cb, ZutWord argument) {
  if (!cb) return utFail(Err::nullPointer);
  return setPair(cb, nullptr, &argument, Z_CB_CHANGE_ARGUMENT);
}

int32_t Z_CALL ZutCbSetPriority(ZutCb *cb, int16_t priority) {
  if (!cb) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  ZutCbList *list = writeHome(self, cb);
  if (isDestroyed(cb)) return 0;
  if (cb->priority != priority) {
    if (list) unlink(*list, cb);
    cb->priority = priority;
    if (list) link(*list, cb);
    notify(cb, Z_CB_CHANGE_PRIORITY); // may destroy the callback
  }
  writeEnd(self, list);
  return 1;
}

int32_t Z_CALL ZutCbGetFunction(ZutCb *cb, ZutCbFunc *out) {
  return get(cb, &ZutCb::function, out);
}

int32_t Z_CALL ZutCbGetArgument(ZutCb *cb, ZutWord *out) { return get(cb, &ZutCb::argument, out); }

int32_t Z_CALL ZutCbGetPriority(ZutCb *cb, int16_t *out) { return get(cb, &ZutCb::priority, out); }

int32_t Z_CALL ZutCbGetList(ZutCb *cb, ZutCbList **out) {
  if (!cb || !out) return utFail(Err::nullPointer);
  *out = listOf(cb);
  return 1;
}

int32_t Z_CALL ZutCbGetOwner(ZutCb *cb, void **out) {
  if (!cb || !out) return utFail(Err::nullPointer);
  const ZutCbList *list = listOf(cb);
  *out = list ? list->owner : nullptr;
  return 1;
}

int32_t Z_CALL ZutCbGetCbType(ZutCb *cb, ZutCbType **out) {
  if (!cb || !out) return utFail(Err::nullPointer);
  const ZutCbList *list = listOf(cb);
  *out = list ? list->type : nullptr;
  return 1;
}

int32_t Z_CALL ZutCbSetChangeFunction(ZutCb *cb, ZutCbChangeFunc function, ZutWord argument) {
  if (!cb) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  ZutCbList *list = writeHome(self, cb);
  if (isDestroyed(cb)) return 0;
  cb->change = function;
  cb->changeArgument = argument;
  writeEnd(self, list);
  return 1;
}

int32_t Z_CALL ZutCbPrint(ZutCb *cb, ZutPrintFunc out) {
  if (!cb || !out) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  ZutCbList *list = homeOf(cb);
  if (list) utListRead(self, list->lock);
  print(cb, out);
  if (!list) return 1;
  utListResume(self, list->lock);
  utCbListLeave(self, *list);
  return 1;
}

} // extern "C"
