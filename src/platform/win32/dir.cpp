#include "error_code.h"
#include "platform/platform_file.h"

#include <windows.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <direct.h>

// The find handle and the entry that it has found but not yet given.
struct PlatDir {
  HANDLE find;
  bool ahead;
  bool empty;
  WIN32_FIND_DATAA entry;
};

namespace {

PlatFileKind entryKind(DWORD attributes) {
  if (attributes & FILE_ATTRIBUTE_DIRECTORY) return PlatFileKind::directory;
  if (attributes & (FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NORMAL)) return PlatFileKind::regular;
  return PlatFileKind::other;
}

} // namespace

bool utPlatMakeDir(const char *name) { return _mkdir(name) == 0; }
bool utPlatRemoveDir(const char *name) { return _rmdir(name) == 0; }
bool utPlatChangeDir(const char *name) { return _chdir(name) == 0; }

PlatDir *utPlatDirOpen(const char *name) {
  const size_t size = std::strlen(name) + sizeof "\\*";
  auto *dir = static_cast<PlatDir *>(std::calloc(1, sizeof(PlatDir)));
  char *pattern = dir ? static_cast<char *>(std::malloc(size)) : nullptr;
  if (!pattern) {
    std::free(dir);
    errno = ENOMEM;
    return nullptr;
  }
  std::strcpy(pattern, name);
  std::strcat(pattern, "\\*");
  dir->find = FindFirstFileA(pattern, &dir->entry);
  const DWORD error = dir->find == INVALID_HANDLE_VALUE ? GetLastError() : ERROR_SUCCESS;
  std::free(pattern);
  dir->ahead = error == ERROR_SUCCESS;
  dir->empty = error == ERROR_FILE_NOT_FOUND; // the root of an empty drive
  if (dir->ahead || dir->empty) return dir;
  std::free(dir);
  errno = utWinErrno(error);
  return nullptr;
}

PlatDirRead utPlatDirRead(PlatDir *dir, PlatDirEntry &entry) {
  if (dir->empty) return PlatDirRead::end;
  if (!dir->ahead && !FindNextFileA(dir->find, &dir->entry)) {
    const DWORD error = GetLastError();
    if (error == ERROR_NO_MORE_FILES) return PlatDirRead::end;
    errno = utWinErrno(error);
    return PlatDirRead::failed;
  }
  dir->ahead = false;
  entry = {dir->entry.cFileName, entryKind(dir->entry.dwFileAttributes)};
  return PlatDirRead::entry;
}

bool utPlatDirClose(PlatDir *dir) {
  const bool done = dir->empty || FindClose(dir->find);
  if (!done) errno = utWinErrno(GetLastError());
  std::free(dir);
  return done;
}
