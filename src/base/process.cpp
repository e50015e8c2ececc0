// What the library asks of the system on its callers' behalf: command lines, libraries, the
// system's version, sleep, and the current character format.
#include "base/process.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/places.h"
#include "base/text.h"
#include "platform/platform.h"
#include "platform/platform_time.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

std::atomic<int32_t> charFormat{0};

// Drivers stand in a directory of their own beside the library.
void *loadDriver(const char *file) {
  char *directory = utLibraryDir();
  if (!directory) return nullptr;
  char *name = utJoinNames({directory, "drivers", file});
  void *library = utPlatLibraryLoad(name);
  Z_FREE(name, "file name");
  Z_FREE(directory, "file name");
  return library;
}

void *load(const char *name, bool driver) {
  const bool plain = std::string_view(name).find_first_of("/\\") == std::string_view::npos;
  if (!plain) return utPlatLibraryLoad(name);
  char *file = utLibraryFileName(name);
  void *library = driver ? loadDriver(file) : nullptr;
  if (!library) library = utPlatLibraryLoad(file);
  Z_FREE(file, "library name");
  return library;
}

} // namespace

char *utLibraryFileName(const char *name) {
  const char *suffix = std::strchr(name, '.') ? "" : utPlatLibrarySuffix;
  const size_t size = std::strlen(name) + std::strlen(suffix) + 1;
  auto *file = utNewArray<char>(static_cast<int64_t>(size), "library name");
  std::snprintf(file, size, "%s%s", name, suffix);
  utCheck(std::strlen(file) == size - 1);
  return file;
}

extern "C" {

int32_t Z_CALL ZutSystem(const char *command) {
  std::fflush(stdout); // what was printed so far comes before the command's own output
  return utPlatSystem(command);
}

ZutLibrary *Z_CALL ZutLibraryLoad(const char *name, int32_t flag) {
  if (!name) return utFailNull(Err::nullPointer);
  if (flag != 0 && flag != 1) return utFailNull(Err::invalid);
  void *library = load(name, flag == 1);
  return library ? static_cast<ZutLibrary *>(library) : utFailNull(Err::notFound);
}

void *Z_CALL ZutLibrarySymbolLookup(ZutLibrary *library, const char *symbol) {
  if (!library || !symbol) return utFailNull(Err::nullPointer);
  void *address = utPlatLibrarySymbol(library, symbol);
  return address ? address : utFailNull(Err::notFound);
}

int32_t Z_CALL ZutWinVersionInfo(int32_t *platform, int32_t *major, int32_t *minor) {
  if (!platform || !major || !minor) return utFail(Err::nullPointer);
  utPlatVersion(platform, major, minor);
  return 1;
}

void Z_CALL ZutWinSleep(double seconds) { utPlatSleep(seconds); }

void Z_CALL ZutSleep(double seconds) { utPlatSleep(seconds); }

int32_t Z_CALL ZutSetCharFormat(int32_t format) {
  charFormat.store(format, std::memory_order_relaxed);
  return 1;
}

int32_t Z_CALL ZutGetCharFormatSystemDefault() { return utPlatCharFormat(); }

} // extern "C"
