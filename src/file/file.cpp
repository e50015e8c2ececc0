// Single files: building their names, asking about them, opening and backing them up.
#include "file/file.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/setting.h"
#include "base/text.h"
#include "platform/platform.h"
#include "platform/platform_file.h"

#include <cerrno>
#include <cstring>

namespace {

// The parts of a name before they are joined.
struct NameParts {
  std::string_view directory;
  std::string_view separator;
  std::string_view base;
  std::string_view extension;

  size_t length() const {
    return directory.size() + separator.size() + base.size() + extension.size();
  }
};

std::string_view viewOf(const char *text) { return text ? text : ""; }

// No directory and an empty one both mean the current directory and get no separator.
NameParts partsOf(const char *directory, const char *base, const char *extension) {
  NameParts parts = {viewOf(directory), "", viewOf(base), viewOf(extension)};
  if (!parts.directory.empty() && !utEndsInSeparator(directory)) {
    parts.separator = {&utPlatSeparator, 1};
  }
  return parts;
}

// `out` may be the directory's own text: callers lengthen a name in place.
char *join(char *out, const NameParts &parts) {
  char *end = out;
  for (const std::string_view part :
       {parts.directory, parts.separator, parts.base, parts.extension}) {
    std::memmove(end, part.data(), part.size());
    end += part.size();
  }
  utCheck(static_cast<size_t>(end - out) == parts.length());
  *end = 0;
  return out;
}

} // namespace

char *utFileNameDup(const char *directory, const char *base, const char *extension) {
  const NameParts parts = partsOf(directory, base, extension);
  return join(utNewArray<char>(static_cast<int64_t>(parts.length() + 1), "file name"), parts);
}

int32_t utFailC() {
  ZutErrNumSetC(0);
  return 0;
}

extern "C" {

char *Z_CALL ZutBuildFileName(char *out, const char *directory, const char *base,
                              const char *extension) {
  if (!out || !base) return utFailNull(Err::nullPointer);
  return join(out, partsOf(directory, base, extension));
}

char *Z_CALL ZutBuildDirName(char *out, const char *directory, const char *subdirectory) {
  if (!out || !directory || !subdirectory) return utFailNull(Err::nullPointer);
  return join(out, partsOf(directory, subdirectory, nullptr));
}

int32_t Z_CALL ZutBuildFileNameSized(char *out, int32_t size, const char *directory,
                                     const char *base, const char *extension) {
  if (!out || !base) return utFail(Err::nullPointer);
  if (size < 1) return utFail(Err::tooSmall);
  const NameParts parts = partsOf(directory, base, extension);
  if (parts.length() < static_cast<size_t>(size)) {
    join(out, parts);
    return 1;
  }
  out[0] = 0;
  return utFail(Err::tooLarge);
}

int32_t Z_CALL ZutHasExtension(const char *name, const char *extension) {
  if (!name || !extension) return utFail(Err::nullPointer);
  const std::string_view whole = name;
  const std::string_view end = extension;
  return whole.size() >= end.size() && utSameWord(whole.substr(whole.size() - end.size()), end);
}

int32_t Z_CALL ZutFileExists(const char *name) {
  if (!name) return utFail(Err::nullPointer);
  return utPlatFileKind(name) != PlatFileKind::none ? 1 : utFailC();
}

int32_t Z_CALL ZutFileWritable(const char *name) {
  if (!name) return utFail(Err::nullPointer);
  return utPlatFileWritable(name) ? 1 : utFailC();
}

int32_t Z_CALL ZutDeleteFile(const char *name) {
  if (!name) {
    utErrSet(Err::nullPointer);
    return -1;
  }
  if (utPlatFileRemove(name)) return 0;
  utFailC();
  return -1;
}

int32_t Z_CALL ZutMvsAccess(const char *, int32_t) { return -1; }

int32_t Z_CALL ZutBackupFile(const char *name) {
  if (!name) return utFail(Err::nullPointer);
  // Only what can lose its contents is backed up: not a device, a pipe or a directory.
  if (utPlatFileKind(name) != PlatFileKind::regular) return 1;
  char *ending = utOptionDup("backup_name");
  // Without an ending the file itself would be its backup.
  if (!ending || !*ending) {
    Z_FREE(ending, "backup name");
    return 1;
  }
  char *backup = utFileNameDup(nullptr, name, ending);
  utCheck(!utSame(name, backup));
  const bool done = utPlatFileReplace(name, backup);
  const int error = errno;
  Z_FREE(ending, "backup name");
  Z_FREE(backup, "backup name");
  if (done) return 1;
  errno = error;
  return utFailC();
}

FILE *Z_CALL ZutFOpen(const char *name, const char *mode) {
  if (!name || !mode) return utFailNull(Err::nullPointer);
  FILE *stream = utPlatFileOpen(name, mode);
  if (!stream) utFailC();
  return stream;
}

int32_t Z_CALL ZutFlushFile(FILE *stream) {
  if (!stream) return utFail(Err::nullPointer);
  return std::fflush(stream) == 0 ? 1 : utFailC();
}

} // extern "C"
