// Is the process threaded, and the mutex that guards what the whole process shares.
#pragma once

#include "base/fastlock.h"
#include "zut.h"

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

// For checks: does this thread hold it, or is there no other thread yet?
inline bool utProcessMutexHeld() { return !utThreadsOn() || utFastHeld(utProcessLock); }

// How many times this thread now holds the process mutex (0 before ZutInitThreads).
inline int32_t utProcessMutexDepth() { return utFastDepth(utProcessLock); }
