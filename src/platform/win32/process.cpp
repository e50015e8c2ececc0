#include "platform/platform.h"

#include "zut.h"

#include <winsock2.h>

#include <windows.h>

#include "wide_name.h"

#include <ntsecapi.h>

#include <cstdlib>
#include <cstring>
#include <iterator>

namespace {

double milliseconds(const FILETIME &time) {
  ULARGE_INTEGER ticks; // of 100 nanoseconds
  ticks.LowPart = time.dwLowDateTime;
  ticks.HighPart = time.dwHighDateTime;
  return static_cast<double>(ticks.QuadPart) / 10000.0;
}

} // namespace

int32_t utPlatProcessId() { return static_cast<int32_t>(GetCurrentProcessId()); }

bool utPlatUserName(char *name, int32_t size) {
  DWORD length = static_cast<DWORD>(size);
  return GetUserNameA(name, &length) != 0;
}

bool utPlatUserNameFallback(char *name, int32_t size) {
  return GetPrivateProfileStringA("Network", "UserName", "Unknown", name, static_cast<DWORD>(size),
                                  "system.ini") != 0;
}

bool utPlatHostName(char *name, int32_t size) {
  std::memset(name, 0, static_cast<size_t>(size));
  if (gethostname(name, size - 1) == 0) return true;
  name[0] = '\0';
  return false;
}

// A process never has rights here that the user who started it was not asked for.
bool utPlatPrivileged() { return false; }

bool utPlatLibraryFile(char *name, int32_t size) {
  HMODULE library = nullptr;
  const DWORD how =
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  if (!GetModuleHandleExA(how, reinterpret_cast<LPCSTR>(&utPlatLibraryFile), &library)) {
    return false;
  }
  wchar_t whole[1024];
  const DWORD length = GetModuleFileNameW(library, whole, std::size(whole));
  return length != 0 && length < std::size(whole) &&
         utWinNarrowName(whole, name, static_cast<size_t>(size));
}

// GetVersionEx reports an old version to programs without a manifest; this function does not.
void utPlatVersion(int32_t *family, int32_t *major, int32_t *minor) {
  using GetVersion = LONG(WINAPI *)(OSVERSIONINFOW *);
  OSVERSIONINFOW info{};
  info.dwOSVersionInfoSize = sizeof info;
  const HMODULE library = GetModuleHandleA("ntdll.dll");
  const auto get = reinterpret_cast<GetVersion>(
      reinterpret_cast<void *>(GetProcAddress(library, "RtlGetVersion")));
  if (get) get(&info);
  *family = VER_PLATFORM_WIN32_NT;
  *major = static_cast<int32_t>(info.dwMajorVersion);
  *minor = static_cast<int32_t>(info.dwMinorVersion);
}

// The command processor drops the first and the last quote of a line that begins with one, so
// such a line gets a pair to lose.
int32_t utPlatSystem(const char *command) {
  if (!command) return std::system("%COMSPEC%");
  if (command[std::strspn(command, " \t")] != '"') return std::system(command);
  const size_t length = std::strlen(command);
  char *line = static_cast<char *>(std::malloc(length + 3));
  if (!line) return -1;
  line[0] = '"';
  std::memcpy(line + 1, command, length);
  std::memcpy(line + 1 + length, "\"", 2);
  const int code = std::system(line);
  std::free(line);
  return code;
}

// The command processor gives the same code for what it cannot find as many programs for a failure,
// so the name is looked for as it does. Its own commands have no programs: one of them that fails
// counts as missing.
bool utPlatCommandMissing(const char *command, int32_t code) {
  constexpr int32_t failed = 1, notFound = 9009;
  if (code != failed) return code == notFound;
  command += std::strspn(command, " \t");
  const bool quoted = *command == '"';
  command += quoted;
  char word[MAX_PATH];
  const size_t length = std::strcspn(command, quoted ? "\"" : " \t");
  if (length >= sizeof word) return false;
  std::memcpy(word, command, length);
  word[length] = '\0';
  for (const char *ending : {".com", ".exe", ".bat", ".cmd"}) {
    if (SearchPathA(nullptr, word, ending, 0, nullptr, nullptr) != 0) return false;
  }
  return true;
}

void utPlatExitNow(int32_t code) { _exit(code); }

bool utPlatSetVariable(const char *name, const char *value) {
  return *name && _putenv_s(name, value) == 0;
}

bool utPlatCpuTimes(double *user, double *kernel) {
  FILETIME created, ended, kernelTime, userTime;
  if (!GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernelTime, &userTime)) {
    return false;
  }
  *user = milliseconds(userTime);
  *kernel = milliseconds(kernelTime);
  return true;
}

int32_t utPlatProcessors() {
  SYSTEM_INFO system;
  GetSystemInfo(&system);
  return static_cast<int32_t>(system.dwNumberOfProcessors);
}

int32_t utPlatCharFormat() { return static_cast<int32_t>(GetACP()); }

uint64_t utPlatSecret() {
  uint64_t secret = 0;
  RtlGenRandom(&secret, sizeof secret);
  return secret;
}
