#include "platform/platform_file.h"

#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

struct PlatDir {
  DIR *stream;
};

namespace {

PlatFileKind entryKind(DIR *stream, const dirent &entry) {
  if (entry.d_type == DT_DIR) return PlatFileKind::directory;
  if (entry.d_type == DT_REG) return PlatFileKind::regular;
  struct stat info;
  if (fstatat(dirfd(stream), entry.d_name, &info, 0) != 0) return PlatFileKind::other;
  return S_ISDIR(info.st_mode)   ? PlatFileKind::directory
         : S_ISREG(info.st_mode) ? PlatFileKind::regular
                                 : PlatFileKind::other;
}

} // namespace

bool utPlatMakeDir(const char *name) { return mkdir(name, 0777) == 0; }

bool utPlatRemoveDir(const char *name) {
  if (rmdir(name) == 0) return true;
  if (errno == EEXIST) errno = ENOTEMPTY; // a system may say it either way
  return false;
}

bool utPlatChangeDir(const char *name) { return chdir(name) == 0; }

PlatDir *utPlatDirOpen(const char *name) {
  DIR *stream = opendir(name);
  if (!stream) return nullptr;
  auto *dir = static_cast<PlatDir *>(std::malloc(sizeof(PlatDir)));
  if (dir) dir->stream = stream;
  else closedir(stream);
  return dir;
}

PlatDirRead utPlatDirRead(PlatDir *dir, PlatDirEntry &entry) {
  errno = 0;
  const dirent *found = readdir(dir->stream);
  if (!found) return errno == 0 ? PlatDirRead::end : PlatDirRead::failed;
  entry = {found->d_name, entryKind(dir->stream, *found)};
  return PlatDirRead::entry;
}

bool utPlatDirClose(PlatDir *dir) {
  const bool done = closedir(dir->stream) == 0;
  std::free(dir);
  return done;
}
