// Waiting, mutexes, named objects: the kernel's, except that a thread waits on a word by its
// address.
#include "platform/platform_thread.h"

#include <windows.h>

namespace {

// In no import library of older systems, and always loaded where they exist.
using WaitOnAddressFunc = BOOL(WINAPI *)(volatile VOID *, PVOID, SIZE_T, DWORD);
using WakeByAddressFunc = void(WINAPI *)(PVOID);

template <class F>
F find(const char *name) {
  return reinterpret_cast<F>(
      reinterpret_cast<void *>(GetProcAddress(GetModuleHandleA("kernelbase.dll"), name)));
}

const auto waitOnAddress = find<WaitOnAddressFunc>("WaitOnAddress");
const auto wakeOne = find<WakeByAddressFunc>("WakeByAddressSingle");
const auto wakeAll = find<WakeByAddressFunc>("WakeByAddressAll");

constexpr DWORD Z_MUTEX_ACCESS = 0x1F0001;
constexpr DWORD Z_EVENT_ACCESS = 0x1F0003;

DWORD remaining(PlatDeadline deadline) {
  if (deadline == Z_NO_DEADLINE) return INFINITE;
  const int64_t left = deadline - static_cast<int64_t>(GetTickCount64());
  return left <= 0 ? 0 : static_cast<DWORD>(left);
}

PlatWait waitFor(HANDLE object, PlatDeadline deadline) {
  switch (WaitForSingleObject(object, remaining(deadline))) {
  case WAIT_OBJECT_0:
  case WAIT_ABANDONED: return PlatWait::done;
  case WAIT_TIMEOUT: return PlatWait::timedOut;
  default: return PlatWait::failed;
  }
}

// Creating opens an object that exists, which is a failure here.
HANDLE onlyNew(HANDLE object) {
  if (!object || GetLastError() != ERROR_ALREADY_EXISTS) return object;
  CloseHandle(object);
  SetLastError(ERROR_ALREADY_EXISTS);
  return nullptr;
}

HANDLE handleOf(PlatMutex *mutex) { return reinterpret_cast<HANDLE>(mutex); }
HANDLE handleOf(PlatEvent *event) { return reinterpret_cast<HANDLE>(event); }

} // namespace

PlatDeadline utPlatDeadline(int64_t milliseconds) {
  if (milliseconds < 0) return Z_NO_DEADLINE;
  return static_cast<int64_t>(GetTickCount64()) + milliseconds;
}

// The caller's last error is kept: locking is no failing operation.
bool utPlatWordWait(std::atomic<int32_t> &word, int32_t value, PlatDeadline deadline) {
  const DWORD error = GetLastError();
  const BOOL woken = waitOnAddress(&word, &value, sizeof value, remaining(deadline));
  const bool expired = !woken && remaining(deadline) == 0;
  SetLastError(error);
  return !expired;
}

void utPlatWordWakeOne(std::atomic<int32_t> &word) { wakeOne(&word); }

void utPlatWordWakeAll(std::atomic<int32_t> &word) { wakeAll(&word); }

PlatMutex *utPlatMutexCreate(bool held) {
  return reinterpret_cast<PlatMutex *>(CreateMutexA(nullptr, held, nullptr));
}

bool utPlatMutexDestroy(PlatMutex *mutex) { return CloseHandle(handleOf(mutex)); }

PlatWait utPlatMutexLock(PlatMutex *mutex, PlatDeadline deadline) {
  return waitFor(handleOf(mutex), deadline);
}

bool utPlatMutexUnlock(PlatMutex *mutex) { return ReleaseMutex(handleOf(mutex)); }

void *utPlatNamedMutexCreate(const char *name, bool held) {
  SetLastError(0);
  return onlyNew(CreateMutexA(nullptr, held, name));
}

void *utPlatNamedMutexAttach(const char *name) { return OpenMutexA(Z_MUTEX_ACCESS, FALSE, name); }

PlatEvent *utPlatEventCreate(const char *name) {
  SetLastError(0);
  return reinterpret_cast<PlatEvent *>(onlyNew(CreateEventA(nullptr, TRUE, FALSE, name)));
}

PlatEvent *utPlatEventAttach(const char *name) {
  return reinterpret_cast<PlatEvent *>(OpenEventA(Z_EVENT_ACCESS, FALSE, name));
}

bool utPlatEventClose(PlatEvent *event) { return CloseHandle(handleOf(event)); }

bool utPlatEventArm(PlatEvent *event, int32_t *) { return ResetEvent(handleOf(event)); }

PlatWait utPlatEventWait(PlatEvent *event, int32_t, PlatDeadline deadline) {
  return waitFor(handleOf(event), deadline);
}

bool utPlatEventWake(PlatEvent *event) { return SetEvent(handleOf(event)); }
