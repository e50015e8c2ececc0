// Search paths, and names taken apart. A search path is a pointer queue of directory names that it
// owns, in the order they were added; it belongs to its maker and has no lock.
#include "file/path.h"

#include "base/check.h"
#include "base/env.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/text.h"
#include "base/threadblock.h"
#include "file/file.h"
#include "platform/platform.h"
#include "platform/platform_file.h"

#include <algorithm>
#include <cstring>

struct ZutPath {
  ZutPq directories;
};

namespace {

const char *directoryOf(const ZutPqNode *node) {
  return reinterpret_cast<const char *>(node->item);
}

bool exists(const char *name) { return utPlatFileKind(name) != PlatFileKind::none; }

// The name in the first directory that has it.
char *find(const ZutPath *path, const char *name) {
  if (!path) return exists(name) ? utDup(name, "found name") : nullptr;
  for (const ZutPqNode *node = path->directories.head; node; node = node->next) {
    char *candidate = utFileNameDup(directoryOf(node), name, nullptr);
    if (exists(candidate)) return candidate;
    Z_FREE(candidate, "found name");
  }
  return nullptr;
}

// The directory for temporary files, writable or not.
char *tmpDirectory() {
  const char here[] = {'.', utPlatSeparator, 0};
  if (utPlatFileWritable(here)) return utDup(here, "temporary directory");
  const EnvText home("HOME");
  if (home) return utFileNameDup(home.get(), "", nullptr);
  const EnvText temp("TEMP");
  if (temp) return utFileNameDup(temp.get(), "", nullptr);
  return utDup(utPlatTempFallback, "temporary directory");
}

// Where the extension begins in a base name: at the last dot, else at the end.
const char *extensionOf(const char *base) {
  const char *dot = std::strrchr(base, '.');
  return dot ? dot : base + std::strlen(base);
}

// Not empty and without control characters. Bytes above 127 belong to letters of the user's
// character set.
bool isBaseName(std::string_view text) {
  return !text.empty() && std::none_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
  });
}

// The result in a buffer of the thread, for a caller that passed none.
char *resultText(TextSlot slot, const char *text) {
  const size_t size = std::strlen(text) + 1;
  return static_cast<char *>(
      std::memcpy(utThreadText(slot, static_cast<int32_t>(size)), text, size));
}

} // namespace

char *utTmpFilePathDup() {
  char *directory = tmpDirectory();
  if (utPlatFileWritable(directory)) return directory;
  utFailC();
  Z_FREE(directory, "temporary directory");
  return nullptr;
}

// The lower-cased name is tried first, then, where it differs, the name as given.
char *utPathFindDup(const ZutPath *path, const char *name) {
  char *lower = utLowerName(utDup(name, "lower-cased name"));
  char *found = find(path, lower);
  if (!found && !utSame(lower, name)) found = find(path, name);
  if (!found) utErrSet(Err::notFound);
  Z_FREE(lower, "lower-cased name");
  return found;
}

extern "C" {

ZutPath *Z_CALL ZutPathCreate(void) { return utNew<ZutPath>("search path"); }

int32_t Z_CALL ZutPathAddDir(ZutPath *path, const char *directory) {
  if (!path) return utFail(Err::nullPointer);
  if (directory) {
    ZutPqAdd(&path->directories, reinterpret_cast<ZutWord>(utDup(directory, "(new_path)")));
  }
  return 1;
}

int32_t Z_CALL ZutPathDeleteDir(ZutPath *path, const char *directory) {
  if (!path || !directory) return utFail(Err::nullPointer);
  for (const ZutPqNode *node = path->directories.head; node; node = node->next) {
    if (!utSameName(directoryOf(node), directory)) continue;
    auto *dname = reinterpret_cast<char *>(ZutPqDelete(&path->directories, node->item));
    utCheck(dname); // the queue had it
    Z_FREE(dname, "dname");
    return 1;
  }
  return utFail(Err::notFound);
}

int32_t Z_CALL ZutPathForEachDir(ZutPath *path, ZutPathFunc function, ZutWord argument) {
  if (!path || !function) return utFail(Err::nullPointer);
  for (const ZutPqNode *node = path->directories.head; node;) {
    const ZutPqNode *next = node->next; // the function may delete this one
    if (const int32_t result = function(directoryOf(node), argument)) return result;
    node = next;
  }
  return 0;
}

int32_t Z_CALL ZutPathDestroy(ZutPath *path) {
  if (!path) return utFail(Err::nullPointer);
  while (path->directories.head) {
    auto *dname = reinterpret_cast<char *>(ZutPqPop(&path->directories));
    utCheck(dname);
    Z_FREE(dname, "dname");
  }
  utCheck(!path->directories.tail);
  Z_FREE(path, "search path");
  return 1;
}

char *Z_CALL ZutPathFindFile(ZutPath *path, const char *name, char *out) {
  if (!name) return utFailNull(Err::nullPointer);
  char *found = utPathFindDup(path, name);
  if (!found) {
    if (out) out[0] = 0;
    return nullptr;
  }
  char *result = out ? std::strcpy(out, found) : resultText(TextSlot::pathFindFile, found);
  Z_FREE(found, "found name");
  return result;
}

char *Z_CALL ZutGetFileName(const char *full_name, char *out) {
  if (!full_name) return utFailNull(Err::nullPointer);
  const char *base = utFileBase(full_name);
  if (!out) return resultText(TextSlot::fileName, base);
  return static_cast<char *>(std::memmove(out, base, std::strlen(base) + 1));
}

int32_t Z_CALL ZutFileExplodeName(const char *full_name, char **directory_out, char **base_out,
                                  char **extension_out) {
  if (!full_name || !directory_out || !base_out || !extension_out) return utFail(Err::nullPointer);
  const char *base = utFileBase(full_name);
  const char *extension = extensionOf(base);
  utCheck(full_name <= base && base <= extension);
  if (!isBaseName({base, extension})) return utFail(Err::invalid);
  const size_t directory = base == full_name ? 0 : static_cast<size_t>(base - full_name) - 1;
  *directory_out = utDupPart(full_name, directory, "*dir_ptr");
  utSetSeparators(*directory_out, utPlatSeparator);
  *base_out = utDupPart(base, static_cast<size_t>(extension - base), "(*base_ptr)");
  *extension_out = utDup(extension, "(*ext_ptr)");
  return 1;
}

int32_t Z_CALL ZutGetTmpFilePath(char *out) {
  if (!out) return utFail(Err::nullPointer);
  char *directory = tmpDirectory();
  utCheck(*directory);
  const bool writable = utPlatFileWritable(directory);
  if (!writable) utFailC();
  std::strcpy(out, directory);
  Z_FREE(directory, "temporary directory");
  return writable;
}

} // extern "C"
