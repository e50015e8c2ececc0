#include "platform/platform.h"
#include "platform/platform_socket.h"
#include "posix_signal.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <pthread.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/auxv.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// False where the text does not fit; it is cut then.
bool copyText(char *dest, int32_t size, const char *text) {
  const size_t length = strnlen(text, static_cast<size_t>(size) - 1);
  std::memcpy(dest, text, length);
  dest[length] = '\0';
  return text[length] == '\0';
}

char libraryFile[PATH_MAX]; // empty: it cannot be told

// Runs while the library is being loaded: what the loader was given may be a relative name, which
// leads elsewhere when the program has changed its directory.
[[gnu::constructor]] void findLibraryFile() {
  Dl_info library;
  if (!dladdr(reinterpret_cast<void *>(&findLibraryFile), &library) ||
      !realpath(library.dli_fname, libraryFile)) {
    libraryFile[0] = '\0';
  }
}

double milliseconds(const timeval &time) {
  return static_cast<double>(time.tv_sec) * 1000.0 + static_cast<double>(time.tv_usec) / 1000.0;
}

int startShell(const char *line, const sigset_t &mask, pid_t *process) {
  const char *const arguments[] = {"sh", "-c", "--", line, nullptr};
  const sigset_t defaults = utPosixCommandSignals();
  posix_spawnattr_t how;
  posix_spawnattr_init(&how);
  posix_spawnattr_setsigmask(&how, &mask);
  posix_spawnattr_setsigdefault(&how, &defaults);
  posix_spawnattr_setflags(&how, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  const int error =
      posix_spawn(process, "/bin/sh", nullptr, &how, const_cast<char *const *>(arguments), environ);
  posix_spawnattr_destroy(&how);
  return error;
}

// Runs the line and waits for its end. Result: 0 or an errno value. A handler of the program for
// children that end must not take this one's end away.
int runShell(const char *line, int *status) {
  sigset_t childEnds;
  sigset_t before;
  sigemptyset(&childEnds);
  sigaddset(&childEnds, SIGCHLD);
  pthread_sigmask(SIG_BLOCK, &childEnds, &before);
  pid_t process = 0;
  int error = startShell(line, before, &process);
  while (error == 0 && waitpid(process, status, 0) != process) {
    if (errno != EINTR) error = errno;
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return error;
}

} // namespace

int32_t utPlatProcessId() { return getpid(); }

bool utPlatUserName(char *name, int32_t size) {
  passwd entry;
  passwd *found = nullptr;
  char texts[4096];
  const int code = getpwuid_r(geteuid(), &entry, texts, sizeof texts, &found);
  if (!found) {
    utPlatErrorSet(code);
    return false;
  }
  copyText(name, size, entry.pw_name);
  return true;
}

bool utPlatUserNameFallback(char *, int32_t) { return false; }

bool utPlatHostName(char *name, int32_t size) {
  std::memset(name, 0, static_cast<size_t>(size));
  if (gethostname(name, static_cast<size_t>(size) - 1) == 0) return true;
  utPlatSocketErrorSet(utPlatSocketCode(errno));
  name[0] = '\0';
  return false;
}

bool utPlatPrivileged() { return getauxval(AT_SECURE) != 0; }

bool utPlatLibraryFile(char *name, int32_t size) {
  return libraryFile[0] != '\0' && copyText(name, size, libraryFile);
}

void utPlatVersion(int32_t *family, int32_t *major, int32_t *minor) {
  utsname system;
  char *end = nullptr;
  *family = 2;
  *major = *minor = 0;
  if (uname(&system) != 0) return;
  *major = static_cast<int32_t>(std::strtol(system.release, &end, 10));
  if (*end == '.') *minor = static_cast<int32_t>(std::strtol(end + 1, nullptr, 10));
}

// Not the runtime's own: what that puts back at its end is the handling of SIGINT at its beginning,
// whatever other threads have set, and its command inherits what the library ignores.
int32_t utPlatSystem(const char *command) {
  int cancel = 0;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel);
  utPosixCommandBegins();
  int status = 0;
  const int error = runShell(command ? command : "exec \"${SHELL:-/bin/sh}\"", &status);
  utPosixCommandEnds();
  pthread_setcancelstate(cancel, nullptr);
  if (error != 0) {
    utPlatErrorSet(error);
    return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool utPlatCommandMissing(const char *, int32_t code) { return code == 126 || code == 127; }

void utPlatExitNow(int32_t code) { _exit(code); }

bool utPlatSetVariable(const char *name, const char *value) {
  return (*value ? setenv(name, value, 1) : unsetenv(name)) == 0;
}

bool utPlatCpuTimes(double *user, double *kernel) {
  rusage usage;
  if (getrusage(RUSAGE_SELF, &usage) != 0) return false;
  *user = milliseconds(usage.ru_utime);
  *kernel = milliseconds(usage.ru_stime);
  return true;
}

int32_t utPlatProcessors() { return static_cast<int32_t>(sysconf(_SC_NPROCESSORS_ONLN)); }

int32_t utPlatCharFormat() { return 65001; } // UTF-8

// Where the call is forbidden, what the kernel gave the process at its start has to do.
uint64_t utPlatSecret() {
  uint64_t secret = 0;
  if (getrandom(&secret, sizeof secret, 0) == sizeof secret) return secret;
  const auto given = reinterpret_cast<const char *>(getauxval(AT_RANDOM));
  if (given) std::memcpy(&secret, given, sizeof secret);
  return secret;
}
