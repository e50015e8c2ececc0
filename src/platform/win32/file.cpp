// Streams are opened on handles of our own, because the runtime's fopen gives a file away to
// child processes and keeps it from being renamed while it is open.
#include "error_code.h"
#include "platform/platform_file.h"
#include "wide_name.h"

#include <windows.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

namespace {

struct OpenMode {
  DWORD access;
  DWORD creation;
  int flags; // of the runtime
};

// With the right to append alone, the system seeks the file's end at each write, so that concurrent
// appends do not overwrite each other.
constexpr DWORD Z_APPEND = FILE_GENERIC_WRITE & ~static_cast<DWORD>(FILE_WRITE_DATA);

// False for what is not a mode of fopen.
bool parseMode(const char *mode, OpenMode &out) {
  const bool update = std::strchr(mode, '+') != nullptr;
  const bool exclusive = std::strchr(mode, 'x') != nullptr;
  out.flags = _O_NOINHERIT | (std::strchr(mode, 'b') ? _O_BINARY : _O_TEXT);
  out.access = mode[0] == 'a' ? Z_APPEND : GENERIC_WRITE;
  if (update) out.access |= GENERIC_READ;
  if (mode[0] == 'r') {
    if (!update) out.access = GENERIC_READ, out.flags |= _O_RDONLY;
    out.creation = OPEN_EXISTING;
    return true;
  }
  if (mode[0] != 'w' && mode[0] != 'a') return false;
  out.creation = exclusive ? CREATE_NEW : mode[0] == 'w' ? CREATE_ALWAYS : OPEN_ALWAYS;
  if (mode[0] == 'a') out.flags |= _O_APPEND;
  return true;
}

// Others (virus scanners, indexers, a reader that is about to close) hold a file for a moment:
// tries again for a twentieth of a second. A rename then finds its target denied.
template <class Attempt>
bool patiently(bool renames, Attempt attempt) {
  constexpr int tries = 6;
  for (int i = 1;; ++i) {
    if (attempt()) return true;
    const DWORD error = GetLastError();
    const bool passing = error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION ||
                         (renames && error == ERROR_ACCESS_DENIED);
    if (!passing || i == tries) {
      errno = utWinErrno(error);
      return false;
    }
    Sleep(10);
  }
}

int openDescriptor(const char *name, const char *mode) {
  OpenMode how;
  if (!parseMode(mode, how)) {
    errno = EINVAL;
    return -1;
  }
  constexpr DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const WideName wide(name);
  if (!wide) return -1;
  HANDLE file = nullptr;
  const auto attempt = [&] {
    file = CreateFileW(wide.text, how.access, share, nullptr, how.creation, FILE_ATTRIBUTE_NORMAL,
                       nullptr);
    return file != INVALID_HANDLE_VALUE;
  };
  // The runtime's descriptors may be used up, and for that no file may be made or emptied.
  const int spare = _open("NUL", _O_RDONLY | _O_NOINHERIT);
  if (spare < 0) return -1;
  const bool opened = patiently(false, attempt);
  const int error = errno;
  _close(spare);
  errno = error;
  if (!opened) return -1;
  const int fd = _open_osfhandle(reinterpret_cast<intptr_t>(file), how.flags);
  if (fd < 0) {
    CloseHandle(file);
    errno = EMFILE;
  }
  return fd;
}

// A device such as NUL keeps its name whatever directory it is asked for in.
bool isDevice(const char *name) {
  char full[16];
  char *part = nullptr;
  return GetFullPathNameA(name, sizeof full, full, &part) < sizeof full &&
         std::strncmp(full, "\\\\.\\", 4) == 0;
}

double seconds(const FILETIME &time) {
  constexpr double epoch = 11644473600.0; // 1970 in seconds since 1601
  const uint64_t steps = static_cast<uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
  return static_cast<double>(steps) * 1e-7 - epoch;
}

} // namespace

int utWinErrno(unsigned long code) {
  if (code >= ERROR_WRITE_PROTECT && code <= ERROR_SHARING_BUFFER_EXCEEDED) return EACCES;
  switch (code) {
  case ERROR_FILE_NOT_FOUND:
  case ERROR_PATH_NOT_FOUND:
  case ERROR_INVALID_DRIVE:
  case ERROR_BAD_NETPATH:
  case ERROR_BAD_NET_NAME:
  case ERROR_BAD_PATHNAME:
  case ERROR_FILENAME_EXCED_RANGE: return ENOENT;
  case ERROR_TOO_MANY_OPEN_FILES: return EMFILE;
  case ERROR_ACCESS_DENIED:
  case ERROR_CURRENT_DIRECTORY:
  case ERROR_NETWORK_ACCESS_DENIED: return EACCES;
  case ERROR_FILE_EXISTS:
  case ERROR_ALREADY_EXISTS: return EEXIST;
  case ERROR_DISK_FULL: return ENOSPC;
  case ERROR_NOT_SAME_DEVICE: return EXDEV;
  case ERROR_DIR_NOT_EMPTY: return ENOTEMPTY;
  case ERROR_INVALID_HANDLE: return EBADF;
  case ERROR_NOT_ENOUGH_MEMORY: return ENOMEM;
  default: return EINVAL;
  }
}

