// Named mutexes and events: a file in shared memory for each name, mapped by every process that
// uses it.
//
// A user of an object keeps its file open and locked for reading at byte USE, so that the object
// is alive exactly while that lock is held; the system takes it back however a process
// ends. Looking at it and changing it is done under the write lock of byte GATE, held for a moment
// only. The last user removes the file when it closes the object or exits. A file without users was
// left by a killed process: creating starts it anew, attaching removes it.
#include "platform/platform.h"
#include "platform/platform_file.h"
#include "platform/platform_thread.h"
#include "posix_sync.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

enum class Kind : int32_t { mutex = 0x5a4d, event = 0x5a45 };
enum : off_t { USE = 0, GATE = 1 };

struct Shared {
  Kind kind;
  std::atomic<int32_t> generation; // of an event
  pthread_mutex_t mutex;
};

// A name's open file. Closing it gives its locks back.
struct Object {
  Object *next; // of this process's
  char path[NAME_MAX];
  int file;
  Shared *shared;
};

pthread_mutex_t listLock = PTHREAD_MUTEX_INITIALIZER;
Object *objects; // those in use; changed under `listLock`
// The process that opened them. One that was forked from it shares their locks, and must leave the
// files alone.
std::atomic<pid_t> owner;

bool fail(int code) {
  utPlatErrorSet(code);
  return false;
}

bool failErrno() { return fail(errno); }

// Locks of the open file, not of the process: two users in one process are two users.
bool setLock(int file, off_t byte, short type, bool wait) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = byte;
  lock.l_len = 1;
  int result;
  do result = fcntl(file, wait ? F_OFD_SETLKW : F_OFD_SETLK, &lock);
  while (result == -1 && errno == EINTR);
  return result == 0;
}

// Characters that a file name cannot hold, or that would lead elsewhere, are written as %XX.
bool setPath(Object &object, const char *name) {
  constexpr size_t size = sizeof object.path;
  char *out = object.path;
  int length = std::snprintf(out, size, "/dev/shm/zut-%ld-", static_cast<long>(geteuid()));
  for (; *name; ++name) {
    const auto c = static_cast<unsigned char>(*name);
    const bool plain = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                       c == '_' || c == '-';
    if (static_cast<size_t>(length) + 4 > size) return fail(ENAMETOOLONG);
    length += std::snprintf(out + length, 4, plain ? "%c" : "%%%02X", c);
  }
  return true;
}

// Only this user may have made it, and the name must still lead to it.
enum class Look { good, gone, foreign };
Look look(int file) {
  struct stat status;
  if (fstat(file, &status) != 0 || status.st_uid != geteuid() || !S_ISREG(status.st_mode))
    return Look::foreign;
  return status.st_nlink == 0 ? Look::gone : Look::good;
}

// The file of a name, its gate locked; -1 with the reason set.
int openGate(const char *path, int flags) {
  for (;;) {
    const int file = open(path, O_RDWR | O_CLOEXEC | O_NOFOLLOW | flags, S_IRUSR | S_IWUSR);
    if (file == -1) {
      failErrno();
      return -1;
    }
    const bool locked = setLock(file, GATE, F_WRLCK, true);
    const Look found = look(file);
    if (locked && found == Look::good) return file;
    if (!locked) failErrno();
    else if (found == Look::foreign) fail(EACCES);
    close(file);
    if (!locked || found == Look::foreign) return -1;
  }
}

bool map(Object &object) {
  void *memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, object.file, 0);
  if (memory == MAP_FAILED) return failErrno();
  object.shared = static_cast<Shared *>(memory);
  return true;
}

// What a killed process left of an earlier object is wiped out. The memory is reserved: where there
// is none left, the first touch of a file that is only long enough would end the process.
bool build(Object &object, Kind kind, bool held) {
  utPlatFullFilesFail();
  if (ftruncate(object.file, 0) != 0) return failErrno();
  int code;
  do code = posix_fallocate(object.file, 0, sizeof(Shared));
  while (code == EINTR);
  if (code != 0) return fail(code);
  if (!map(object)) return false;
  object.shared->kind = kind;
  if (kind == Kind::event) return true;
  code = utPosixMutexInit(&object.shared->mutex, true);
  if (code != 0) return fail(code);
  if (held) pthread_mutex_lock(&object.shared->mutex);
  return true;
}

bool take(Object &object, Kind kind) {
  if (!map(object)) return false;
  return object.shared->kind == kind || fail(EINVAL);
}

// In use? If not, it is locked for writing now.
bool isUsed(const Object &object) { return !setLock(object.file, USE, F_WRLCK, false); }

// A name without a file may be another process's by now.
void removeFile(const Object &object) {
  if (look(object.file) == Look::good) unlink(object.path);
}

