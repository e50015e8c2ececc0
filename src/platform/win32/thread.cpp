// Threads: a thread's identity is its handle.
#include "platform/platform_thread.h"

#include <cstdlib>
#include <process.h>
#include <windows.h>

namespace {

constexpr DWORD Z_THREAD_ACCESS = 0x1F03FF;

struct Start {
  ZutWord (*function)(void *);
  void *argument;
};

std::atomic<void (*)(void *)> atEnd;

void WINAPI threadEnds(void *argument) {
  if (argument) atEnd.load(std::memory_order_acquire)(argument);
}

// The system calls this library's code when a thread ends, so the library must not go before.
DWORD makeEndSlot() {
  HMODULE self;
  GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                     reinterpret_cast<const char *>(threadEnds), &self);
  return FlsAlloc(threadEnds);
}

const DWORD endSlot = makeEndSlot();

unsigned __stdcall threadBegins(void *argument) {
  const Start start = *static_cast<Start *>(argument);
  std::free(argument);
  return static_cast<unsigned>(start.function(start.argument));
}

HANDLE handleOf(PlatThread thread) { return reinterpret_cast<HANDLE>(thread); }

} // namespace

PlatThread utPlatThreadStart(ZutWord (*function)(void *), void *argument, PlatThread *early) {
  auto *start = static_cast<Start *>(std::malloc(sizeof(Start)));
  if (!start) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  }
  *start = {function, argument};
  const uintptr_t handle =
      _beginthreadex(nullptr, 0, threadBegins, start, CREATE_SUSPENDED, nullptr);
  if (handle == 0) {
    std::free(start);
    return 0;
  }
  *early = static_cast<PlatThread>(handle);
  ResumeThread(reinterpret_cast<HANDLE>(handle));
  return static_cast<PlatThread>(handle);
}

PlatThread utPlatThreadAdopt() {
  HANDLE thread = nullptr;
  const HANDLE process = GetCurrentProcess();
  DuplicateHandle(process, GetCurrentThread(), process, &thread, Z_THREAD_ACCESS, FALSE, 0);
  return reinterpret_cast<PlatThread>(thread);
}

void utPlatThreadExit(ZutWord code) {
  _endthreadex(static_cast<unsigned>(code));
  __builtin_unreachable();
}

bool utPlatThreadWait(PlatThread thread, ZutWord *code) {
  const DWORD result = WaitForSingleObject(handleOf(thread), INFINITE);
  if (result != WAIT_OBJECT_0 && result != WAIT_ABANDONED) return false;
  DWORD value = 0;
  GetExitCodeThread(handleOf(thread), &value);
  *code = static_cast<ZutWord>(value);
  return true;
}

// Not by the exit code: 259, "still active", is a code that a thread may end with.
bool utPlatThreadEnded(PlatThread thread) {
  return WaitForSingleObject(handleOf(thread), 0) != WAIT_TIMEOUT;
}

void utPlatThreadClose(PlatThread thread) { CloseHandle(handleOf(thread)); }

void utPlatThreadSetIdle(PlatThread thread) {
  SetThreadPriority(handleOf(thread), THREAD_PRIORITY_IDLE);
}

void utPlatThreadAtEnd(void (*function)(void *), void *argument) {
  const DWORD error = GetLastError();
  atEnd.store(function, std::memory_order_release);
  FlsSetValue(endSlot, argument);
  SetLastError(error);
}

bool utPlatThreadStackHolds(const void *address) {
  MEMORY_BASIC_INFORMATION here, there; // a stack is one reservation
  return VirtualQuery(__builtin_frame_address(0), &here, sizeof here) &&
         VirtualQuery(address, &there, sizeof there) && here.AllocationBase == there.AllocationBase;
}

bool utPlatKeyCreate(uint32_t *key) {
  *key = TlsAlloc();
  return *key != TLS_OUT_OF_INDEXES;
}

bool utPlatKeyDestroy(uint32_t key) { return TlsFree(key); }

void *utPlatKeyGet(uint32_t key) { return TlsGetValue(key); }

bool utPlatKeySet(uint32_t key, void *value) { return TlsSetValue(key, value); }
