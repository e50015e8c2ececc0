// The switch to threads, and the resource locks: mutexes by number, made on demand. Their table is
// made while the process mutex keeps other threads out.
#include "base/check.h"
#include "base/errword.h"
#include "base/processlock.h"

namespace {

ZutDSMM *resources = nullptr;

void *Z_CALL makeResource(ZutWord, void *) { return ZutMutexCreateEx(0); }
void Z_CALL freeResource(void *mutex, void *) { ZutMutexDestroy(static_cast<ZutMutex *>(mutex)); }

} // namespace

extern "C" {

int32_t Z_CALL ZutInitThreads() {
  if (utThreadsOn()) return 1;
  const FastGuard guard(utProcessLock);
  if (utThreadsOn()) return 1; // another thread was faster
  ZutSetCharFormat(ZutGetCharFormatSystemDefault());
  utThreadBlock().error = utErrWord; // the process's number so far was this thread's
  resources = ZutDSMMCreate(100, makeResource, freeResource, nullptr);
  utThreadsFlag.store(1, std::memory_order_release);
  return 1;
}

int32_t Z_CALL ZutResourceLock(ZutWord resource) {
  if (!utThreadsOn()) return 1;
  utCheck(resources);
  return ZutMutexLock(static_cast<ZutMutex *>(ZutDSMMObjectCreate(resources, resource)), -1.0);
}

// A thread that does not hold the lock gives back its own reference only: the other one is the
// holder's, whose mutex it keeps alive.
int32_t Z_CALL ZutResourceUnlock(ZutWord resource) {
  if (!utThreadsOn()) return 1;
  auto *mutex = static_cast<ZutMutex *>(ZutDSMMObjectCreate(resources, resource));
  const int32_t held = ZutMutexUnlock(mutex);
  ZutDSMMObjectDestroy(resources, resource);
  if (held) ZutDSMMObjectDestroy(resources, resource);
  return held;
}

} // extern "C"
