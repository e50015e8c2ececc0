// Output routing: the program's output function, else the trace objects "utout" (plain output) and
// "utoutcat" (the default trace object: output by level and catalog messages).
//
// The process mutex guards the functions and the making of the objects, and is held while an output
// function runs. Frames below which one may run hold no object with a destructor.

#include "core/utout/utout.h"

#include "base/check.h"
#include "base/env.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/places.h"
#include "base/processlock.h"
#include "config/option/option.h"
#include "file/file.h"
#include "platform/platform.h"
#include "trace/utcat.h"
#include "trace/uttrace.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>

std::atomic<struct ZutTrace *> utDefaultTraceObj{nullptr};

namespace {

// How deep an output function that prints is called again. Beyond that its output goes to standard
// output, which ends the recursion.
constexpr int32_t maxOutputDepth = 8;

ZutVPrintFunc outputFunc = nullptr;
ZutVPrintFunc flushFunc = nullptr;
int32_t outputDepth = 0;
struct ZutTrace *outTrace = nullptr;
ZutCatalog *defaultCatalog = nullptr;
std::atomic<bool> catalogMissed{false}; // for lack of descriptors: the next message tries again

// The objects are made in `running` and follow their options when `bound` is reached.
enum class Init : int32_t { none, running, made, binding, bound };
std::atomic<Init> init{Init::none};

int32_t Z_CALL printStandard(const char *format, va_list args) {
  return std::vprintf(format, args);
}

// The mutex is held.
int32_t callOutput(ZutVPrintFunc function, const char *format, va_list args) {
  utCheck(utProcessMutexHeld());
  ZutErrState state;
  void *tsd = ZutErrNumSaveTsd(&state);
  if (outputDepth >= maxOutputDepth) function = printStandard;
  ++outputDepth;
  const int32_t result = function(format, args);
  --outputDepth;
  utCheck(outputDepth >= 0);
  ZutErrNumRestoreTsd(&state, tsd);
  return result;
}

Z_PRINTF(2, 3) void callOutputWith(ZutVPrintFunc function, const char *format, ...) {
  va_list args;
  va_start(args, format);
  callOutput(function, format, args);
  va_end(args);
}

int32_t Z_CALL printAndFlush(const char *format, va_list args) {
  const int32_t result = ZutVOut(format, args);
  ZutFlushStdout();
  return result;
}

// The objects get flags, so that they do not follow the option trace_flags from the start: the
// options may not exist yet, and making them prints.
struct ZutTrace *createStandardTrace(const char *name) {
  return ZutTraceCreate(name, "stdout", Z_TRACE_FLAG_PREFIX, nullptr);
}

void setStampFlag(struct ZutTrace *trace) {
  if (utEnvIsSet("VNTIMESTAMPOUTPUTSUPPRESS")) ZutTraceFlagClear(trace, Z_TRACE_FLAG_TIMESTAMP);
  else ZutTraceFlagSet(trace, Z_TRACE_FLAG_TIMESTAMP);
}

struct ZutTrace *defaultTrace() {
  if (struct ZutTrace *trace = utDefaultTraceObj.load(std::memory_order_acquire)) return trace;
  const ProcessGuard guard;
  struct ZutTrace *trace = utDefaultTraceObj;
  if (!trace) {
    trace = createStandardTrace("utoutcat");
    ZutTraceLevelSet(trace, Z_TRACE_LEVEL_INFO);
    setStampFlag(trace);
    utDefaultTraceObj.store(trace, std::memory_order_release);
  }
  return trace;
}

int32_t levelOf(struct ZutTrace *trace) { return trace->level.load(std::memory_order_relaxed); }

// The time before a text. With an output function of the program's it goes to the default trace
// object instead. Kept.
void printStamp() {
  const char *time = ZutGetWallTimeStr();
  struct ZutTrace *trace = utDefaultTraceObj;
  if (!outputFunc) callOutputWith(printStandard, "%s: ", time);
  else if (trace) ZutTrace(trace, levelOf(trace), "%s: ", time);
}

int32_t outByLevel(struct ZutTrace *trace, int32_t level, const char *format, va_list args) {
  ZutProcessMutexLock();
  if (!outputFunc) {
    ZutProcessMutexUnlock();
    return ZutTraceVa(trace, level, format, args);
  }
  const int32_t result = callOutput(outputFunc, format, args);
  ZutProcessMutexUnlock();
  return result;
}

// --- Initialisation ---

void setDefaultCatalogFile(ZutOption *option) {
  char *home = utHomeDir();
  if (!home) return;
  char *directory = utFileNameDup(home, "standard", nullptr);
  char *name = utFileNameDup(directory, "orl_wl.cat", nullptr);
  ZutOptionSetStr(option, name);
  Z_FREE(name, "file name");
  Z_FREE(directory, "file name");
  Z_FREE(home, "file name");
}

void makeCatalogOptions() {
  if (!ZutOptionLookup("catalog_file")) {
    ZutOption *file = ZutOptionCreate("catalog_file", Z_OPTION_STR);
    ZutOptionSetRequired(file, 1);
    setDefaultCatalogFile(file);
  }
  ZutOption *flags = ZutOptionLookup("catalog_flags");
  if (!flags) flags = ZutOptionCreate("catalog_flags", Z_OPTION_ENUM_LIST);
  char word[] = "id";
  const ZutStrList list = {nullptr, word};
  if (!utEnvIsSet("VNTRACEPREFIXSUPPRESS")) ZutOptionSetEnumList(flags, &list);
}

bool descriptorsLack() { return errno == EMFILE || errno == ENFILE; }

void openCatalogAgain() {
  char *file = utOptionDup("catalog_file");
  errno = 0;
  ZutCatFilenameSet(defaultCatalog, file);
  catalogMissed = descriptorsLack();
  Z_FREE(file, "catalog_file");
}

// The mutex is held. Messages may be printed as soon as it is released, before the objects follow
// their options: so they take over here what the options hold now.
void makeDefaults() {
  utCheck(init == Init::running && !defaultCatalog);
  makeCatalogOptions();
  char *file = utOptionDup("catalog_file");
  errno = 0;
  defaultCatalog = ZutCatCreate(file);
  catalogMissed = descriptorsLack();
  Z_FREE(file, "catalog_file");
  if (!utEnvIsSet("VNTRACEPREFIXSUPPRESS")) ZutCatFlagSet(defaultCatalog, Z_CAT_FLAG_ID);
  struct ZutTrace *trace = defaultTrace();
  utCheck(!trace->catalog);
  ZutTraceCatalogBind(defaultCatalog, trace);
  ZutTraceLevelOptionCreate("_trace_level_catalog");
  ZutTraceFileOptionCreate("_trace_file_catalog");
  ZutTraceFlagsOptionCreate("_trace_flags_catalog");
  utTraceTakeOptions(trace, "trace_level", "trace_file", "trace_flags");
  utTraceTakeOptions(trace, "_trace_level_catalog", "_trace_file_catalog", "_trace_flags_catalog");
  setStampFlag(trace);
}

void makeOnce() {
  ZutProcessMutexLock();
  if (init.load() == Init::none) {
    init = Init::running; // for this thread's own messages; other threads wait for the mutex
    makeDefaults();
    init.store(Init::made, std::memory_order_release);
  }
  ZutProcessMutexUnlock();
}

void bindDefaults() {
  struct ZutTrace *trace = utDefaultTraceObj;
  utCheck(init == Init::binding && trace && defaultCatalog);
  ZutCatFilenameOptionBind(defaultCatalog, "catalog_file");
  ZutCatFlagsOptionBind(defaultCatalog, "catalog_flags");
  for (const char *name : {"trace_level", "_trace_level_catalog"}) {
    ZutTraceLevelOptionBind(trace, name);
  }
  for (const char *name : {"trace_file", "_trace_file_catalog"}) {
    ZutTraceFileOptionBind(trace, name);
  }
  for (const char *name : {"trace_flags", "_trace_flags_catalog"}) {
    ZutTraceFlagsOptionBind(trace, name);
  }
  setStampFlag(trace);
}

// Registering a callback waits for the running callbacks of the list, and these may wait for the
// mutex in order to print. So a thread that holds the mutex binds nothing; the next call by a
// thread without it does.
void bindOnce() {
  if (utProcessMutexDepth() > 0) return;
  Init expected = Init::made;
  if (!init.compare_exchange_strong(expected, Init::binding)) return;
  bindDefaults();
  init.store(Init::bound, std::memory_order_release);
}

// --- CPU usage ---

constexpr double dayMilliseconds = 86400000.0;

struct CpuSample {
  std::chrono::steady_clock::time_point time;
  double user;
  double kernel;
};
CpuSample cpuBefore;
bool cpuSampled = false;

double increase(double before, double after) {
  return after < before ? after - before + dayMilliseconds : after - before;
}

double cpuPercent(const CpuSample &now) {
  utCheck(cpuSampled);
  const double used = increase(cpuBefore.user, now.user) + increase(cpuBefore.kernel, now.kernel);
  const double elapsed =
      std::chrono::duration<double, std::milli>(now.time - cpuBefore.time).count();
  if (elapsed <= 0.0) return 0.0;
  return std::min(used * 100.0 / elapsed / utPlatProcessors(), 100.0);
}

} // namespace

