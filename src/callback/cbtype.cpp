// Event types: the table of types, and firing an event for an owner.
//
// The table, number to type, and the making of global lists are guarded by the process mutex.
// Types live until the process ends. The list of an owner is in the type's lobe. It is looked up
// and read under the lobe's mutex in one step, so that a thread that destroys it at that moment
// either sees the reader or is not met any more.
#include "callback/cbtype.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/processlock.h"
#include "base/report.h"
#include "base/text.h"
#include "containers/hash.h"

std::atomic<uint32_t> utCbTypesMade{0};

namespace {

ZutHashTable *types = nullptr; // under the process mutex; null before the first type

// --- Owners' lists ---

ZutCbList *listOf(const ZutLobe &lobe, const void *owner) {
  void *slot = utLobeFind(lobe, owner);
  return slot ? *static_cast<ZutCbList **>(slot) : nullptr;
}

// The owner's list, read by this thread once more; null when there is none.
ZutCbList *enter(ThreadBlock &self, const ZutCbType &type, const void *owner) {
  ZutLobe *lobe = type.lobe;
  if (!owner || !lobe || utLobeEmpty(*lobe)) return nullptr;
  ZutCbList *list = nullptr;
  const auto attempt = [&] {
    const FastGuard guard(lobe->mutex);
    list = listOf(*lobe, owner);
    return !list || utListTryRead(self, list->lock);
  };
  if (!attempt()) utListWait(self, attempt);
  utCheck(!list || (list->owner == owner && list->type == &type));
  return list;
}

bool ownersKeepLists(const ZutCbType &type) {
  return type.localFlag.load(std::memory_order_relaxed) != 0;
}

ZutCbList *makeOwned(ZutCbType &type, void *owner) {
  ZutCbList *list = ZutCbListCreate(&type, owner);
  ZutLobeSet(owner, type.lobe, &list);
  return list;
}

// The owner's list, made if it is missing, read by this thread once more.
ZutCbList *enterOrMake(ThreadBlock &self, ZutCbType &type, void *owner) {
  utCheck(type.lobe);
  for (;;) {
    if (ZutCbList *list = enter(self, type, owner)) return list;
    const FastGuard guard(type.lobe->mutex);
    if (!listOf(*type.lobe, owner)) makeOwned(type, owner);
  }
}

ZutCbList *globalOf(const ZutCbType &type) { return type.global.load(std::memory_order_acquire); }

ZutCbList *globalOrMake(ZutCbType &type) {
  if (ZutCbList *list = globalOf(type)) return list;
  const ProcessGuard guard;
  ZutCbList *list = globalOf(type);
  if (!list) {
    list = ZutCbListCreate(&type, nullptr);
    type.global.store(list, std::memory_order_release);
  }
  utCheck(!list->owner && list->type == &type);
  return list;
}

bool isEmpty(const ZutCbList &list) { return list.count.load(std::memory_order_relaxed) == 0; }

// --- Firing ---

int32_t fireGlobal(ThreadBlock &self, const ZutCbType &type, void *owner, ZutCbCallData &data) {
  ZutCbList *global = globalOf(type);
  if (!global || isEmpty(*global)) return 1;
  utListRead(self, global->lock);
  return utCbListCall(self, *global, owner, data);
}

int32_t fireOwner(ThreadBlock &self, const ZutCbType &type, void *owner, ZutCbCallData &data) {
  ZutCbList *local = enter(self, type, owner);
  return local ? utCbListCall(self, *local, owner, data) : 1;
}

int32_t fireBoth(ThreadBlock &self, const ZutCbType &type, void *owner, ZutCbCallData &data) {
  ZutCbList *local = enter(self, type, owner);
  if (local && isEmpty(*local)) {
    utCbListLeave(self, *local);
    local = nullptr;
  }
  if (!local) return fireGlobal(self, type, owner, data);
  ZutCbList *global = globalOf(type);
  return global && !isEmpty(*global) ? utCbMergeCall(self, *local, *global, owner, data)
                                     : utCbListCall(self, *local, owner, data);
}

// --- The table ---

ZutCbType *typeOf(ZutWord word) { return reinterpret_cast<ZutCbType *>(word); }

struct NameSearch {
  const char *name;
  ZutCbType *found;
};

int32_t Z_CALL matchName(ZutWord, ZutWord typeWord, ZutWord searchWord) {
  auto &search = *reinterpret_cast<NameSearch *>(searchWord);
  ZutCbType *type = typeOf(typeWord);
  if (!type->name || !utSameWord(type->name, search.name)) return 0;
  search.found = type;
  return 1;
}

struct Visit {
  ZutCbTypeTraverseFunc function;
  ZutWord argument;
};

int32_t Z_CALL visitType(ZutWord number, ZutWord typeWord, ZutWord visitWord) {
  const auto &visit = *reinterpret_cast<const Visit *>(visitWord);
  utCheck(typeOf(typeWord)->number == number);
  return visit.function(number, typeOf(typeWord), visit.argument);
}

const char *globalFlagText(int32_t flag) {
  switch (flag) {
  case Z_CB_GLOBAL_ONLY: return "global_only ";
  case Z_CB_NO_GLOBALS: return "no_globals ";
  case Z_CB_GLOBALS_OK: return "globals_ok ";
  }
  return "";
}

// The type of the quit callbacks, made on first use.
ZutCbType *quitType() {
  const ProcessGuard guard;
  const ZutHashBucket *bucket = types ? utHashFind(types, Z_CB_TYPE_QUIT) : nullptr;
  if (bucket) return typeOf(bucket->value);
  ZutCbType *type = ZutCbTypeCreate(Z_CB_TYPE_QUIT, "quit");
  utCheck(type);
  ZutCbTypeSetGlobFlag(type, Z_CB_GLOBAL_ONLY);
  return type;
}

} // namespace

