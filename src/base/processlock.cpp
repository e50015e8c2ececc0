// The process mutex, a no-op before threads are initialised.
#include "base/processlock.h"

#include "base/errword.h"

std::atomic<int32_t> utThreadsFlag{0};
FastLock utProcessLock;

extern "C" {

int32_t Z_CALL ZutProcessMutexLock() {
  if (utThreadsOn()) utFastEnter(utProcessLock);
  return 1;
}

int32_t Z_CALL ZutProcessMutexUnlock() {
  return !utThreadsOn() || utFastLeave(utProcessLock) ? 1 : utFail(Err::invalid);
}

} // extern "C"