int32_t utOutCatVa(int32_t level, int32_t number, CatArguments whose, va_list args) {
  ZutErrState state;
  void *tsd = ZutErrNumSaveTsd(&state);
  ZutOutInit();
  if (catalogMissed.exchange(false)) openCatalogAgain();
  int32_t result = 0;
  CatText message;
  if (defaultCatalog && utCatTextBegin(*defaultCatalog, number, whose, message)) {
    if (level == Z_TRACE_LEVEL_DEFAULT) ZutTraceMapSeverityToTraceLevel(message.severity, &level);
    outByLevel(defaultTrace(), level, message.format, args);
    utCatTextEnd(*defaultCatalog);
    result = 1;
  }
  ZutErrNumRestoreTsd(&state, tsd);
  return result;
}

extern "C" {

void Z_CALL ZutFlushStdout() { std::fflush(stdout); }

void Z_CALL ZutSetOutputFunc(ZutVPrintFunc function) {
  const ProcessGuard guard;
  outputFunc = function;
}

ZutVPrintFunc Z_CALL ZutGetOutputFunc() {
  const ProcessGuard guard;
  if (!outputFunc) outputFunc = printStandard;
  return outputFunc;
}

int32_t Z_CALL ZutSetOutFlushFunc(ZutVPrintFunc function) {
  if (!function) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  flushFunc = function;
  return 1;
}

ZutVPrintFunc Z_CALL ZutGetOutFlushFunc() {
  const ProcessGuard guard;
  return flushFunc;
}

int32_t Z_CALL ZutOutFlush(const char *format, ...) {
  va_list args;
  va_start(args, format);
  ZutProcessMutexLock();
  if (!flushFunc) flushFunc = printAndFlush;
  const int32_t result = callOutput(flushFunc, format, args);
  ZutProcessMutexUnlock();
  va_end(args);
  return result;
}

int32_t Z_CALL ZutVOut(const char *format, va_list args) {
  ZutProcessMutexLock();
  if (utEnvIsSet("VNTIMESTAMPOUTPUT")) printStamp();
  const int32_t result = callOutput(outputFunc ? outputFunc : printStandard, format, args);
  ZutProcessMutexUnlock();
  return result;
}

int32_t Z_CALL ZutOut(const char *format, ...) {
  ZutErrState state;
  void *tsd = ZutErrNumSaveTsd(&state);
  va_list args;
  va_start(args, format);
  ZutProcessMutexLock();
  if (!outTrace) outTrace = createStandardTrace("utout");
  ZutTraceLevelSet(outTrace, Z_TRACE_LEVEL_ALWAYS);
  const bool stamped = utEnvIsSet("VNTIMESTAMPOUTPUT");
  if (stamped) ZutTraceFlagSet(outTrace, Z_TRACE_FLAG_TIMESTAMP);
  if (outputFunc) {
    if (stamped) callOutputWith(outputFunc, "%s: ", ZutGetWallTimeStr());
    callOutput(outputFunc, format, args);
  } else {
    ZutTraceVa(outTrace, Z_TRACE_LEVEL_ALWAYS, format, args);
  }
  ZutProcessMutexUnlock();
  va_end(args);
  return ZutErrNumRestoreTsd(&state, tsd);
}

int32_t Z_CALL ZutOutStr(int32_t level, const char *format, ...) {
  va_list args;
  va_start(args, format);
  const int32_t result = ZutVOutStr(level, format, args);
  va_end(args);
  return result;
}

int32_t Z_CALL ZutVOutStr(int32_t level, const char *format, va_list args) {
  ZutOutInit();
  return outByLevel(defaultTrace(), level, format, args);
}

int32_t Z_CALL ZutOutStrDefault(const char *format, ...) {
  va_list args;
  va_start(args, format);
  const int32_t result = ZutVOutStrDefault(format, args);
  va_end(args);
  return result;
}

int32_t Z_CALL ZutVOutStrDefault(const char *format, va_list args) {
  ZutOutInit();
  struct ZutTrace *trace = defaultTrace();
  return outByLevel(trace, levelOf(trace), format, args);
}

int32_t Z_CALL ZutOutCat(int32_t level, int32_t number, ...) {
  va_list args;
  va_start(args, number);
  const int32_t result = utOutCatVa(level, number, CatArguments::program, args);
  va_end(args);
  return result;
}

int32_t Z_CALL ZutOutInit() {
  if (init.load(std::memory_order_acquire) == Init::bound) return 1;
  ZutErrState state;
  void *tsd = ZutErrNumSaveTsd(&state);
  // The options are made first: making them may print and so call this function again, which then
  // finds them ready to be bound.
  utOptionTable();
  makeOnce();
  bindOnce();
  return ZutErrNumRestoreTsd(&state, tsd);
}

int32_t Z_CALL ZutVerbose(const char *format, ...) {
  ZutErrState state;
  void *tsd = ZutErrNumSaveTsd(&state);
  // Read by name each time. A callback that kept the value would have to be registered here, where
  // the process mutex may be held: see bindOnce.
  if (utOptionFlag("verbose", false)) {
    va_list args, again;
    va_start(args, format);
    va_copy(again, args);
    ZutVDebug(format, args);
    ZutVOut(format, again);
    va_end(again);
    va_end(args);
    ZutFlushStdout();
  }
  return ZutErrNumRestoreTsd(&state, tsd);
}

int32_t Z_CALL ZutProcInfo(int32_t kind, double *out) {
  if (!out) return utFail(Err::nullPointer);
  if (kind != 0) return utFail(Err::invalid);
  CpuSample now{std::chrono::steady_clock::now(), 0.0, 0.0};
  utPlatCpuTimes(&now.user, &now.kernel);
  now.user = std::fmod(now.user, dayMilliseconds);
  now.kernel = std::fmod(now.kernel, dayMilliseconds);
  const ProcessGuard guard;
  *out = cpuSampled ? cpuPercent(now) : 0.0;
  cpuBefore = now;
  cpuSampled = true;
  return *out >= 0.0;
}

} // extern "C"
