// Bindings of objects to options, and the table of live objects, guarded by the process mutex and
// kept to the end of the process.

#include "trace/binding.h"

#include "base/check.h"
#include "base/print.h"
#include "base/processlock.h"
#include "containers/hash.h"

namespace {

ZutHashTable *live = nullptr; // number to object
ZutWord lastNumber = 0;

} // namespace

ZutOption *utFindOption(const char *name) {
  ZutOption *option = ZutOptionLookup(name);
  if (option) return option;
  ZutOutInit();
  return ZutOptionLookup(name);
}

ZutWord utLiveAdd(void *object) {
  const ProcessGuard guard;
  utCheck(object);
  if (!live) live = ZutHashCreateInt(32);
  ZutHashInsert(live, ++lastNumber, reinterpret_cast<ZutWord>(object));
  return lastNumber;
}

void utLiveRemove(ZutWord number) {
  const ProcessGuard guard;
  utCheck(live && utHashFind(live, number));
  ZutHashDelete(live, number);
}

void *utLiveEnter(ZutWord number) {
  ZutProcessMutexLock();
  if (const ZutHashBucket *bucket = utHashFind(live, number)) {
    return reinterpret_cast<void *>(bucket->value);
  }
  ZutProcessMutexUnlock();
  return nullptr;
}

void utLiveLeave() { ZutProcessMutexUnlock(); }

int32_t utBind(ZutOption *option, ZutCbFunc handler, ZutWord number) {
  if (!ZutOptionChangeCbLookup(option, handler, number)) {
    ZutOptionChangeCbCreate(option, handler, number);
  }
  handler(option, nullptr, number);
  return 1;
}

int32_t utUnbind(const char *option_name, ZutCbFunc handler, ZutWord number) {
  ZutOption *option = ZutOptionLookup(option_name);
  ZutCb *cb = option ? ZutOptionChangeCbLookup(option, handler, number) : nullptr;
  return cb ? ZutCbDestroy(cb) : 1;
}
