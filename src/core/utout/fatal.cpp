// Stopping: assertions, the fatal report, exit handlers and the orderly exit.
//
// The fatal path waits neither for the process mutex nor for anything that takes it: a program in
// which a thread holds that mutex for ever must still be able to report and to end.
// So the list of exit handlers is lock-free (many push, the one thread that holds `exitLock` pops)
// and the state that the report prints is read without locks.
#include "base/check.h"
#include "base/env.h"
#include "base/errword.h"
#include "base/fastlock.h"
#include "base/memory.h"
#include "base/processlock.h"
#include "base/report.h"
#include "base/socketlayer.h"
#include "core/utout/debugfile.h"
#include "platform/platform_time.h"
#include "time/calendar.h"
#include "time/clock.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

struct ExitHandler {
  ExitHandler *next;
  ZutExitFunc function;
};

std::atomic<ExitHandler *> exitHandlers{nullptr}; // newest first
FastLock exitLock;                                // recursive: a handler may call ZutExit

std::atomic<FILE *> fatalStream{nullptr}; // null: standard output
FastLock reportLock;                      // held while a report ends, or is to end, the process
std::atomic<bool> endless{false};         // a report has returned without an end

ExitHandler *takeNewest() {
  utCheck(utFastHeld(exitLock));
  ExitHandler *newest = exitHandlers.load(std::memory_order_acquire);
  while (newest && !exitHandlers.compare_exchange_weak(newest, newest->next)) {
  }
  return newest;
}

struct FatalReport {
  char wallClock[utLocalTextSize];
  double currentTime;
  ZutErrState state;
};

void printReport(FILE *stream, const FatalReport &report, const char *format, va_list args) {
  std::fputs("\n*** FATAL ERROR ***\n", stream);
  std::vfprintf(stream, format, args);
  std::fputs("\n", stream);
  std::fprintf(stream, "Wall Clock Time: %s\n", report.wallClock);
  std::fprintf(stream, "Vantrel Time: %f\n", report.currentTime);
  std::fprintf(stream, "Last Vantrel Error Code: %ld\n", static_cast<long>(report.state.number));
  std::fprintf(stream, "Last C Error Code: %ld\n", static_cast<long>(report.state.c));
  std::fprintf(stream, "Last OS Error Code: %ld\n", static_cast<long>(report.state.os));
  std::fprintf(stream, "Last Socket Error Code: %ld\n", static_cast<long>(report.state.socket));
}

void flush(FILE *stream) {
  std::fflush(stream);
  std::fflush(stderr);
}

[[noreturn]] void abortProcess() {
  ZutWinEndWinsock();
  std::abort();
}

// Result: how many times this thread held it.
int32_t leaveProcessMutex() {
  const int32_t depth = utProcessMutexDepth();
  for (int32_t i = 0; i < depth; ++i) ZutProcessMutexUnlock();
  utCheck(utProcessMutexDepth() == 0);
  return depth;
}

// Waits while another thread reports and, as a rule, ends the process; its exit handlers may need
// the process mutex, so this thread releases it. `depth`: how many times this thread has to take
// that again when it goes on. False: no second report. This thread is already ending the process
// and goes on with that.
bool beginReport(int32_t &depth) {
  const bool again = utFastHeld(reportLock);
  if (again || !utFastTry(reportLock)) {
    if (utFastHeld(exitLock)) return false;
    if (again) abortProcess();
    depth = leaveProcessMutex();
    utFastEnter(reportLock);
  }
  utCheck(utFastHeld(reportLock));
  if (endless) abortProcess();
  return true;
}

void endReport(int32_t depth) {
  utCheck(utFastHeld(reportLock));
  utFastLeave(reportLock);
  for (int32_t i = 0; i < depth; ++i) ZutProcessMutexLock();
}

} // namespace

void utEndAfterReport() {
  utReport<Msg::endsAfterReport>(Z_TRACE_LEVEL_INFO);
  ZutExit(2);
}

