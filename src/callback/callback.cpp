// Callback lists: an event's callbacks in calling order, and calling them.
//
// Invariants: the ring is sorted by place, which holds the priority (highest first) and the number
// of the insertion (oldest first); within a list no two callbacks have the same function and
// argument. Guarded by the list's lock: calls, walks and look-ups read, changes write.
//
// While a callback runs, it or (while this thread waits, see listlock.h) another thread may remove
// any callback of the list. A walk therefore keeps no pointer without its place: once something
// was removed, it looks up the first callback at or after the noted place. Records are freed at
// once.
//
// A doomed list is destroyed by its last user. Nobody touches a list after utListUnread.
#include "callback/callback.h"

#include "callback/cbtype.h"
#include "containers/deque.h"
#include "core/errnum.h"
#include "core/memory.h"
#include "core/report.h"

namespace {

// --- The ring ---

ZutCb *callbackOf(const ZutCbList &list, ZutDqNode *node) {
  return node == list.callbacks ? nullptr : reinterpret_cast<ZutCb *>(node);
}

ZutCb *first(const ZutCbList &list) { return callbackOf(list, list.callbacks->right); }
ZutCb *after(const ZutCbList &list, const ZutCb *cb) { return callbackOf(list, cb->links.right); }

// Sorts behind every callback of the same or a higher priority.
uint64_t newPlace(ZutCbList &list, int16_t priority) {
  return static_cast<uint64_t>(INT16_MAX - priority) << 48 | ++list.age;
}

void link(ZutCbList &list, ZutCb *cb) {
  cb->place = newPlace(list, cb->priority);
  ZutDqNode *position = list.callbacks->left;
  while (position != list.callbacks && reinterpret_cast<ZutCb *>(position)->place > cb->place)
    position = position->left;
  ZutDqRightInsert(&cb->links, position);
  list.count.store(list.count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

void unlink(ZutCbList &list, ZutCb *cb) {
  utDqUnlink(&cb->links);
  ++list.changes;
  list.count.store(list.count.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
}

ZutCb *find(const ZutCbList &list, ZutCbFunc function, ZutWord argument) {
  ZutCb *cb = first(list);
  while (cb && (cb->function != function || cb->argument != argument)) cb = after(list, cb);
  return cb;
}

// --- Walks ---

struct Walk {
  const ZutCbList *list;
  ZutCb *next;
  uint64_t place; // of next
  uint32_t changes;
};

void note(Walk &walk, ZutCb *next) {
  walk.next = next;
  if (next) walk.place = next->place;
}

Walk walkOf(const ZutCbList &list) {
  Walk walk = {&list, nullptr, 0, list.changes};
  note(walk, first(list));
  return walk;
}

void findAgain(Walk &walk) {
  walk.changes = walk.list->changes;
  if (!walk.next) return; // a walk that has noted the end ends
  ZutCb *cb = first(*walk.list);
  while (cb && cb->place < walk.place) cb = after(*walk.list, cb);
  note(walk, cb);
}

// The callback to call next, or null.
ZutCb *peek(Walk &walk) {
  if (walk.changes != walk.list->changes) findAgain(walk);
  return walk.next;
}

ZutCb *take(Walk &walk) {
  ZutCb *cb = peek(walk);
  if (cb) note(walk, after(*walk.list, cb));
  return cb;
}

void call(ZutCb *cb, void *owner, ZutCbCallData &data) {
  data.cb = cb;
  cb->function(owner, &data, cb->argument);
}

// --- Changes ---

void notify(ZutCb *cb, int32_t kind) {
  ZutCbChangeData data = {cb, kind};
  if (cb->change) cb->change(cb, &data, cb->changeArgument);
}

void remove(ZutCbList &list, ZutCb *cb) {
  unlink(list, cb);
  cb->linked = 0;
}

void dispose(ZutCb *cb) {
  notify(cb, Z_CB_CHANGE_DESTROY);
  Z_FREE(cb, "cb");
}

// The list that a callback stands in. One that was removed has none; one that is being destroyed
// stands in none either, but its change function may still ask for its list.
ZutCbList *homeOf(const ZutCb *cb) { return cb->linked ? cb->list : nullptr; }

void writeBegin(ThreadBlock &self, ZutCbList *list) {
  if (list) utListWrite(self, *list);
}

// A change function may have doomed the list.
void writeEnd(ThreadBlock &self, ZutCbList *list) {
  if (!list) return;
  if (!list->doomed) {
    utListUnwrite(self, *list);
    return;
  }
  utListRead(self, *list);
  utListUnwrite(self, *list);
  utCbListLeave(self, *list);
}

template <class T>
int32_t get(const ZutCb *cb, T ZutCb::*field, T *out) {
  if (!cb || !out) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  ZutCbList *list = homeOf(cb);
  if (list) utListRead(self, *list);
  *out = cb->*field;
  if (list) utCbListLeave(self, *list);
  return 1;
}

// Sets the function and the argument, of which one is new. The list may have no such pair.
int32_t setPair(ZutCb *cb, ZutCbFunc function, ZutWord argument, int32_t kind) {
  ThreadBlock &self = utThreadBlock();
  ZutCbList *list = homeOf(cb);
  writeBegin(self, list);
  const bool taken = list && find(*list, function, argument);
  if (!taken) {
    cb->function = function;
    cb->argument = argument;
    notify(cb, kind); // may destroy the callback
  }
  writeEnd(self, list);
  return !taken;
}

// --- The end of a list ---

// The thread writes, and its one read lock is the last: change functions find the list active.
void destroy(ThreadBlock &self, ZutCbList &list) {
  while (ZutCb *cb = first(list)) {
    remove(list, cb);
    dispose(cb);
  }
  utCbTypeForgetList(list);
  utListUnread(self, list);
  ZutDqClose(&list.callbacks);
  Z_FREE(&list, "list");
  utListWake();
}

// Ends reading and, here, writing a doomed list. True: it was the last user and the list is gone.
bool finish(ThreadBlock &self, ZutCbList &list) {
  const int32_t users = list.lock.word.load() & Z_LIST_USERS;
  if ((users == Z_LIST_PARKED || users == Z_LIST_READER) && utListDepth(self, list) == 1 &&
      list.lock.writes == 1) {
    destroy(self, list);
    return true;
  }
  utListUnwrite(self, list);
  utListUnread(self, list);
  return false;
}

// --- Dumps ---

unsigned long address(const void *pointer) {
  return static_cast<unsigned long>(reinterpret_cast<uintptr_t>(pointer));
}

long typeNumber(const ZutCbList *list) {
  return list ? static_cast<long>(list->type->number) : 0L;
}

// From a copy: the output function may destroy the callback.
void print(const ZutCb *cb, ZutPrintFunc out) {
  const ZutCb copy = *cb;
  const ZutCbList *list = copy.list;
  const unsigned long owner = address(list ? list->owner : nullptr);
  const long number = typeNumber(list);
  out("Cb dump of %lx ", address(cb));
  out("Func: %lx, arg: %lx\n",
      static_cast<unsigned long>(reinterpret_cast<uintptr_t>(copy.function)),
      static_cast<unsigned long>(copy.argument));
  out("\tList: %lx, pri: %d ", address(list), static_cast<int>(copy.priority));
  out("Owner: %lx, Type Num: %ld\n", owner, number);
}

} // namespace

void utCbListLeave(ThreadBlock &self, ZutCbList &list) {
  if (!list.doomed || !list.owner || utListDepth(self, list) > 1) {
    utListUnread(self, list);
    return;
  }
  utListWrite(self, list);
  finish(self, list);
}

int32_t utCbListDestroy(ThreadBlock &self, ZutCbList &list) {
  utListWrite(self, list);
  list.doomed = 1;
  return finish(self, list) ? 1 : utFail(Err::objectInUse);
}

void utCbListCall(ThreadBlock &self, ZutCbList &list, void *owner, ZutCbCallData &data) {
  Walk walk = walkOf(list);
  while (ZutCb *cb = take(walk)) {
    call(cb, owner, data);
    utListResume(self, list);
    if (list.doomed) break;
  }
  utCbListLeave(self, list);
}

void utCbMergeCall(ThreadBlock &self, ZutCbList &local, ZutCbList &global, void *owner,
                   ZutCbCallData &data) {
  utListRead(self, global);
  utListResume(self, local, &global); // reading the other may have waited
  Walk locals = walkOf(local);
  Walk globals = walkOf(global);
  for (;;) {
    const ZutCb *mine = peek(locals);
    const ZutCb *theirs = peek(globals);
    if (!mine && !theirs) break;
    const bool useGlobal = !mine || (theirs && mine->priority < theirs->priority);
    if (!useGlobal && local.doomed) break;
    call(take(useGlobal ? globals : locals), owner, data);
    utListResume(self, local, &global);
    if (mine && local.doomed) break; // once the owner's are through, the global ones all run
  }
  utCbListLeave(self, global);
  utCbListLeave(self, local);
}

extern "C" {

ZutCbList *Z_CALL ZutCbListCreate(ZutCbType *type, void *owner) {
  if (!type) return utFailNull(Err::nullPointer);
  auto *list = utNew<ZutCbList>("new_list");
  list->owner = owner;
  list->type = type;
  ZutDqOpen(&list->callbacks);
  return list;
}

int32_t Z_CALL ZutCbListDestroy(ZutCbList *list) {
  if (!list) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  utListRead(self, *list);
  return utCbListDestroy(self, *list);
}

int32_t Z_CALL ZutCbListCall(ZutCbList *list, void *owner, void *call_data) {
  if (!list || !call_data) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  utListRead(self, *list);
  utCbListCall(self, *list, owner, *static_cast<ZutCbCallData *>(call_data));
  return 1;
}

int32_t Z_CALL ZutCbListTraverse(ZutCbList *list, ZutCbListTraverseFunc function,
                                 ZutWord argument) {
  if (!list || !function) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  utListRead(self, *list);
  int32_t result = 0;
  Walk walk = walkOf(*list);
  while (ZutCb *cb = take(walk)) {
    result = function(list, cb, argument);
    utListResume(self, *list);
    if (result) break;
  }
  utCbListLeave(self, *list);
  return result;
}

ZutCb *Z_CALL ZutCbListCbCreate(ZutCbList *list, ZutCbFunc function, ZutWord argument) {
  if (!list || !function) return utFailNull(Err::nullPointer);
  auto *cb = utNew<ZutCb>("new_cb");
  cb->function = function;
  cb->argument = argument;
  if (ZutCbListInsertCb(list, cb)) return cb;
  Z_FREE(cb, "new_cb");
  return nullptr;
}

int32_t Z_CALL ZutCbListInsertCb(ZutCbList *list, ZutCb *cb) {
  if (!list || !cb) return utFail(Err::nullPointer);
  if (cb->linked) return utFail(Err::objectInUse);
  ThreadBlock &self = utThreadBlock();
  utListWrite(self, *list);
  const bool taken = find(*list, cb->function, cb->argument);
  if (!taken) {
    link(*list, cb);
    cb->list = list;
    cb->linked = 1;
  }
  writeEnd(self, list);
  return taken ? utFail(Err::exists) : 1;
}

ZutCb *Z_CALL ZutCbListCbLookup(ZutCbList *list, ZutCbFunc function, ZutWord argument) {
  if (!list || !function) return utFailNull(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  utListRead(self, *list);
  ZutCb *cb = find(*list, function, argument);
  utCbListLeave(self, *list);
  return cb ? cb : utFailNull(Err::notFound);
}

int32_t Z_CALL ZutCbListRemoveCb(ZutCbList *list, ZutCb *cb) {
  if (!list || !cb) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  utListWrite(self, *list);
  const bool here = homeOf(cb) == list;
  if (here) {
    remove(*list, cb);
    cb->list = nullptr;
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

// The four results of 0 are kept: nothing in the library uses the thresholds, and a program is to
// know.
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
  utListRead(self, *owner_list);
  utCbMergeCall(self, *owner_list, *global_list, owner, *static_cast<ZutCbCallData *>(call_data));
  return 1;
}

int32_t Z_CALL ZutCbPrintList(ZutCbList *list, ZutPrintFunc out) {
  if (!list || !out) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  utListRead(self, *list);
  out("Cb List Dump of %lx ", address(list));
  out("Owner: %lx, Type: %ld\n", address(list->owner), typeNumber(list));
  out("Current List has %ld entries:\n", static_cast<long>(list->count.load()));
  utListResume(self, *list);
  Walk walk = walkOf(*list);
  while (const ZutCb *cb = take(walk)) {
    print(cb, out);
    out("\n");
    utListResume(self, *list);
  }
  out("Start thresh %d, current thresh: %d ", static_cast<int>(list->startThresh.load()),
      static_cast<int>(list->currentThresh.load()));
  utListResume(self, *list);
  utCbListLeave(self, *list);
  return 1;
}

int32_t Z_CALL ZutCbDestroy(ZutCb *cb) {
  if (!cb) return utFail(Err::nullPointer);
  if (ZutCbList *list = homeOf(cb)) {
    ThreadBlock &self = utThreadBlock();
    utListWrite(self, *list);
    remove(*list, cb);
    writeEnd(self, list);
  }
  dispose(cb);
  return 1;
}

int32_t Z_CALL ZutCbSetFunction(ZutCb *cb, ZutCbFunc function) {
  if (!cb || !function) return utFail(Err::nullPointer);
  return setPair(cb, function, cb->argument, Z_CB_CHANGE_FUNCTION);
}

int32_t Z_CALL ZutCbSetArgument(ZutCb *cb, ZutWord argument) {
  if (!cb) return utFail(Err::nullPointer);
  return setPair(cb, cb->function, argument, Z_CB_CHANGE_ARGUMENT);
}

int32_t Z_CALL ZutCbSetPriority(ZutCb *cb, int16_t priority) {
  if (!cb) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  ZutCbList *list = homeOf(cb);
  writeBegin(self, list);
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

int32_t Z_CALL ZutCbGetArgument(ZutCb *cb, ZutWord *out) {
  return get(cb, &ZutCb::argument, out);
}

int32_t Z_CALL ZutCbGetPriority(ZutCb *cb, int16_t *out) {
  return get(cb, &ZutCb::priority, out);
}

int32_t Z_CALL ZutCbGetList(ZutCb *cb, ZutCbList **out) {
  if (!cb || !out) return utFail(Err::nullPointer);
  *out = cb->list;
  return 1;
}

int32_t Z_CALL ZutCbGetOwner(ZutCb *cb, void **out) {
  if (!cb || !out) return utFail(Err::nullPointer);
  *out = cb->list ? cb->list->owner : nullptr;
  return 1;
}

int32_t Z_CALL ZutCbGetCbType(ZutCb *cb, ZutCbType **out) {
  if (!cb || !out) return utFail(Err::nullPointer);
  *out = cb->list ? cb->list->type : nullptr;
  return 1;
}

int32_t Z_CALL ZutCbSetChangeFunction(ZutCb *cb, ZutCbChangeFunc function, ZutWord argument) {
  if (!cb) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  ZutCbList *list = homeOf(cb);
  writeBegin(self, list);
  cb->change = function;
  cb->changeArgument = argument;
  writeEnd(self, list);
  return 1;
}

int32_t Z_CALL ZutCbPrint(ZutCb *cb, ZutPrintFunc out) {
  if (!cb || !out) return utFail(Err::nullPointer);
  print(cb, out);
  return 1;
}

} // extern "C"