void discard(const Object &object, bool used) {
  if (!used) removeFile(object);
  if (object.shared) munmap(object.shared, sizeof(Shared));
  close(object.file);
}

// At the exit: other threads may still be using the objects, so only the names go. What this
// process has open more than once goes with the last.
void removeUnshared() {
  if (owner.load(std::memory_order_relaxed) != getpid()) return;
  pthread_mutex_lock(&listLock);
  for (const Object *object = objects; object; object = object->next) {
    setLock(object->file, GATE, F_WRLCK, true);
    if (isUsed(*object)) setLock(object->file, USE, F_UNLCK, false);
    else removeFile(*object);
    setLock(object->file, GATE, F_UNLCK, false);
  }
  pthread_mutex_unlock(&listLock);
}

void list(Object *object) {
  static pthread_once_t once = PTHREAD_ONCE_INIT;
  pthread_once(&once, [] { std::atexit(removeUnshared); });
  pthread_mutex_lock(&listLock);
  if (owner.exchange(getpid(), std::memory_order_relaxed) != getpid()) objects = nullptr;
  object->next = objects;
  objects = object;
  pthread_mutex_unlock(&listLock);
}

// False: another process opened it.
bool unlist(const Object *object) {
  pthread_mutex_lock(&listLock);
  Object **link = &objects;
  while (*link && *link != object) link = &(*link)->next;
  const bool found = *link && owner.load(std::memory_order_relaxed) == getpid();
  if (found) *link = object->next;
  pthread_mutex_unlock(&listLock);
  return found;
}

// Creates (`fresh`) or attaches.
bool openNamed(Object &object, const char *name, Kind kind, bool fresh, bool held) {
  if (!setPath(object, name)) return false;
  object.file = openGate(object.path, fresh ? O_CREAT : 0);
  if (object.file == -1) return false;
  const bool used = isUsed(object);
  bool good = used != fresh || fail(used ? EEXIST : ENOENT);
  if (good) good = fresh ? build(object, kind, held) : take(object, kind);
  if (!good) {
    discard(object, used);
    return false;
  }
  setLock(object.file, USE, F_RDLCK, false);
  setLock(object.file, GATE, F_UNLCK, false);
  return true;
}

Object *openObject(const char *name, Kind kind, bool fresh, bool held) {
  auto *object = static_cast<Object *>(std::calloc(1, sizeof(Object)));
  if (!object) {
    utPlatErrorSet(ENOMEM);
  } else if (openNamed(*object, name, kind, fresh, held)) {
    list(object);
    return object;
  }
  std::free(object);
  return nullptr;
}

// Its file stays open until the process ends.
void *openMutex(const char *name, bool fresh, bool held) {
  const Object *object = openObject(name, Kind::mutex, fresh, held);
  return object ? &object->shared->mutex : nullptr;
}

PlatEvent *openEvent(const char *name, bool fresh) {
  return reinterpret_cast<PlatEvent *>(openObject(name, Kind::event, fresh, false));
}

Object *objectOf(PlatEvent *event) { return reinterpret_cast<Object *>(event); }

std::atomic<int32_t> &generationOf(PlatEvent *event) { return objectOf(event)->shared->generation; }

} // namespace

void *utPlatNamedMutexCreate(const char *name, bool held) { return openMutex(name, true, held); }

void *utPlatNamedMutexAttach(const char *name) { return openMutex(name, false, false); }

PlatEvent *utPlatEventCreate(const char *name) { return openEvent(name, true); }

PlatEvent *utPlatEventAttach(const char *name) { return openEvent(name, false); }

bool utPlatEventClose(PlatEvent *event) {
  Object *object = objectOf(event);
  // A forked child shares the parent's open file, and would leave a lock of it with the parent.
  const bool mine = unlist(object);
  if (mine) setLock(object->file, GATE, F_WRLCK, true);
  discard(*object, !mine || isUsed(*object));
  std::free(object);
  return true;
}

bool utPlatEventArm(PlatEvent *event, int32_t *ticket) {
  *ticket = generationOf(event).load(std::memory_order_relaxed);
  return true;
}

PlatWait utPlatEventWait(PlatEvent *event, int32_t ticket, PlatDeadline deadline) {
  std::atomic<int32_t> &generation = generationOf(event);
  while (generation.load(std::memory_order_acquire) == ticket) {
    if (!utPosixWordWait(generation, ticket, deadline, true)) return PlatWait::timedOut;
  }
  return PlatWait::done;
}

bool utPlatEventWake(PlatEvent *event) {
  std::atomic<int32_t> &generation = generationOf(event);
  generation.fetch_add(1, std::memory_order_release);
  utPosixWordWake(generation, INT_MAX, true);
  return true;
}
