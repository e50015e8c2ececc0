// The dump file: its stream while it is open, and its name from the first opening to the end of
// the process. Both are guarded by the process mutex.

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/processlock.h"
#include "base/report.h"
#include "file/path.h"
#include "platform/platform.h"

#include <cstdio>

namespace {

FILE *dumpStream = nullptr;
char *dumpName = nullptr;

bool makeName() {
  if (dumpName) return true;
  char *directory = utTmpFilePathDup();
  if (!directory) return false;
  char base[32];
  std::snprintf(base, sizeof base, "dump%ld.dmp", static_cast<long>(utPlatProcessId()));
  dumpName =
      utNewArray<char>(static_cast<int64_t>(std::strlen(directory) + sizeof base), "(utDumpFname)");
  std::strcat(std::strcpy(dumpName, directory), base);
  Z_FREE(directory, "directory");
  return true;
}

FILE *openDump(const char *mode, bool afresh) {
  utCheck(utProcessMutexHeld());
  utCheck(!dumpStream || dumpName);
  if (dumpStream) return utFailNull(Err::exists);
  if (!makeName()) return utFailNull(Err::notFound);
  if (afresh) ZutDeleteFile(dumpName);
  dumpStream = ZutOpenFile(dumpName, mode);
  if (!dumpStream) {
    Z_FREE(dumpName, "(utDumpFname)");
    dumpName = nullptr;
  }
  return dumpStream;
}

int32_t closeDump() {
  if (!dumpStream) return utFail(Err::notFound);
  utCheck(dumpName);
  FILE *stream = dumpStream;
  dumpStream = nullptr;
  return ZutCloseFile(stream);
}

} // namespace

extern "C" {

// The name is predictable, and another user may have put a link there: the file must be new, or at
// least no link.
FILE *Z_CALL ZutDumpOpen() {
  const ProcessGuard guard;
  return openDump("w+bx", true);
}

FILE *Z_CALL ZutDumpOpenAppend() {
  const ProcessGuard guard;
  return openDump("a+bn", false);
}

int32_t Z_CALL ZutDumpOut(const char *format, ...) {
  va_list args;
  va_start(args, format);
  const int32_t result = ZutDumpOutVa(format, args);
  va_end(args);
  return result;
}

int32_t Z_CALL ZutDumpOutVa(const char *format, va_list args) {
  ZutErrState state;
  void *tsd = ZutErrNumSaveTsd(&state);
  ZutProcessMutexLock();
  FILE *stream = dumpStream ? dumpStream : ZutDumpOpen();
  if (stream) {
    std::vfprintf(stream, format, args);
  } else {
    utReport<Msg::dumpOpen>(Z_TRACE_LEVEL_WARNING);
    ZutVOut(format, args);
  }
  ZutProcessMutexUnlock();
  return ZutErrNumRestoreTsd(&state, tsd);
}

int32_t Z_CALL ZutDumpClose() {
  const ProcessGuard guard;
  return closeDump();
}

int32_t Z_CALL ZutDumpView() {
  ZutProcessMutexLock();
  char *name = utDup(dumpName, "dump_name");
  if (dumpStream && !closeDump()) utReport<Msg::dumpClose>(Z_TRACE_LEVEL_WARNING);
  ZutProcessMutexUnlock();
  if (!name) return utFail(Err::notFound);
  ZutEditFile(name, 1);
  Z_FREE(name, "dump_name");
  return 1;
}

int32_t Z_CALL ZutDumpRemove() {
  const ProcessGuard guard;
  if (!dumpName) return utFail(Err::notFound);
  if (dumpStream) return utFail(Err::exists);
  if (ZutDeleteFile(dumpName) == 0) return 1;
  ZutErrNumSetC(0);
  return 0;
}

int32_t Z_CALL ZutDumpGetName(const char **out) {
  if (!out) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  if (!dumpName) return utFail(Err::notFound);
  *out = dumpName;
  return 1;
}

} // extern "C"
