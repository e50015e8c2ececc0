// Short base names for names that are too long or hold characters that file names do not take:
// the hash of the name, and beside it a name file whose first line tells which name the hash
// stands for.
#include "core/env.h"
#include "core/errnum.h"
#include "core/memory.h"
#include "core/text.h"
#include "core/util.h"
#include "file/file.h"
#include "platform/platform_file.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int32_t longestPlain = 255;
constexpr size_t hashSize = sizeof "12345678";

// A hash that is taken by another name is continued into the next one. The walk may meet itself,
// and a directory that is full of collisions is not a directory of ours.
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

enum class Owner { nobody, us, other, unreadable };

// Whose name the name file holds. Its first line is read one character further than our own name
// and the line's end, so that a longer one which begins like ours is seen to be another's.
Owner ownerOf(const char *nameFile, const char *name) {
  if (utPlatFileKind(nameFile) == PlatFileKind::none) return Owner::nobody;
  FILE *stream = ZutFOpen(nameFile, "r+b");
  if (!stream) return Owner::unreadable;
  const size_t size = std::strlen(name) + 3;
  char *line = utNewArray<char>(static_cast<int64_t>(size), "name line");
  Owner owner = Owner::unreadable;
  if (std::fgets(line, static_cast<int>(size), stream)) {
    const size_t length = std::strlen(line);
    if (length > 0) line[length - 1] = 0;
    owner = utSame(line, name) ? Owner::us : Owner::other;
  } else {
    utErrSet(Err::corrupt);
  }
  std::fclose(stream);
  Z_FREE(line, "name line");
  return owner;
}

bool writeNameFile(const char *nameFile, const char *name) {
  FILE *stream = utPlatFileOpen(nameFile, "w+bx");
  if (!stream) return utFailC();
  const bool written = std::fprintf(stream, "%s\n", name) > 0;
  if (std::fclose(stream) == 0 && written) return true;
  utFailC();
  return false;
}

// Hashes the lower-cased name into `base`. Under the process mutex: a second thread that asks for
// the same name finds the name file made, not in the making.
bool hashedBase(const char *directory, const char *name, char *base, bool create) {
  const ProcessGuard guard;
  uint32_t hash = 0;
  for (int i = 0; i < hashTries; ++i) {
    hash = continueHash(hash, name);
    std::snprintf(base, hashSize, "%08lx", static_cast<unsigned long>(hash));
    char *nameFile = utFileNameDup(directory, base, ".nam");
    const Owner owner = ownerOf(nameFile, name);
    const bool usable = owner == Owner::us ||
                        (owner == Owner::nobody && (!create || writeNameFile(nameFile, name)));
    Z_FREE(nameFile, "name file");
    if (owner != Owner::other) return usable;
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
