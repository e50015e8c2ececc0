#include "platform/platform.h"
#include "platform/platform_socket.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <pwd.h>
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

int32_t utPlatSystem(const char *command) {
  const int status = std::system(command ? command : "exec \"${SHELL:-/bin/sh}\"");
  if (status == -1) {
    utPlatErrorSet(errno);
    return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

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