extern "C" {

void Z_CALL ZutAssert(int32_t condition, const char *text, const char *file, int32_t line) {
  if (condition) return;
  ZutFatalError("Assertion <%s> failed, file: %s, line %ld", text, file, static_cast<long>(line));
}

int32_t Z_CALL ZutExpect(int32_t condition, const char *text, const char *file, int32_t line) {
  if (condition) return condition;
  ZutErrState state;
  void *tsd = ZutErrNumSaveTsd(&state);
  utReport<Msg::expectFailed>(Z_TRACE_LEVEL_WARNING, text, file, line);
  utReport<Msg::expectContinues>(Z_TRACE_LEVEL_WARNING);
  utEnvIsSet("VN_EXPECT_ABORT"); // read, and without effect: an expectation never stops. Kept.
  if (utReportAllowed(Z_TRACE_LEVEL_WARNING)) {
    const auto print = [](const char *format, int32_t code) {
      ZutOutStr(Z_TRACE_LEVEL_WARNING, format, static_cast<long>(code));
    };
    print("Last Vantrel Error Code: %ld\n", state.number);
    print("Last C Error Code: %ld\n", state.c);
    print("Last OS Error Code: %ld\n", state.os);
    print("Last Socket Error Code: %ld\n", state.socket);
  }
  ZutErrNumRestoreTsd(&state, tsd);
  return condition;
}

int32_t Z_CALL ZutGetFatalErrorFile(FILE **out) {
  if (!out) return utFail(Err::nullPointer);
  *out = fatalStream;
  return 1;
}

int32_t Z_CALL ZutSetFatalErrorFile(FILE *stream) {
  if (!stream) return utFail(Err::nullPointer);
  fatalStream = stream;
  return 1;
}

void Z_CALL ZutFatalError(const char *format, ...) {
  FatalReport report;
  ZutErrNumSave(&report.state);
  int32_t depth = 0;
  if (!beginReport(depth)) ZutExit(2);
  if (!utLocalText(std::time(nullptr), report.wallClock)) report.wallClock[0] = '\0';
  report.currentTime = utCurrentTimeUnlocked();

  FILE *none = nullptr;
  fatalStream.compare_exchange_strong(none, stdout);
  FILE *stream = fatalStream;
  flush(stream);
  FILE *debug = utDebugStream();
  va_list args;
  if (debug && debug != stderr) {
    va_start(args, format);
    printReport(debug, report, format, args);
    va_end(args);
    std::fflush(debug);
  }
  va_start(args, format);
  printReport(stream, report, format, args);
  va_end(args);
  if (debug && debug != stream) std::fprintf(stream, "See debug file: %s\n", utDebugName());

  if (utEnvIsSet("VN_FATAL_ERROR_CONTINUE")) {
    std::fputs("Continuing execution.\n", stream);
    flush(stream);
    endReport(depth);
    return;
  }
  flush(stream);
  if (utEnvIsSet("VN_FATAL_ERROR_ABORT")) abortProcess();
  if (utEnvIsSet("VN_FATAL_ERROR_SLEEP")) {
    utPlatSleep(3600.0); // for a debugger to be attached
    endless = true;
    endReport(depth);
    return;
  }
  utPlatSleep(5.0); // for a person to read the report before the window closes
  ZutExit(2);
}

int32_t Z_CALL ZutAtExit(ZutExitFunc function) {
  if (!function) return utFail(Err::nullPointer);
  auto *handler = utNew<ExitHandler>("ut_new_func");
  handler->function = function;
  handler->next = exitHandlers.load(std::memory_order_relaxed);
  while (!exitHandlers.compare_exchange_weak(handler->next, handler, std::memory_order_release,
                                             std::memory_order_relaxed)) {
  }
  return 1;
}

// The lock is never released: a second thread that ends the process waits here until the first
// has ended it, because the runtime's exit must not be entered twice. Both release the process
// mutex: a handler may wait for a thread that needs it.
void Z_CALL ZutExit(int32_t code) {
  leaveProcessMutex();
  utFastEnter(exitLock);
  while (ExitHandler *handler = takeNewest()) {
    const ZutExitFunc function = handler->function;
    Z_FREE(handler, "ut_new_func");
    function();
  }
  std::exit(code);
}

} // extern "C"
