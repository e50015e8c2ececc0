// The debug stream: a file of its own or standard error.
//
// Stream and name change under the process mutex and are read without it: the fatal path prints to
// the stream and names the file while another thread may hold the mutex. So a name is never
// freed; all names form a list, newest first.

#include "core/utout/debugfile.h"

#include "base/check.h"
#include "base/env.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/processlock.h"
#include "base/report.h"
#include "base/text.h"
#include "file/file.h"
#include "platform/platform_file.h"

#include <atomic>
#include <cstdlib>

namespace {

struct DebugName {
  DebugName *older;
  char *text;
};

constexpr char standardError[] = "stderr";

std::atomic<FILE *> debugStream{nullptr};
std::atomic<DebugName *> debugName{nullptr};

void setName(const char *text) {
  utCheck(utProcessMutexHeld());
  utCheck(*text);
  if (utSame(utDebugName(), text)) return;
  auto *name = utNew<DebugName>("debug_name");
  name->older = debugName;
  name->text = utDup(text, "debug_file_name");
  debugName.store(name, std::memory_order_release);
}

void useStream(FILE *stream, const char *name) {
  utCheck((stream == stderr) == utSame(name, standardError));
  setName(name);
  debugStream.store(stream, std::memory_order_release);
}

bool isStandardError() { return utSame(utDebugName(), standardError); }

bool isDebugFile(FILE *stream) { return stream && stream != stderr; }

char *withExtension(const char *given) {
  const bool bare = ZutHasExtension(given, ".dbg") || utSameWord(given, standardError);
  return utFileNameDup(nullptr, given, bare ? nullptr : ".dbg");
}

// The name to open: the environment's unchanged, else the given one with the extension.
char *debugFileName(const char *given) {
  if (char *name = utEnvDup("VNDEBUGFILENAME")) return name;
  return given ? withExtension(given) : nullptr;
}

// False: standard error takes the place of a file that cannot be created.
bool openNamed(const char *name) {
  const bool isFile = !utSameWord(name, standardError);
  FILE *file = isFile ? utPlatFileOpen(name, "w+b") : nullptr; // no failure of the caller
  useStream(file ? file : stderr, file ? name : standardError);
  if (file || !isFile) return true;
  utReport<Msg::debugOpen>(Z_TRACE_LEVEL_INFO, name); // last, it may ask for the debug stream
  return false;
}

int32_t openDebug(const char *given) {
  char *name = debugFileName(given);
  if (!name) return utFail(Err::nullPointer);
  openNamed(name);
  Z_FREE(name, "debug_file_name");
  return 1;
}

int32_t changeName(const char *name) {
  FILE *stream = debugStream;
  if (!isStandardError() && !utSame(name, standardError)) {
    utCheck(isDebugFile(stream));
    if (!utPlatFileReplace(utDebugName(), name)) {
      ZutErrNumSetC(0);
      return 0;
    }
  } else if (!isStandardError()) {
    std::fclose(stream);
    stream = stderr;
  } else {
    stream = ZutFOpen(name, "w+b");
    if (!stream) return 0;
  }
  useStream(stream, name);
  return 1;
}

void printDebug(FILE *stream, const char *format, va_list args) {
  utCheck(stream);
  ZutErrState state;
  void *tsd = ZutErrNumSaveTsd(&state);
  std::vfprintf(stream, format, args);
  std::fflush(stream);
  ZutErrNumRestoreTsd(&state, tsd);
}

// To the output and, when there is one, to the debug file.
int32_t printBoth(const char *format, va_list args) {
  va_list again;
  va_copy(again, args);
  ZutProcessMutexLock();
  const int32_t result = ZutVOut(format, args);
  FILE *stream = debugStream;
  if (isDebugFile(stream)) printDebug(stream, format, again);
  ZutProcessMutexUnlock();
  va_end(again);
  return result;
}

} // namespace

FILE *utDebugStream() { return debugStream.load(std::memory_order_acquire); }

const char *utDebugName() {
  const DebugName *name = debugName.load(std::memory_order_acquire);
  return name ? name->text : "";
}

bool utDebugSet(const char *name) {
  ZutProcessMutexLock();
  ZutDebugClose();
  char *file = withExtension(name);
  const bool opened = openNamed(file);
  Z_FREE(file, "debug_file_name");
  ZutProcessMutexUnlock();
  return opened;
}

extern "C" {

int32_t Z_CALL ZutDebugOpen(const char *name) {
  ZutSetInitialSbrk();
  ZutProcessMutexLock();
  const int32_t result = debugStream.load() ? 1 : openDebug(name);
  ZutProcessMutexUnlock();
  return result;
}

int32_t Z_CALL ZutDebugClose() {
  const ProcessGuard guard;
  FILE *stream = debugStream.exchange(nullptr);
  if (isDebugFile(stream)) std::fclose(stream);
  return 1;
}

FILE *Z_CALL ZutDebugReopen() {
  ZutProcessMutexLock();
  FILE *stream = debugStream;
  if (stream != stderr) {
    // The stream stays open: others may be holding it. Kept.
    if (stream) utReport<Msg::debugReopened>(Z_TRACE_LEVEL_WARNING);
    const char *name = utDebugName();
    const bool file = *name && !isStandardError();
    stream = file ? utPlatFileOpen(name, "a+b") : stderr;
    useStream(stream ? stream : stderr, stream && file ? name : standardError);
    if (!stream) utReport<Msg::debugReopenFailed>(Z_TRACE_LEVEL_INFO, name);
    stream = debugStream;
  }
  ZutProcessMutexUnlock();
  return stream;
}

int32_t Z_CALL ZutDebugRename(const char *name) {
  if (!name) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  if (!debugStream.load()) return utFail(Err::notFound);
  if (utSame(name, utDebugName())) return utFail(Err::exists);
  return changeName(name);
}

const char *Z_CALL ZutDebugFileName() { return debugName.load() ? utDebugName() : nullptr; }

FILE *Z_CALL ZutDebugFilePtr() {
  if (!utDebugStream()) ZutDebugOpen(standardError);
  return utDebugStream();
}

int32_t Z_CALL ZutVDebug(const char *format, va_list args) {
  ZutProcessMutexLock();
  printDebug(ZutDebugFilePtr(), format, args);
  ZutProcessMutexUnlock();
  return 1;
}

int32_t Z_CALL ZutDebug(const char *format, ...) {
  va_list args;
  va_start(args, format);
  const int32_t result = ZutVDebug(format, args);
  va_end(args);
  return result;
}

int32_t Z_CALL ZutOutDebug(const char *format, ...) {
  va_list args;
  va_start(args, format);
  const int32_t result = printBoth(format, args);
  va_end(args);
  return result;
}

int32_t Z_CALL ZutWarning(const char *format, ...) {
  ZutErrState state;
  void *tsd = ZutErrNumSaveTsd(&state);
  ZutFlushStdout();
  ZutOutDebug("WARNING: ");
  va_list args;
  va_start(args, format);
  printBoth(format, args);
  va_end(args);
  if (utEnvIsSet("VN_WARNING_ABORT")) std::abort();
  return ZutErrNumRestoreTsd(&state, tsd);
}

} // extern "C"
