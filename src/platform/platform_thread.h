// What the library needs of the operating system for threads and locks, in plain words. What
// fails leaves the reason in the system's last error (platform.h).
#pragma once

#include "platform_sync.h"
#include "zut.h"

#include <atomic>
#include <cstdint>

// --- Waiting ---
// A moment of the monotonic clock, in the platform's own unit.
using PlatDeadline = int64_t;
inline constexpr PlatDeadline Z_NO_DEADLINE = -1;
// The moment `milliseconds` from now; a negative number is no deadline.
PlatDeadline utPlatDeadline(int64_t milliseconds);

enum class PlatWait { done, timedOut, failed };

// Blocks the thread while `word` holds `value`, until a wake or the deadline. Also returns early
// for no reason: the caller looks again. False: the deadline has passed.
bool utPlatWordWait(std::atomic<int32_t> &word, int32_t value, PlatDeadline deadline);
// The word may be gone by now: only its address is used.
void utPlatWordWakeOne(std::atomic<int32_t> &word);
void utPlatWordWakeAll(std::atomic<int32_t> &word);

// --- Mutexes of the system: recursive, known to it when their holder dies ---
struct PlatMutex;
PlatMutex *utPlatMutexCreate(bool held);
// One still held by another thread is refused (where the system counts no handles) and stays.
bool utPlatMutexDestroy(PlatMutex *mutex);
// A mutex whose holder died is done, too.
PlatWait utPlatMutexLock(PlatMutex *mutex, PlatDeadline deadline);
// False: this thread does not hold it.
bool utPlatMutexUnlock(PlatMutex *mutex);

// --- Objects with a name, shared between processes, gone with their last holder ---
// Creation fails when the name is taken. What a mutex gives is the system's own: a HANDLE, or a
// pthread_mutex_t (robust, recursive, shared).
void *utPlatNamedMutexCreate(const char *name, bool held);
void *utPlatNamedMutexAttach(const char *name);

struct PlatEvent;
PlatEvent *utPlatEventCreate(const char *name);
PlatEvent *utPlatEventAttach(const char *name);
bool utPlatEventClose(PlatEvent *event);
// Begins a wait: only later wakes end it. False: refused.
bool utPlatEventArm(PlatEvent *event, int32_t *ticket);
PlatWait utPlatEventWait(PlatEvent *event, int32_t ticket, PlatDeadline deadline);
bool utPlatEventWake(PlatEvent *event);

// --- Threads ---
// A thread's identity; 0 is none. Not used again before it is closed.
using PlatThread = ZutThreadId;

// Starts a thread that runs `function(argument)` and ends with its result. The identity is also
// put into `*early` before the function begins. 0: refused.
PlatThread utPlatThreadStart(ZutWord (*function)(void *), void *argument, PlatThread *early);
// An identity for the calling thread, which the library did not start. 0: refused.
PlatThread utPlatThreadAdopt();
// Ends the calling thread, whoever started it.
[[noreturn]] void utPlatThreadExit(ZutWord code);
// Waits until the thread has ended. False: no such thread.
bool utPlatThreadWait(PlatThread thread, ZutWord *code);
bool utPlatThreadEnded(PlatThread thread);
void utPlatThreadClose(PlatThread thread);
// Lets the thread run only when nothing else wants to.
void utPlatThreadSetIdle(PlatThread thread);
// Has `function(argument)` called in this thread as it ends, however it ends. One function for
// all; the latest argument counts.
void utPlatThreadAtEnd(void (*function)(void *), void *argument);

// Does the address lie in the calling thread's stack, as the system knows it?
bool utPlatThreadStackHolds(const void *address);

// --- Values of a thread by key ---
// False without a reason: the system's keys are used up, or the key is none.
bool utPlatKeyCreate(uint32_t *key);
bool utPlatKeyDestroy(uint32_t key);
void *utPlatKeyGet(uint32_t key);
bool utPlatKeySet(uint32_t key, void *value);

// --- Interrupts ---
// Has `handler` called on SIGINT. False: errno tells.
bool utPlatInterruptHandle(void (*handler)(int));
// For the handler itself: has it called the next time too, where the system forgets it at each
// call. What was set for SIGINT since the call stays.
void utPlatInterruptAgain(void (*handler)(int));
// Has the process ignore SIGINT. False: errno tells.
bool utPlatInterruptIgnore();
// Holds SIGINT back from the calling thread, where the system can: one that comes during that time
// is handled at the release. False: it was held back already, or cannot be; there is no release.
bool utPlatInterruptHold();
void utPlatInterruptRelease();
