// Lobes: side tables from objects' addresses to private copies of a value.
//
// The registry, number to lobe, is guarded by the process mutex and lives until the process ends.
// Each lobe's table is guarded by the lobe's own mutex. It is not taken while the process mutex is
// held: the function of a traversal runs under it and may print, which takes the process mutex.
#include "containers/lobe.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/processlock.h"
#include "base/report.h"
#include "containers/hash.h"

namespace {

ZutHashTable *registry = nullptr; // under the process mutex; null before the first declaration
std::atomic<ZutLobe *> newest;    // all lobes in a list that only grows, read without a lock

ZutWord keyOf(const void *object) { return reinterpret_cast<ZutWord>(object); }

ZutLobe *create(int32_t number, int32_t size) {
  auto *lobe = utNew<ZutLobe>("lobe");
  lobe->number = number;
  lobe->values = ZutHashCreatePtr(10);
  lobe->size = size;
  lobe->older = newest.load(std::memory_order_relaxed);
  newest.store(lobe, std::memory_order_release);
  ZutHashInsert(registry, number, reinterpret_cast<ZutWord>(lobe));
  return lobe;
}

size_t valueSize(const ZutLobe &lobe, const void *value) {
  return lobe.size == Z_LOBE_TEXT ? std::strlen(static_cast<const char *>(value)) + 1
                                  : static_cast<size_t>(lobe.size);
}

// The three below: the caller holds the lobe's mutex.
void add(ZutLobe &lobe, const void *object, const void *value) {
  const size_t size = valueSize(lobe, value);
  void *block = Z_MALLOC(static_cast<int32_t>(size), "value_ptr");
  std::memcpy(block, value, size);
  ZutHashReplace(lobe.values, keyOf(object), reinterpret_cast<ZutWord>(block));
  lobe.count.store(ZutHashGetSize(lobe.values), std::memory_order_relaxed);
  utCheck(!utLobeEmpty(lobe));
}

void set(ZutLobe &lobe, const void *object, const void *value) {
  void *block = utLobeFind(lobe, object);
  if (block && lobe.size != Z_LOBE_TEXT) {
    std::memmove(block, value, static_cast<size_t>(lobe.size)); // may be its own value
    return;
  }
  add(lobe, object, value);
  Z_FREE(block, "(value_ptr)"); // only now: the new text may lie in the old one
}

void drop(ZutLobe &lobe, const void *object, const char *what) {
  Z_FREE(reinterpret_cast<void *>(ZutHashDelete(lobe.values, keyOf(object))), what);
  lobe.count.store(ZutHashGetSize(lobe.values), std::memory_order_relaxed);
}

struct Visit {
  ZutLobeTraverseFunc function;
  ZutWord argument;
};

int32_t Z_CALL visitValue(ZutWord object, ZutWord value, ZutWord visitWord) {
  const auto &visit = *reinterpret_cast<const Visit *>(visitWord);
  return visit.function(object, reinterpret_cast<void *>(value), visit.argument);
}

} // namespace

void *utLobeFind(const ZutLobe &lobe, const void *object) {
  utCheck(lobe.count.load(std::memory_order_relaxed) == ZutHashGetSize(lobe.values));
  return utHashGet<void>(lobe.values, keyOf(object));
}

extern "C" {

ZutLobe *Z_CALL ZutLobeDeclare(int32_t number, int32_t size) {
  if (size < Z_LOBE_TEXT) return utFailNull(Err::tooSmall);
  ZutLobe *lobe;
  {
    const ProcessGuard guard;
    if (!registry) registry = ZutHashCreateInt(10);
    lobe = utHashGet<ZutLobe>(registry, number);
    if (!lobe) lobe = create(number, size);
  }
  if (lobe->size != size)
    utReport<Msg::lobeSizeDiffers>(Z_TRACE_LEVEL_WARNING, number, lobe->size, size);
  return lobe;
}

ZutLobe *Z_CALL ZutLobeStringDeclare(int32_t number) { return ZutLobeDeclare(number, Z_LOBE_TEXT); }

ZutLobe *Z_CALL ZutLobeLookup(int32_t number) {
  const ProcessGuard guard;
  if (!registry) return nullptr;
  return reinterpret_cast<ZutLobe *>(ZutHashLookup(registry, number));
}

int32_t Z_CALL ZutLobeGetSize(const ZutLobe *lobe) {
  return lobe ? lobe->size : utFail(Err::nullPointer);
}

ZutHashTable *Z_CALL ZutLobeTable() {
  const ProcessGuard guard;
  return registry;
}

void *Z_CALL ZutLobeFindValue(const void *object, ZutLobe *lobe) {
  if (!lobe) return utFailNull(Err::nullPointer);
  const FastGuard guard(lobe->mutex);
  void *block = utLobeFind(*lobe, object);
  return block ? block : utFailNull(Err::notFound);
}

int32_t Z_CALL ZutLobeGet(const void *object, ZutLobe *lobe, void *out) {
  if (!lobe || !out) return utFail(Err::nullPointer);
  const FastGuard guard(lobe->mutex);
  const void *block = utLobeFind(*lobe, object);
  if (!block) return utFail(Err::notFound);
  std::memcpy(out, block, valueSize(*lobe, block));
  return 1;
}

int32_t Z_CALL ZutLobeSet(const void *object, ZutLobe *lobe, const void *value) {
  if (!lobe || !value) return utFail(Err::nullPointer);
  const FastGuard guard(lobe->mutex);
  set(*lobe, object, value);
  return 1;
}

int32_t Z_CALL ZutLobeCheckSet(const void *object, ZutLobe *lobe, const void *value) {
  if (!lobe) return utFail(Err::nullPointer);
  {
    const FastGuard guard(lobe->mutex);
    if (utLobeFind(*lobe, object)) return 0;
  }
  return ZutLobeSet(object, lobe, value);
}

int32_t Z_CALL ZutLobeDelete(const void *object, ZutLobe *lobe) {
  if (!lobe) return utFail(Err::nullPointer);
  const FastGuard guard(lobe->mutex);
  drop(*lobe, object, "old_value");
  return 0;
}

void Z_CALL ZutLobeClear(const void *object) {
  if (!object) return;
  const Err before = utErrGet(); // a lobe without a value of the object is no failure
  for (ZutLobe *lobe = newest.load(std::memory_order_acquire); lobe; lobe = lobe->older) {
    const FastGuard guard(lobe->mutex);
    drop(*lobe, object, "datap");
  }
  utErrSet(before);
}

int32_t Z_CALL ZutLobeTraverse(ZutLobe *lobe, ZutLobeTraverseFunc function, ZutWord argument) {
  if (!lobe || !function) return utFail(Err::nullPointer);
  Visit visit = {function, argument};
  utFastEnter(lobe->mutex); // no guard: the function may leave by a jump
  const int32_t result =
      ZutHashTraverse(lobe->values, visitValue, reinterpret_cast<ZutWord>(&visit));
  utFastLeave(lobe->mutex);
  return result;
}

} // extern "C"
