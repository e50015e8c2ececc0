// Short base names for names that are too long or hold characters that file names cannot have. The
// base is the hash value of the name. A name file of that base holds the lower-cased name and a
// newline, nothing else. Several processes and threads may make one at once: a name file appears
// with its whole text or not at all, and the first one stays.
#include "base/check.h"
#include "base/env.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/text.h"
#include "file/file.h"
#include "platform/platform.h"
#include "platform/platform_file.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>

namespace {

constexpr int32_t longestPlain = 255;
constexpr size_t hashSize = sizeof "12345678";

// A hash value taken by another name is continued into the next one. The sequence may be a cycle,
// so the tries are limited.
constexpr int hashTries = 100;

bool isPlain(const char *name) {
  const EnvText setting("VN_MAX_BASE_NAME");
  const int32_t longest = setting ? utParseInt(setting.get()) : longestPlain;
  const std::string_view text = name;
  return static_cast<int64_t>(text.size()) <= longest &&
         std::all_of(text.begin(), text.end(),
                     [](char c) { return utIsPrint(c) && !utIsSeparator(c); });
}

uint32_t continueHash(uint32_t hash, const char *name) {
  for (; *name; ++name) hash = hash * 27 + static_cast<uint32_t>(static_cast<signed char>(*name));
  return hash;
}

// Limits the search for a free name, and the race with processes that make and remove a name file.
constexpr int attempts = 100;

enum class Owner { none, us, other, unreadable };

// Whose name the open name file holds. One byte more than our own line is read, so that a longer
// text that begins like ours is seen to be another's.
Owner ownerInside(FILE *stream, std::string_view name) {
  const size_t size = name.size() + 2;
  char *text = utNewArray<char>(static_cast<int64_t>(size), "name line");
  const size_t got = std::fread(text, 1, size, stream);
  utCheck(got <= size);
  const bool ours =
      got == size - 1 && text[got - 1] == '\n' && name == std::string_view(text, got - 1);
  Z_FREE(text, "name line");
  if (std::ferror(stream)) {
    utFailC();
    return Owner::unreadable;
  }
  if (got > 0) return ours ? Owner::us : Owner::other;
  utErrSet(Err::corrupt);
  return Owner::unreadable;
}

Owner ownerOf(const char *nameFile, const char *name) {
  if (utPlatFileKind(nameFile) == PlatFileKind::none) return Owner::none;
  FILE *stream = ZutFOpen(nameFile, "r+b");
  if (!stream) return Owner::unreadable;
  const Owner owner = ownerInside(stream, name);
  std::fclose(stream);
  return owner;
}

// A new file beside the name file. Its name, to free with Z_FREE, comes with it; both null when no
// file can be made.
FILE *openAside(const char *directory, const char *base, char **aside) {
  static std::atomic<uint32_t> count{0};
  for (int i = 0; i < attempts; ++i) {
    char extension[32];
    std::snprintf(extension, sizeof extension, "-%lx-%lx.new",
                  static_cast<unsigned long>(utPlatProcessId()),
                  static_cast<unsigned long>(++count));
    utCheck(std::strstr(extension, ".new")); // nothing was cut
    *aside = utFileNameDup(directory, base, extension);
    if (FILE *stream = utPlatFileOpen(*aside, "wbx")) return stream;
    const int error = errno;
    Z_FREE(*aside, "name file");
    errno = error;
    if (error != EEXIST) break; // else one that an ended process has left
  }
  *aside = nullptr;
  return nullptr;
}

// False with errno.
bool writeAndClose(FILE *stream, const char *name) {
  const bool written = std::fprintf(stream, "%s\n", name) > 0 && std::fflush(stream) == 0;
  const int error = errno;
  if (std::fclose(stream) != 0) return false;
  errno = error;
  return written;
}

// False with errno, EEXIST when the name file exists by now.
bool makeNameFile(const char *directory, const char *base, const char *nameFile, const char *name) {
  char *aside = nullptr;
  FILE *stream = openAside(directory, base, &aside);
  if (!stream) return false;
  utCheck(aside);
  const bool made = writeAndClose(stream, name) && utPlatFilePlace(aside, nameFile);
  const int error = errno;
  if (!made) utPlatFileRemove(aside);
  Z_FREE(aside, "name file");
  errno = error;
  return made;
}

// The owner of the base; with `create` a free one becomes ours. It stays free where the name is
// taken by something invisible, such as a dangling link.
Owner settle(const char *directory, const char *base, const char *name, bool create) {
  char *nameFile = utFileNameDup(directory, base, ".nam");
  Owner owner = ownerOf(nameFile, name);
  for (int i = 0; i < attempts && create && owner == Owner::none; ++i) {
    if (makeNameFile(directory, base, nameFile, name)) {
      owner = Owner::us;
    } else {
      utFailC();
      owner = errno == EEXIST ? ownerOf(nameFile, name) : Owner::unreadable;
    }
  }
  Z_FREE(nameFile, "name file");
  return owner;
}

// Hashes the lower-cased name into `base`.
bool hashedBase(const char *directory, const char *name, char *base, bool create) {
  uint32_t hash = 0;
  for (int i = 0; i < hashTries; ++i) {
    hash = continueHash(hash, name);
    std::snprintf(base, hashSize, "%08lx", static_cast<unsigned long>(hash));
    utCheck(std::strlen(base) == hashSize - 1);
    const Owner owner = settle(directory, base, name, create);
    if (owner != Owner::other) return owner == Owner::us || (owner == Owner::none && !create);
  }
  utErrSet(Err::corrupt);
  return false;
}

} // namespace

extern "C" {

int32_t Z_CALL ZutBuildBaseName(const char *directory, const char *name, char **base_out,
                                int32_t create) {
  if (!directory || !name || !base_out) return utFail(Err::nullPointer);
  if (create != 0 && create != 1) return utFail(Err::invalid);
  const size_t size = std::max(std::strlen(name) + 1, hashSize);
  *base_out = utNewArray<char>(static_cast<int64_t>(size), "*base_return");
  std::strcpy(*base_out, name);
  if (isPlain(name)) return 1;
  char *lower = utLowerText(utDup(name, "lower-cased name"));
  const bool done = hashedBase(directory, lower, *base_out, create == 1);
  Z_FREE(lower, "lower-cased name");
  if (done) return 1;
  Z_FREE(*base_out, "*base_return");
  *base_out = nullptr;
  return 0;
}

} // extern "C"
