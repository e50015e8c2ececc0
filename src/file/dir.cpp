// Sizes and times of files; making, removing, changing and listing directories.
#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/text.h"
#include "file/file.h"
#include "platform/platform_file.h"

#include <cerrno>

struct ZutDir {
  const char *name; // the caller's own text
  PlatDir *listing; // null until the first entry is asked for
};

namespace {

int32_t kindWord(PlatFileKind kind) {
  switch (kind) {
  case PlatFileKind::directory: return Z_DIR_ENTRY_DIRECTORY;
  case PlatFileKind::regular: return Z_DIR_ENTRY_FILE;
  default: return Z_DIR_ENTRY_OTHER;
  }
}

} // namespace

extern "C" {

int32_t Z_CALL ZutFileGetSize(const char *name, int32_t *size_out) {
  if (!name || !size_out) return utFail(Err::nullPointer);
  PlatFileInfo info;
  if (!utPlatFileInfo(name, info)) return utFailC();
  if (info.size > INT32_MAX) return utFail(Err::tooLarge);
  *size_out = static_cast<int32_t>(info.size);
  return 1;
}

int32_t Z_CALL ZutFileGetAccessTimes(const char *name, double *access_out, double *modification_out,
                                     double *change_out) {
  if (!name) return utFail(Err::nullPointer);
  PlatFileInfo info;
  if (!utPlatFileInfo(name, info)) return utFailC();
  if (access_out) *access_out = info.accessed;
  if (modification_out) *modification_out = info.modified;
  if (change_out) *change_out = info.changed;
  return 1;
}

int32_t Z_CALL ZutMkdir(const char *directory) {
  if (!directory) return utFail(Err::nullPointer);
  if (utPlatMakeDir(directory)) return 1;
  return errno == EEXIST ? utFail(Err::exists) : utFailC();
}

int32_t Z_CALL ZutRmdir(const char *directory) {
  if (!directory) return utFail(Err::nullPointer);
  if (utPlatRemoveDir(directory)) return 1;
  return errno == ENOTEMPTY ? utFail(Err::inUse)
         : errno == ENOENT  ? utFail(Err::notFound)
                            : utFailC();
}

int32_t Z_CALL ZutChdir(const char *directory) {
  if (!directory) return utFail(Err::nullPointer);
  if (utPlatChangeDir(directory)) return 1;
  return errno == ENOENT ? utFail(Err::notFound) : utFailC();
}

ZutDir *Z_CALL ZutOpenDir(const char *directory) {
  if (!directory) return utFailNull(Err::nullPointer);
  auto *handle = utNew<ZutDir>("internal_dir");
  handle->name = directory;
  return handle;
}

int32_t Z_CALL ZutReadDir(ZutDir *handle, ZutDirEntry *entry_out) {
  if (!handle || !entry_out) return utFail(Err::nullPointer);
  utCheck(handle->name);
  if (!handle->listing) handle->listing = utPlatDirOpen(handle->name);
  if (!handle->listing) return utFailC();
  PlatDirEntry entry;
  switch (utPlatDirRead(handle->listing, entry)) {
  case PlatDirRead::failed: return utFailC();
  case PlatDirRead::end: return utFail(Err::endOfTraversal);
  case PlatDirRead::entry: break;
  }
  utCheck(entry.name && *entry.name);
  utCopyCut(entry_out->name, sizeof entry_out->name, entry.name);
  entry_out->kind = kindWord(entry.kind);
  return 1;
}

int32_t Z_CALL ZutCloseDir(ZutDir *handle) {
  if (!handle) return utFail(Err::nullPointer);
  const bool closed = !handle->listing || utPlatDirClose(handle->listing);
  if (!closed) utFailC();
  Z_FREE(handle, "internal_dir");
  return closed;
}

int32_t Z_CALL ZutMvsDirectoryType(const char *) { return utFail(Err::unsupported); }

} // extern "C"
