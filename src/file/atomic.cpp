// Reading, writing and removing files without being cut short by an interrupt.
//
// SIGINT is ignored while at least one thread is inside, and the library's handler is installed
// when the last one leaves. The lock keeps the count of those inside and the change of the handling
// together; it is held for that only.
#include "base/check.h"
#include "base/processlock.h"
#include "platform/platform_file.h"
#include "thread/interrupt.h"

#include <cerrno>

namespace {

FastLock insideLock;
int32_t inside = 0;

ZutFileReadFunc readFunc; // under the process mutex

// True when a signal that was held back from this thread must be released at the end.
bool enter() {
  const bool held = utPlatInterruptHold();
  bool ignored = true;
  int error = 0;
  {
    const FastGuard guard(insideLock);
    if (inside++ == 0) ignored = utPlatInterruptIgnore();
    error = errno;
  }
  if (!ignored) utInterruptRefused<Msg::signalIgnore>(error);
  return held;
}

void leave(bool held) {
  bool installed = true;
  int error = 0;
  {
    const FastGuard guard(insideLock);
    utCheck(inside > 0);
    if (--inside == 0) installed = utPlatInterruptHandle(ZutSigintHandler);
    error = errno;
  }
  if (held) utPlatInterruptRelease();
  if (!installed) utInterruptRefused<Msg::signalInstall>(error);
}

// Runs an operation of the C runtime. When it fails, leaving must not change the error state.
template <class Operation>
int32_t uninterrupted(Operation operation) {
  const bool held = enter();
  const int32_t result = operation();
  ZutErrState state;
  if (result < 0) {
    ZutErrNumSetC(0);
    ZutErrNumSave(&state);
  }
  leave(held);
  if (result < 0) ZutErrNumRestore(&state);
  return result;
}

int32_t refuse(Err error) {
  utErrSet(error);
  return -1;
}

} // namespace

extern "C" {

int32_t Z_CALL ZutReadAtomic(int32_t descriptor, void *buffer, int32_t count) {
  if (!buffer) return refuse(Err::nullPointer);
  if (count < 0) return refuse(Err::tooSmall);
  return uninterrupted([=] { return utPlatDescriptorRead(descriptor, buffer, count); });
}

int32_t Z_CALL ZutWriteAtomic(int32_t descriptor, const void *buffer, int32_t count) {
  if (!buffer) return refuse(Err::nullPointer);
  if (count < 0) return refuse(Err::tooSmall);
  return uninterrupted([=] { return utPlatDescriptorWrite(descriptor, buffer, count); });
}

int32_t Z_CALL ZutUnlinkAtomic(const char *name) {
  if (!name) return refuse(Err::nullPointer);
  return uninterrupted([=] { return utPlatFileRemove(name) ? 0 : -1; });
}

int32_t Z_CALL ZutFsyncAtomic(int32_t) {
  return uninterrupted([] { return 0; });
}

int32_t Z_CALL ZutSetFileReadFunc(ZutFileReadFunc function) {
  if (!function) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  readFunc = function;
  return 1;
}

} // extern "C"
