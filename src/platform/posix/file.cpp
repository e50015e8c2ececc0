#include "platform/platform_file.h"
#include "posix_signal.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <stdio_ext.h>
#include <string_view>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The open flags of a mode of fopen, -1 for none.
int openFlags(const char *mode) {
  const bool update = std::strchr(mode, '+') != nullptr;
  const int exclusive = std::strchr(mode, 'x') ? O_EXCL : 0;
  const int links = std::strchr(mode, 'n') ? O_NOFOLLOW : 0;
  const int access = (update ? O_RDWR : mode[0] == 'r' ? O_RDONLY : O_WRONLY) | links;
  if (mode[0] == 'r') return access;
  if (mode[0] == 'w') return access | O_CREAT | O_TRUNC | exclusive;
  if (mode[0] == 'a') return access | O_CREAT | O_APPEND | exclusive;
  return -1;
}

void closeQuietly(int fd) {
  const int error = errno;
  close(fd);
  errno = error;
}

// Only the open itself must not wait for a partner; reads and writes may.
bool makeUsable(int fd) {
  struct stat info;
  if (fstat(fd, &info) != 0) return false;
  if (S_ISDIR(info.st_mode)) {
    errno = EISDIR;
    return false;
  }
  if (S_ISREG(info.st_mode)) return true;
  return fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK) == 0;
}

int openDescriptor(const char *name, const char *mode) {
  const int flags = openFlags(mode);
  if (flags == -1) {
    errno = EINVAL;
    return -1;
  }
  if ((flags & O_ACCMODE) != O_RDONLY) utPlatFullFilesFail();
  const int fd = open(name, flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0666);
  if (fd >= 0 && !makeUsable(fd)) {
    closeQuietly(fd);
    return -1;
  }
  return fd;
}

