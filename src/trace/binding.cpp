// Bindings of objects to options, and the table of live objects, guarded by the process mutex and
// kept to the end of the process.

#include "trace/binding.h"

#include "containers/hash.h"
#include "core/util.h"

namespace {

ZutHashTable *live = nullptr;

ZutWord wordOf(const void *object) { return reinterpret_cast<ZutWord>(object); }

} // namespace

void utLiveAdd(const void *object) {
  const ProcessGuard guard;
  if (!live) live = ZutHashCreatePtr(32);
  ZutHashReplace(live, wordOf(object), 1);
}

void utLiveRemove(const void *object) {
  const ProcessGuard guard;
  ZutHashDelete(live, wordOf(object));
}

bool utLiveEnter(ZutWord object) {
  ZutProcessMutexLock();
  if (utHashFind(live, object)) return true;
  ZutProcessMutexUnlock();
  return false;
}

void utLiveLeave() { ZutProcessMutexUnlock(); }

int32_t utBind(ZutOption *option, ZutCbFunc handler, const void *object) {
  const ZutWord argument = wordOf(object);
  if (!ZutOptionChangeCbLookup(option, handler, argument)) {
    ZutOptionChangeCbCreate(option, handler, argument);
  }
  handler(option, nullptr, argument);
  return 1;
}

int32_t utUnbind(const char *option_name, ZutCbFunc handler, const void *object) {
  ZutOption *option = ZutOptionLookup(option_name);
  ZutCb *cb = option ? ZutOptionChangeCbLookup(option, handler, wordOf(object)) : nullptr;
  return cb ? ZutCbDestroy(cb) : 1;
}