void utCbTypeForgetList(ZutCbList &list) {
  utCheck(list.count.load() == 0 && list.lock.writes == 1);
  ZutCbType &type = *list.type;
  if (!list.owner) {
    ZutCbList *self = &list;
    type.global.compare_exchange_strong(self, nullptr);
    return;
  }
  if (ownersKeepLists(type) || !type.lobe) return;
  const FastGuard guard(type.lobe->mutex);
  if (listOf(*type.lobe, list.owner) == &list) ZutLobeDelete(list.owner, type.lobe);
}

extern "C" {

ZutCbType *Z_CALL ZutCbTypeCreate(int32_t number, const char *name) {
  const ProcessGuard guard;
  if (!types) types = ZutHashCreateInt(10);
  if (utHashFind(types, number)) return nullptr;
  auto *type = utNew<ZutCbType>("new_type");
  type->number = number;
  type->name = utDup(name, "new_type->name");
  type->globalFlag.store(Z_CB_GLOBALS_OK, std::memory_order_relaxed);
  ZutLobe *lobe = ZutLobeDeclare(number, sizeof(ZutCbList *));
  if (ZutLobeGetSize(lobe) == sizeof(ZutCbList *)) type->lobe = lobe;
  else utReport<Msg::cbLobeFailed>(Z_TRACE_LEVEL_WARNING, number);
  ZutHashInsert(types, number, reinterpret_cast<ZutWord>(type));
  utCbTypesMade.fetch_add(1, std::memory_order_release);
  return type;
}

ZutCbType *Z_CALL ZutCbTypeLookup(const char *name) {
  if (!name) return utFailNull(Err::nullPointer);
  const ProcessGuard guard;
  NameSearch search = {name, nullptr};
  if (types) ZutHashTraverse(types, matchName, reinterpret_cast<ZutWord>(&search));
  return search.found ? search.found : utFailNull(Err::endOfTraversal);
}

ZutCbType *Z_CALL ZutCbTypeNumLookup(int32_t number) {
  const ProcessGuard guard;
  return types ? typeOf(ZutHashLookup(types, number)) : nullptr;
}

int32_t Z_CALL ZutCbTypeTraverse(ZutCbTypeTraverseFunc function, ZutWord argument) {
  if (!function) return utFail(Err::nullPointer);
  Visit visit = {function, argument};
  ZutProcessMutexLock(); // no guard: the function may leave by a jump
  const int32_t result = types
                             ? ZutHashTraverse(types, visitType, reinterpret_cast<ZutWord>(&visit))
                             : utFail(Err::endOfTraversal);
  ZutProcessMutexUnlock();
  return result;
}

int32_t Z_CALL ZutCbTypeSetGlobFlag(ZutCbType *type, int32_t flag) {
  if (!type) return utFail(Err::nullPointer);
  type->globalFlag.store(flag, std::memory_order_relaxed);
  return 1;
}

int32_t Z_CALL ZutCbTypeGetGlobFlag(ZutCbType *type, int32_t *out) {
  if (!type || !out) return utFail(Err::nullPointer);
  *out = type->globalFlag.load(std::memory_order_relaxed);
  return 1;
}

int32_t Z_CALL ZutCbTypeSetLocalFlag(ZutCbType *type, int32_t flag) {
  if (!type) return utFail(Err::nullPointer);
  if (flag != Z_CB_INDIRECT && flag != Z_CB_DIRECT) return utFail(Err::invalid);
  type->localFlag.store(flag, std::memory_order_relaxed);
  return 1;
}

int32_t Z_CALL ZutCbTypeGetLocalFlag(ZutCbType *type, int32_t *out) {
  if (!type || !out) return utFail(Err::nullPointer);
  *out = type->localFlag.load(std::memory_order_relaxed);
  return 1;
}

int32_t Z_CALL ZutCbTypeGetName(ZutCbType *type, const char **out) {
  if (!type || !out) return utFail(Err::nullPointer);
  *out = type->name;
  return 1;
}

int32_t Z_CALL ZutCbTypeGetNum(ZutCbType *type, int32_t *out) {
  if (!type || !out) return utFail(Err::nullPointer);
  *out = type->number;
  return 1;
}

int32_t Z_CALL ZutCbTypeGetCbList(ZutCbType *type, void *owner, ZutCbList **out) {
  if (!type || !out) return utFail(Err::nullPointer);
  if (!owner) {
    ZutCbList *global = globalOf(*type);
    if (global) *out = global;
    return global != nullptr;
  }
  if (ownersKeepLists(*type)) {
    utReport<Msg::cbListOfDirectType>(Z_TRACE_LEVEL_WARNING, type->number);
    return utFail(Err::typeMismatch);
  }
  return ZutLobeGet(owner, type->lobe, out);
}

ZutCbList *Z_CALL ZutCbTypeCbListCreate(ZutCbType *type, void *owner) {
  if (!type || !owner) return utFailNull(Err::nullPointer);
  return ownersKeepLists(*type) ? nullptr : makeOwned(*type, owner);
}

ZutCb *Z_CALL ZutCbTypeCbCreate(ZutCbType *type, void *owner, ZutCbFunc function,
                                ZutWord argument) {
  if (!type || !function) return utFailNull(Err::nullPointer);
  if (!owner) return ZutCbCreateGlobal(type, function, argument);
  if (ownersKeepLists(*type) || !type->lobe) return nullptr;
  ThreadBlock &self = utThreadBlock();
  ZutCbList *list = enterOrMake(self, *type, owner);
  ZutCb *cb = ZutCbListCbCreate(list, function, argument);
  utCbListLeave(self, *list);
  return cb;
}

ZutCb *Z_CALL ZutCbTypeCbLookup(ZutCbType *type, void *owner, ZutCbFunc function,
                                ZutWord argument) {
  if (!type || !function) return utFailNull(Err::nullPointer);
  if (!owner) {
    ZutCbList *global = globalOf(*type);
    return global ? ZutCbListCbLookup(global, function, argument) : utFailNull(Err::notFound);
  }
  if (ownersKeepLists(*type)) {
    utReport<Msg::cbLookupOfDirectType>(Z_TRACE_LEVEL_WARNING, type->number);
    return utFailNull(Err::typeMismatch);
  }
  ThreadBlock &self = utThreadBlock();
  ZutCbList *list = enter(self, *type, owner);
  if (!list) return utFailNull(Err::notFound);
  ZutCb *cb = ZutCbListCbLookup(list, function, argument);
  utCbListLeave(self, *list);
  return cb;
}

ZutCb *Z_CALL ZutCbCreateGlobal(ZutCbType *type, ZutCbFunc function, ZutWord argument) {
  if (!type || !function) return utFailNull(Err::nullPointer);
  if (type->globalFlag.load(std::memory_order_relaxed) == Z_CB_NO_GLOBALS)
    return utFailNull(Err::typeMismatch);
  return ZutCbListCbCreate(globalOrMake(*type), function, argument);
}

int32_t Z_CALL ZutCbTypeCall(ZutCbType *type, void *owner, void *call_data) {
  if (!type || !call_data) return utFail(Err::nullPointer);
  auto &data = *static_cast<ZutCbCallData *>(call_data);
  const int32_t flag = type->globalFlag.load(std::memory_order_relaxed);
  switch (flag) {
  case Z_CB_GLOBAL_ONLY: return fireGlobal(utThreadBlock(), *type, owner, data);
  case Z_CB_NO_GLOBALS: return fireOwner(utThreadBlock(), *type, owner, data);
  case Z_CB_GLOBALS_OK: return fireBoth(utThreadBlock(), *type, owner, data);
  default: utReport<Msg::cbUnknownGlobalFlag>(Z_TRACE_LEVEL_WARNING, flag);
  }
  return 1;
}

ZutCb *Z_CALL ZutCbTypeNumCbLookup(int32_t number, void *owner, ZutCbFunc function,
                                   ZutWord argument) {
  ZutCbType *type = ZutCbTypeNumLookup(number);
  return type ? ZutCbTypeCbLookup(type, owner, function, argument) : nullptr;
}

int32_t Z_CALL ZutCbTypeNumCbDestroy(int32_t number, void *owner, ZutCbFunc function,
                                     ZutWord argument) {
  ZutCb *cb = ZutCbTypeNumCbLookup(number, owner, function, argument);
  return cb ? ZutCbDestroy(cb) : 0;
}

int32_t Z_CALL ZutCbTypeNumCbCall(int32_t number, void *owner, void *call_data) {
  ZutCbType *type = ZutCbTypeNumLookup(number);
  return type ? ZutCbTypeCall(type, owner, call_data) : 1;
}

int32_t Z_CALL ZutCbTypeNumObjClear(int32_t number, void *owner) {
  ZutCbType *type = ZutCbTypeNumLookup(number);
  return type ? ZutCbObjClear(type, owner) : 0;
}

int32_t Z_CALL ZutCbObjClear(ZutCbType *type, void *owner) {
  if (!type || !owner) return utFail(Err::nullPointer);
  ThreadBlock &self = utThreadBlock();
  ZutCbList *list = enter(self, *type, owner);
  return list ? utCbListDestroy(self, *list) : utFail(Err::notFound);
}

int32_t Z_CALL ZutCbPrintType(ZutCbType *type, ZutPrintFunc out) {
  if (!type || !out) return utFail(Err::nullPointer);
  out("Callback Type Dump at %lx, Type Number: %ld\n",
      static_cast<unsigned long>(reinterpret_cast<uintptr_t>(type)),
      static_cast<long>(type->number));
  out("Callback type name: %s\n", type->name ? type->name : "Unnamed");
  out("Global flag: ");
  const char *flag = globalFlagText(type->globalFlag.load(std::memory_order_relaxed));
  if (*flag) out("%s", flag);
  out(ownersKeepLists(*type) ? "direct\n" : "indirect\n");
  return 1;
}

ZutCb *Z_CALL ZutQuitCbCreate(ZutCbFunc function, ZutWord argument) {
  return ZutCbCreateGlobal(quitType(), function, argument);
}

ZutCb *Z_CALL ZutQuitCbLookup(ZutCbFunc function, ZutWord argument) {
  ZutCbType *type = ZutCbTypeNumLookup(Z_CB_TYPE_QUIT);
  return type ? ZutCbTypeCbLookup(type, nullptr, function, argument) : utFailNull(Err::notFound);
}

} // extern "C"
