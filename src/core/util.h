// What every room may ask of the process's state: is it threaded, and its guard.
#pragma once

#include "thread/utlock.h"
#include "zut.h"

#include <atomic>
#include <cstddef>
#include <initializer_list>

// 1 once ZutInitThreads has run; never goes back.
extern std::atomic<int32_t> utThreadsFlag;

inline bool utThreadsOn() { return utThreadsFlag.load(std::memory_order_acquire) != 0; }

// The process mutex. Locked through ProcessGuard, which before ZutInitThreads does nothing.
extern FastLock utProcessLock;

// Holds the process mutex for a scope. Not in a frame that a jump can skip, nor across a call
// into the caller's code unless the header says that the lock is held there.
class ProcessGuard {
public:
  ProcessGuard() {
    if (utThreadsOn()) utFastEnter(utProcessLock);
  }
  ~ProcessGuard() {
    if (utThreadsOn()) utFastLeave(utProcessLock);
  }
  ProcessGuard(const ProcessGuard &) = delete;
  ProcessGuard &operator=(const ProcessGuard &) = delete;
};

// How many times this thread now holds the process mutex (0 before ZutInitThreads).
inline int32_t utProcessMutexDepth() { return utFastDepth(utProcessLock); }

// The frame that ZutInit arms is gone when it returns, so nothing may really jump there. `armed`
// tells whether the program has armed `buffer` again, in a frame of its own, since then.
struct JumpPoint {
  jmp_buf buffer;
  jmp_buf armed; // as ZutInit left it
};
extern JumpPoint utJumpPoint;

// The ending that a jump to the fatal-error point stands for: a message, then exit code 2.
void utEndAfterReport();

// The parts with the platform's separator where there is none between them. A copy to free with
// Z_FREE.
char *utJoinNames(std::initializer_list<const char *> parts);
// The directory of the library's own file. A copy to free with Z_FREE; null when it cannot be told.
char *utLibraryDir();
// The directory that holds the data files: VNHOME, or what is found from the library's own file.
// A copy for the caller to free with Z_FREE; null when there is none.
char *utHomeDir();