void utPlatFullFilesFail() {}

FILE *utPlatFileOpen(const char *name, const char *mode) {
  const int fd = openDescriptor(name, mode);
  if (fd < 0) return nullptr;
  FILE *stream = _fdopen(fd, PlatStdioMode(mode).text);
  if (!stream) _close(fd);
  return stream;
}

bool utPlatFileReopen(FILE *stream, const char *name, const char *mode) {
  const int fd = openDescriptor(name, mode);
  if (fd < 0) return false;
  const int own = _fileno(stream);
  const bool done = std::fflush(stream) == 0 && _dup2(fd, own) == 0;
  _close(fd);
  if (!done) return false;
  SetHandleInformation(reinterpret_cast<HANDLE>(_get_osfhandle(own)), HANDLE_FLAG_INHERIT, 0);
  std::clearerr(stream);
  std::fseek(stream, 0, mode[0] == 'a' ? SEEK_END : SEEK_SET);
  return true;
}

int32_t utPlatFileDescriptor(FILE *stream) { return _fileno(stream); }

// The error mark is set by the stream alone, so a byte that the system did not take is tried once
// more through it.
size_t utPlatFilePut(FILE *stream, const char *text, size_t size) {
  if (std::fflush(stream) != 0) return 0;
  for (size_t taken = 0;; ++taken) {
    const auto rest = static_cast<int32_t>(size - taken);
    const int32_t put = utPlatDescriptorWrite(_fileno(stream), text + taken, rest);
    if (put > 0) taken += static_cast<size_t>(put);
    if (taken == size) return taken;
    if (std::fputc(text[taken], stream) == EOF || std::fflush(stream) != 0) return taken;
  }
}

int32_t utPlatDescriptorRead(int32_t descriptor, void *buffer, int32_t count) {
  return _read(descriptor, buffer, static_cast<unsigned>(count));
}

int32_t utPlatDescriptorWrite(int32_t descriptor, const void *buffer, int32_t count) {
  return _write(descriptor, buffer, static_cast<unsigned>(count));
}

PlatFileKind utPlatFileKind(const char *name) {
  const WideName wide(name);
  if (!wide) return PlatFileKind::none;
  const DWORD attributes = GetFileAttributesW(wide.text);
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    errno = utWinErrno(GetLastError());
    return PlatFileKind::none;
  }
  if (attributes & FILE_ATTRIBUTE_DIRECTORY) return PlatFileKind::directory;
  return isDevice(name) ? PlatFileKind::other : PlatFileKind::regular;
}

// The runtime looks at the read-only mark alone; opening tells of the rights too. Whoever may write
// data to a file may, by the same right, add files to a directory; the flag is what a directory
// needs to be opened. A sharing violation means that the file is writable.
bool utPlatFileWritable(const char *name) {
  if (_access(name, 2) != 0) return false;
  constexpr DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE file = CreateFileA(name, FILE_WRITE_DATA, share, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    errno = utWinErrno(error);
    return error == ERROR_SHARING_VIOLATION;
  }
  CloseHandle(file);
  return true;
}

bool utPlatFilesDiffer(const char *, const char *) { return false; }

bool utPlatFileRemove(const char *name) { return _unlink(name) == 0; }

bool utPlatFileReplace(const char *from, const char *to) {
  return patiently(true, [=] { return MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING) != 0; });
}

bool utPlatFilePlace(const char *from, const char *to) {
  return patiently(true, [=] { return MoveFileExA(from, to, 0) != 0; });
}

bool utPlatFileInfo(const char *name, PlatFileInfo &info) {
  WIN32_FILE_ATTRIBUTE_DATA found;
  if (!GetFileAttributesExA(name, GetFileExInfoStandard, &found)) {
    errno = utWinErrno(GetLastError());
    return false;
  }
  info.size = static_cast<int64_t>(found.nFileSizeHigh) << 32 | found.nFileSizeLow;
  info.accessed = seconds(found.ftLastAccessTime);
  info.modified = seconds(found.ftLastWriteTime);
  info.changed = seconds(found.ftCreationTime);
  return true;
}

// Quotes hold everything but themselves and the values of %NAME%, which cannot be kept out; no
// file has a quote or a control character in its name. A leading '-' would make the name an
// option of the program.
int32_t utPlatShellWord(const char *name, char *out) {
  constexpr char plain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                           "._-+/:@~\\";
  const size_t length = std::strlen(name);
  for (size_t i = 0; i < length; ++i) {
    if (name[i] == '"' || (name[i] > 0 && name[i] < ' ')) return -1;
  }
  const char *quote = length > 0 && name[std::strspn(name, plain)] == 0 ? "" : "\"";
  const char *here = name[0] == '-' ? ".\\" : "";
  if (!out) return static_cast<int32_t>(length + 2 * std::strlen(quote) + std::strlen(here));
  return std::sprintf(out, "%s%s%s%s", quote, here, name, quote);
}
