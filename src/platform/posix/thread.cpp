// Threads. A thread's identity is the address of its record; the list of records tells which
// identities exist, so that a closed or invented one is refused and not followed.
#include "platform/platform.h"
#include "platform/platform_thread.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <pthread.h>
#include <sched.h>

namespace {

struct Record {
  Record *next;
  Record **link; // what points at this record, null once it is closed
  int users;     // the list, the thread itself, each who waits; under `lock`
  bool joinable; // started here, neither joined nor detached; under `lock`
  pthread_t thread;
  std::atomic<int32_t> ended;
  ZutWord code; // valid once ended
  ZutWord (*function)(void *);
  void *argument;
};

pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
Record *records; // under `lock`
pthread_once_t keyOnce = PTHREAD_ONCE_INIT;
pthread_key_t endKey; // any value has the thread's end noticed
std::atomic<void (*)(void *)> atEnd;

thread_local Record *current; // the calling thread's, null: not known
thread_local void *atEndArgument;

class Guard {
public:
  Guard() { pthread_mutex_lock(&lock); }
  ~Guard() { pthread_mutex_unlock(&lock); }
  Guard(const Guard &) = delete;
  Guard &operator=(const Guard &) = delete;
};

// Under `lock`.
void drop(Record *record) {
  if (--record->users == 0) std::free(record);
}

// Under `lock`.
Record *find(PlatThread thread) {
  Record *record = records;
  while (record && reinterpret_cast<PlatThread>(record) != thread) record = record->next;
  return record;
}

// Under `lock`.
void link(Record *record) {
  record->next = records;
  record->link = &records;
  if (records) records->link = &record->next;
  records = record;
}

// Under `lock`.
void unlink(Record *record) {
  *record->link = record->next;
  if (record->next) record->next->link = record->link;
  drop(record);
}

// The record of a thread that is about to be known, with its own use and the list's.
Record *makeRecord() {
  auto *record = static_cast<Record *>(std::calloc(1, sizeof(Record)));
  if (!record) utPlatErrorSet(ENOMEM);
  else record->users = 2;
  return record;
}

void threadEnds(void *) {
  if (atEndArgument) {
    void *argument = atEndArgument;
    atEndArgument = nullptr;
    atEnd.load(std::memory_order_acquire)(argument);
  }
  Record *record = current;
  if (!record) return;
  current = nullptr;
  record->ended.store(1, std::memory_order_release);
  utPlatWordWakeAll(record->ended);
  const Guard guard;
  drop(record);
}

void makeKey() { pthread_key_create(&endKey, threadEnds); }

void noticeEnd() {
  pthread_once(&keyOnce, makeKey);
  pthread_setspecific(endKey, &endKey);
}

void *threadBegins(void *argument) {
  auto *record = static_cast<Record *>(argument);
  current = record;
  noticeEnd();
  record->code = record->function(record->argument);
  return nullptr;
}

// The system's own wait, for the thread's last steps: once, by whoever comes first.
void join(Record *record) {
  pthread_mutex_lock(&lock);
  const bool mine = record->joinable;
  record->joinable = false;
  pthread_mutex_unlock(&lock);
  if (mine) pthread_join(record->thread, nullptr);
}

} // namespace

PlatThread utPlatThreadStart(ZutWord (*function)(void *), void *argument, PlatThread *early) {
  Record *record = makeRecord();
  if (!record) return 0;
  record->function = function;
  record->argument = argument;
  record->joinable = true;
  const auto thread = reinterpret_cast<PlatThread>(record);
  *early = thread;
  // Held until the thread's own handle is stored: it may be closed before that.
  const Guard guard;
  const int code = pthread_create(&record->thread, nullptr, threadBegins, record);
  if (code != 0) {
    std::free(record);
    utPlatErrorSet(code);
    return 0;
  }
  link(record);
  return thread;
}

PlatThread utPlatThreadAdopt() {
  if (current) return reinterpret_cast<PlatThread>(current);
  Record *record = makeRecord();
  if (!record) return 0;
  current = record;
  noticeEnd();
  const Guard guard;
  record->thread = pthread_self();
  link(record);
  return reinterpret_cast<PlatThread>(record);
}

void utPlatThreadExit(ZutWord code) {
  if (current) current->code = code;
  pthread_exit(nullptr);
}

bool utPlatThreadWait(PlatThread thread, ZutWord *code) {
  Record *record;
  {
    const Guard guard;
    record = find(thread);
    if (!record) {
      utPlatErrorSet(ESRCH);
      return false;
    }
    ++record->users;
  }
  while (record->ended.load(std::memory_order_acquire) == 0)
    utPlatWordWait(record->ended, 0, Z_NO_DEADLINE);
  join(record);
  *code = record->code;
  const Guard guard;
  drop(record);
  return true;
}

bool utPlatThreadEnded(PlatThread thread) {
  const Guard guard;
  const Record *record = find(thread);
  return !record || record->ended.load(std::memory_order_acquire) != 0;
}

void utPlatThreadClose(PlatThread thread) {
  const Guard guard;
  Record *record = find(thread);
  if (!record) return;
  if (record->joinable) pthread_detach(record->thread);
  record->joinable = false;
  unlink(record);
}

void utPlatThreadSetIdle(PlatThread thread) {
  const Guard guard;
  const sched_param none = {};
  if (const Record *record = find(thread)) pthread_setschedparam(record->thread, SCHED_IDLE, &none);
}

void utPlatThreadAtEnd(void (*function)(void *), void *argument) {
  atEnd.store(function, std::memory_order_release);
  atEndArgument = argument;
  noticeEnd();
}

bool utPlatThreadStackHolds(const void *address) {
  const int error = errno;
  const auto here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  pthread_attr_t attributes;
  void *low = nullptr;
  size_t size = 0;
  if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
    pthread_attr_getstack(&attributes, &low, &size);
    pthread_attr_destroy(&attributes);
  } else { // the system reads its account of the first thread from a file, which may not be had
    constexpr size_t usual = 8388608;
    low = reinterpret_cast<void *>(here - usual);
    size = 2 * usual;
  }
  errno = error;
  return reinterpret_cast<uintptr_t>(address) - reinterpret_cast<uintptr_t>(low) < size;
}

bool utPlatKeyCreate(uint32_t *key) {
  static_assert(sizeof(pthread_key_t) == sizeof(uint32_t));
  return pthread_key_create(key, nullptr) == 0;
}

bool utPlatKeyDestroy(uint32_t key) { return pthread_key_delete(key) == 0; }

void *utPlatKeyGet(uint32_t key) { return pthread_getspecific(key); }

bool utPlatKeySet(uint32_t key, void *value) { return pthread_setspecific(key, value) == 0; }