double seconds(const timespec &time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

PlatFileKind kindOf(const struct stat &info) {
  return S_ISREG(info.st_mode)   ? PlatFileKind::regular
         : S_ISDIR(info.st_mode) ? PlatFileKind::directory
                                 : PlatFileKind::other;
}

bool sameFile(const struct stat &a, const struct stat &b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Finds the directory that a name stands in; gives the name's last part, or null where the
// directory cannot be told.
const char *statDirectory(const char *name, struct stat &info) {
  char directory[PATH_MAX];
  const char *slash = std::strrchr(name, '/');
  const char *base = slash ? slash + 1 : name;
  const auto length = static_cast<size_t>(base - name);
  if (length >= sizeof directory) return nullptr;
  std::memcpy(directory, name, length);
  directory[length] = 0;
  return stat(length ? directory : ".", &info) == 0 ? base : nullptr;
}

// Are two names of one file surely two entries of directories, and not one entry spelt in two ways?
// Case does not count: there are directories that do not tell it apart.
bool areTwoEntries(const char *a, const char *b, const struct stat &file) {
  if (file.st_nlink < 2) return false;
  struct stat infoA;
  struct stat infoB;
  const char *baseA = statDirectory(a, infoA);
  const char *baseB = statDirectory(b, infoB);
  return baseA && baseB && (!sameFile(infoA, infoB) || strcasecmp(baseA, baseB) != 0);
}

size_t putBuffered(FILE *stream, const char *text, size_t size) {
  const size_t taken = fwrite_unlocked(text, 1, size, stream);
  return fflush_unlocked(stream) == 0 ? taken : 0;
}

size_t putDirectly(FILE *stream, const char *text, size_t size) {
  const int fd = fileno_unlocked(stream);
  for (size_t taken = 0;; ++taken) {
    const auto rest = static_cast<int32_t>(size - taken);
    const int32_t put = utPlatDescriptorWrite(fd, text + taken, rest);
    if (put > 0) taken += static_cast<size_t>(put);
    if (taken == size) return taken;
    // The error mark is set by the stream alone, so the next byte goes through it; it does not stay
    // in the buffer.
    if (fputc_unlocked(text[taken], stream) == EOF || fflush_unlocked(stream) != 0) {
      __fpurge(stream);
      return taken;
    }
  }
}

} // namespace

// Once: a program that wants the signal back afterwards gets it.
void utPlatFullFilesFail() {
  static std::atomic_flag done;
  if (!done.test(std::memory_order_relaxed) && !done.test_and_set()) utPosixCatch(SIGXFSZ);
}

FILE *utPlatFileOpen(const char *name, const char *mode) {
  const int fd = openDescriptor(name, mode);
  if (fd < 0) return nullptr;
  FILE *stream = fdopen(fd, PlatStdioMode(mode).text);
  if (!stream) closeQuietly(fd);
  return stream;
}

bool utPlatFileReopen(FILE *stream, const char *name, const char *mode) {
  const int fd = openDescriptor(name, mode);
  if (fd < 0) return false;
  const bool done = fflush(stream) == 0 && dup3(fd, fileno(stream), O_CLOEXEC) >= 0;
  closeQuietly(fd);
  if (!done) return false;
  clearerr(stream);
  fseek(stream, 0, mode[0] == 'a' ? SEEK_END : SEEK_SET);
  return true;
}

int32_t utPlatFileDescriptor(FILE *stream) { return fileno(stream); }

// A flushed stream has no position of its own, so its descriptor may stand in for it: that is
// quicker than its way through the buffer. A stream that a program made up has no descriptor.
size_t utPlatFilePut(FILE *stream, const char *text, size_t size) {
  flockfile(stream);
  const bool flushed = fflush_unlocked(stream) == 0;
  const int fd = fileno_unlocked(stream);
  const auto put = fd < 0 ? putBuffered : putDirectly;
  const size_t taken = flushed ? put(stream, text, size) : 0;
  funlockfile(stream);
  return taken;
}

int32_t utPlatDescriptorRead(int32_t descriptor, void *buffer, int32_t count) {
  for (;;) {
    const ssize_t got = read(descriptor, buffer, static_cast<size_t>(count));
    if (got >= 0 || errno != EINTR) return static_cast<int32_t>(got);
  }
}

int32_t utPlatDescriptorWrite(int32_t descriptor, const void *buffer, int32_t count) {
  const char *bytes = static_cast<const char *>(buffer);
  int32_t written = 0;
  do {
    const ssize_t put = write(descriptor, bytes + written, static_cast<size_t>(count - written));
    if (put > 0) written += static_cast<int32_t>(put);
    else if (put == 0 || errno != EINTR) return written > 0 ? written : static_cast<int32_t>(put);
  } while (written < count);
  return written;
}

PlatFileKind utPlatFileKind(const char *name) {
  struct stat info;
  return stat(name, &info) == 0 ? kindOf(info) : PlatFileKind::none;
}

bool utPlatFileWritable(const char *name) { return access(name, W_OK) == 0; }

bool utPlatFilesDiffer(const char *a, const char *b) {
  struct stat infoA;
  struct stat infoB;
  return stat(a, &infoA) == 0 && stat(b, &infoB) == 0 && !sameFile(infoA, infoB);
}

bool utPlatFileRemove(const char *name) { return unlink(name) == 0; }

bool utPlatFileReplace(const char *from, const char *to) {
  struct stat infoFrom;
  struct stat infoTo;
  // A rename between two entries of one file succeeds and does nothing.
  if (lstat(from, &infoFrom) == 0 && lstat(to, &infoTo) == 0 && sameFile(infoFrom, infoTo) &&
      areTwoEntries(from, to, infoFrom)) {
    return unlink(from) == 0;
  }
  return rename(from, to) == 0;
}

// Not every file system has the one call; those without it have links.
bool utPlatFilePlace(const char *from, const char *to) {
  if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  if (link(from, to) != 0) return false;
  unlink(from);
  return true;
}

bool utPlatFileInfo(const char *name, PlatFileInfo &info) {
  struct stat found;
  if (stat(name, &found) != 0) return false;
  info = {found.st_size, seconds(found.st_atim), seconds(found.st_mtim), seconds(found.st_ctim)};
  return true;
}

// A name that the shell would take apart stands in single quotes; a single quote in it is written
// '\''. A leading '-' would make the name an option of the program.
int32_t utPlatShellWord(const char *name, char *out) {
  constexpr char plain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                           "._-+/:,@%=~";
  const bool isPlain = name[0] && name[0] != '~' && name[std::strspn(name, plain)] == 0;
  int32_t length = 0;
  const auto put = [&](std::string_view text) {
    if (out) std::memcpy(out + length, text.data(), text.size());
    length += static_cast<int32_t>(text.size());
  };
  if (!isPlain) put("'");
  if (name[0] == '-') put("./");
  for (const char *at = name; *at; ++at) {
    put(*at == '\'' ? std::string_view("'\\''") : std::string_view(at, 1));
  }
  if (!isPlain) put("'");
  if (out) out[length] = 0;
  return length;
}
