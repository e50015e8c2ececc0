// Waiting and mutexes: futexes, and the system's robust mutexes.
#include "platform/platform.h"
#include "platform/platform_thread.h"
#include "posix_sync.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

static_assert(sizeof(std::atomic<int32_t>) == sizeof(int32_t));

namespace {

constexpr int64_t Z_SECOND = 1000000000; // a deadline is in nanoseconds

int64_t nanoseconds(clockid_t clock) {
  timespec now;
  clock_gettime(clock, &now);
  return now.tv_sec * Z_SECOND + now.tv_nsec;
}

timespec timeOf(PlatDeadline deadline) {
  return {static_cast<time_t>(deadline / Z_SECOND), static_cast<long>(deadline % Z_SECOND)};
}

bool fail(int code) {
  utPlatErrorSet(code);
  return false;
}

int lockUntil(pthread_mutex_t *mutex, PlatDeadline deadline) {
#ifdef __SANITIZE_THREAD__ // of a timed lock it does not learn that the holder was dead
  int code = pthread_mutex_trylock(mutex);
  while (code == EBUSY && nanoseconds(CLOCK_MONOTONIC) < deadline) {
    usleep(1000);
    code = pthread_mutex_trylock(mutex);
  }
  return code == EBUSY ? ETIMEDOUT : code;
#else
  const timespec time = timeOf(deadline);
  return pthread_mutex_clocklock(mutex, CLOCK_MONOTONIC, &time);
#endif
}

// An abandoned mutex counts as acquired; the data that it guards is the program's concern.
int repaired(pthread_mutex_t *mutex, int code) {
  return code == EOWNERDEAD ? pthread_mutex_consistent(mutex) : code;
}

} // namespace

// Taking it again is counted here. The system alone could not tell who may destroy it: it does not
// refuse a robust mutex that is held, and the holder's list of them would lead into the
// freed block.
struct PlatMutex {
  pthread_mutex_t mutex;
  std::atomic<uintptr_t> holder; // token, 0: free, or abandoned and not taken since
  int32_t depth;                 // the holder's locks after the first
};

static bool isHolder(const PlatMutex &mutex) {
  return mutex.holder.load(std::memory_order_relaxed) == utPlatThreadToken();
}

bool utPosixWordWait(std::atomic<int32_t> &word, int32_t value, PlatDeadline deadline,
                     bool shared) {
  const int operation = FUTEX_WAIT_BITSET | (shared ? 0 : FUTEX_PRIVATE_FLAG);
  const timespec time = timeOf(deadline);
  const int saved = errno;
  const long result =
      syscall(SYS_futex, &word, operation, value, deadline == Z_NO_DEADLINE ? nullptr : &time,
              nullptr, FUTEX_BITSET_MATCH_ANY);
  const bool expired = result == -1 && errno == ETIMEDOUT;
  errno = saved;
  return !expired;
}

void utPosixWordWake(std::atomic<int32_t> &word, int count, bool shared) {
  const int saved = errno;
  syscall(SYS_futex, &word, FUTEX_WAKE | (shared ? 0 : FUTEX_PRIVATE_FLAG), count);
  errno = saved;
}

int utPosixMutexInit(pthread_mutex_t *mutex, bool shared) {
  pthread_mutexattr_t kind;
  int code = pthread_mutexattr_init(&kind);
  if (code != 0) return code;
  pthread_mutexattr_settype(&kind, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutexattr_setrobust(&kind, PTHREAD_MUTEX_ROBUST);
  if (shared) pthread_mutexattr_setpshared(&kind, PTHREAD_PROCESS_SHARED);
  code = pthread_mutex_init(mutex, &kind);
  pthread_mutexattr_destroy(&kind);
  return code;
}

PlatDeadline utPlatDeadline(int64_t milliseconds) {
  if (milliseconds < 0) return Z_NO_DEADLINE;
  return nanoseconds(CLOCK_MONOTONIC) + milliseconds * (Z_SECOND / 1000);
}

bool utPlatWordWait(std::atomic<int32_t> &word, int32_t value, PlatDeadline deadline) {
  return utPosixWordWait(word, value, deadline, false);
}

void utPlatWordWakeOne(std::atomic<int32_t> &word) { utPosixWordWake(word, 1, false); }

void utPlatWordWakeAll(std::atomic<int32_t> &word) { utPosixWordWake(word, INT_MAX, false); }

PlatMutex *utPlatMutexCreate(bool held) {
  auto *mutex = static_cast<PlatMutex *>(std::calloc(1, sizeof(PlatMutex)));
  const int code = mutex ? utPosixMutexInit(&mutex->mutex, false) : ENOMEM;
  if (code != 0) {
    std::free(mutex);
    utPlatErrorSet(code);
    return nullptr;
  }
  if (held) utPlatMutexLock(mutex, Z_NO_DEADLINE);
  return mutex;
}

bool utPlatMutexDestroy(PlatMutex *mutex) {
  const bool mine = isHolder(*mutex);
  const int code = mine ? 0 : repaired(&mutex->mutex, pthread_mutex_trylock(&mutex->mutex));
  if (code != 0) return fail(code);
  pthread_mutex_unlock(&mutex->mutex);
  pthread_mutex_destroy(&mutex->mutex);
  std::free(mutex);
  return true;
}

PlatWait utPlatMutexLock(PlatMutex *mutex, PlatDeadline deadline) {
  if (isHolder(*mutex)) {
    ++mutex->depth;
    return PlatWait::done;
  }
  const int code =
      repaired(&mutex->mutex, deadline == Z_NO_DEADLINE ? pthread_mutex_lock(&mutex->mutex)
                                                        : lockUntil(&mutex->mutex, deadline));
  if (code == 0) {
    mutex->holder.store(utPlatHolderToken(), std::memory_order_relaxed);
    mutex->depth = 0;
    return PlatWait::done;
  }
  if (code == ETIMEDOUT) return PlatWait::timedOut;
  utPlatErrorSet(code);
  return PlatWait::failed;
}

bool utPlatMutexUnlock(PlatMutex *mutex) {
  if (!isHolder(*mutex)) return fail(EPERM);
  if (mutex->depth > 0) {
    --mutex->depth;
    return true;
  }
  mutex->holder.store(0, std::memory_order_relaxed);
  const int code = pthread_mutex_unlock(&mutex->mutex);
  return code == 0 || fail(code);
}
