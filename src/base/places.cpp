// Where the library and its data files are: found from the library's own file unless VNHOME says
// it.
#include "base/places.h"

#include "base/check.h"
#include "base/env.h"
#include "base/filename.h"
#include "base/memory.h"
#include "platform/platform.h"
#include "platform/platform_file.h"

#include <algorithm>
#include <cstring>

namespace {

// Does the directory hold the data files? Returns its name then, or frees it.
char *ifHome(char *directory) {
  char *inside = utJoinNames({directory, "standard"});
  const bool found = utPlatFileKind(inside) == PlatFileKind::directory;
  Z_FREE(inside, "file name");
  if (found) return directory;
  Z_FREE(directory, "file name");
  return nullptr;
}

} // namespace

char *utJoinNames(std::initializer_list<const char *> parts) {
  size_t size = 0;
  for (const char *part : parts) size += std::strlen(part) + 1;
  auto *joined = utNewArray<char>(static_cast<int64_t>(size), "file name");
  char *end = joined;
  const char *before = "";
  for (const char *part : parts) {
    if (*before && !utEndsInSeparator(before)) *end++ = utPlatSeparator;
    end = std::copy_n(part, std::strlen(part), end);
    before = part;
  }
  utCheck(end < joined + size);
  return joined;
}

char *utLibraryDir() {
  char name[4096];
  if (!utPlatLibraryFile(name, sizeof name)) return nullptr;
  const char *base = utFileBase(name);
  utCheck(base >= name && base <= name + std::strlen(name));
  return base == name ? nullptr
                      : utDupPart(name, static_cast<size_t>(base - name) - 1, "file name");
}

// An installed library stands in lib or bin beside share, or one directory deeper (lib/PLATFORM);
// a build tree has share beside bin.
char *utHomeDir() {
  if (char *home = utEnvDup("VNHOME")) return home;
  char *library = utLibraryDir();
  if (!library) return nullptr;
  char *home = ifHome(utJoinNames({library, "..", "share", "zut"}));
  if (!home) home = ifHome(utJoinNames({library, "..", "..", "share", "zut"}));
  Z_FREE(library, "file name");
  return home;
}
