// Threads: created ones, and adopted ones, which the library did not start and which asked for
// their value.
//
// A thread's closure hangs off its library block and ends with it, except that an adopted thread's
// stays, with the thread's value, until the thread has ended and the checker, or a
// thread that waits for it, notices. The one that takes it out of the table closes it. Table
// and checker are guarded by the registry lock, which is taken last of all.
#include "base/check.h"
#include "base/errword.h"
#include "base/fastlock.h"
#include "base/memory.h"
#include "base/processlock.h"
#include "base/report.h"
#include "base/setting.h"
#include "base/text.h"
#include "base/threadblock.h"
#include "platform/platform_thread.h"
#include "thread/tsd.h"

#include <cstdarg>

namespace {

// What the library knows of a thread.
struct ThreadClosure {
  ZutThreadFunc function;
  ZutWord argument;
  ZutThreadId handle;
  int32_t adopted; // 1: freed by the checker or by the thread that waits for it
};

constexpr int64_t Z_CHECK_CYCLE = 60000; // milliseconds; at most one thread is closed in each
constexpr double Z_CHECKER_END = 0.5;    // seconds given to the checker to end

constinit FastLock registry{};
ZutHashTable *adopted; // value -> closure; made with the first
bool checkerStarted;   // never cleared: the checker is not started again
bool checkerRuns;
FastCond checkerWake;

void freeClosure(ThreadClosure *closure) { Z_FREE(closure, "(thread_closure)"); }

ThreadClosure *&closureOf(ThreadBlock &block) {
  return utThreadPart<ThreadClosure *>(block.thread);
}

// An adopted thread's closure outlives the thread.
void endClosure(ThreadBlock &block) {
  utCheck(closureOf(block));
  if (!closureOf(block)->adopted) freeClosure(closureOf(block));
}

void setClosure(ThreadBlock &block, ThreadClosure *closure) {
  utCheck(!closureOf(block) && closure);
  closureOf(block) = closure;
  block.thread.end = endClosure;
}

// Under the registry lock. A miss is no error of the caller's.
ThreadClosure *findAdopted(ZutThreadId thread) {
  utCheck(utFastHeld(registry));
  if (!adopted) return nullptr;
  const Err before = utErrGet();
  auto *closure = reinterpret_cast<ThreadClosure *>(ZutHashLookup(adopted, thread));
  utErrSet(before);
  utCheck(!closure || (closure->handle == thread && closure->adopted == 1));
  return closure;
}

int32_t Z_CALL stopAtEnded(ZutWord thread, ZutWord, ZutWord found) {
  if (!utPlatThreadEnded(thread)) return 0;
  *reinterpret_cast<ZutThreadId *>(found) = thread;
  return 1;
}

// Under the registry lock.
void closeOneEnded() {
  utCheck(utFastHeld(registry) && adopted);
  ZutThreadId thread = 0;
  ZutHashTraverse(adopted, stopAtEnded, reinterpret_cast<ZutWord>(&thread));
  if (thread == 0) return;
  freeClosure(reinterpret_cast<ThreadClosure *>(ZutHashDelete(adopted, thread)));
  utPlatThreadClose(thread);
}

ZutWord Z_CALL checker(ZutWord) {
  const FastGuard guard(registry);
  while (checkerRuns) {
    utFastCondWait(checkerWake, registry, utPlatDeadline(Z_CHECK_CYCLE));
    if (checkerRuns) closeOneEnded();
  }
  return 0;
}

// Under the registry lock. No thread waits for the checker, so its value is closed at once.
void startChecker() {
  utCheck(utFastHeld(registry) && checkerStarted == (adopted != nullptr));
  if (checkerStarted) return;
  checkerStarted = true;
  checkerRuns = true;
  adopted = ZutHashCreatePtr(4);
  const ZutThreadId thread = ZutThreadCreate(checker, 0, 0);
  utPlatThreadSetIdle(thread);
  utPlatThreadClose(thread);
}

// Puts an adopted thread into the checker's hands.
void offerAdopted(ThreadClosure *closure) {
  const FastGuard guard(registry);
  utCheck(closure->adopted == 1 && !findAdopted(closure->handle));
  startChecker();
  ZutHashInsert(adopted, closure->handle, reinterpret_cast<ZutWord>(closure));
}

// Takes an adopted thread out of the checker's hands; null for a created one.
ThreadClosure *claimAdopted(ZutThreadId thread) {
  const FastGuard guard(registry);
  ThreadClosure *closure = findAdopted(thread);
  if (closure) ZutHashDelete(adopted, thread);
  return closure;
}

bool isAdopted(ZutThreadId thread) {
  const FastGuard guard(registry);
  return findAdopted(thread) != nullptr;
}

ZutThreadId adopt(ThreadBlock &block) {
  const PlatThread thread = utPlatThreadAdopt();
  if (thread == 0) {
    utReport<Msg::threadHandle>(Z_TRACE_LEVEL_WARNING);
    return utFail(Err::os);
  }
  auto *closure = utNew<ThreadClosure>("thread_closure");
  closure->handle = thread;
  closure->adopted = 1;
  setClosure(block, closure);
  offerAdopted(closure);
  return thread;
}

// The pairs after the first kind. Every name is accepted: thread_bounded changes nothing.
bool attributesValid(int32_t kind, va_list attributes) {
  while (kind == Z_THREAD_ATTR_NAMED) {
    va_arg(attributes, const char *);
    kind = va_arg(attributes, int32_t);
  }
  return kind == 0;
}

// The list is looked at before the option: without attributes nothing hangs on it.
bool acceptAttributes(va_list attributes) {
  const int32_t kind = va_arg(attributes, int32_t);
  if (kind == 0) return true;
  if (utOptionFlag("_thread_create_check_varargs", false)) return attributesValid(kind, attributes);
  utReport<Msg::threadAttributes>(Z_TRACE_LEVEL_WARNING);
  return true;
}

// Runs in the new thread.
ZutWord threadMain(void *argument) {
  auto *closure = static_cast<ThreadClosure *>(argument);
  utCheck(closure->function && !closure->adopted);
  setClosure(utThreadBlock(), closure);
  const ZutWord code = closure->function(closure->argument);
  utTsdRunDestructors();
  return code;
}

} // namespace

extern "C" {

ZutThreadId Z_CALL ZutThreadCreate(ZutThreadFunc function, ZutWord argument, ...) {
  ZutInitThreads();
  va_list attributes;
  va_start(attributes, argument);
  const ZutThreadId thread = ZutThreadCreateVa(function, argument, attributes);
  va_end(attributes);
  return thread;
}

ZutThreadId Z_CALL ZutThreadCreateVa(ZutThreadFunc function, ZutWord argument, va_list attributes) {
  if (!function) return utFail(Err::nullPointer);
  if (!acceptAttributes(attributes)) return utFail(Err::invalid);
  auto *closure = utNew<ThreadClosure>("thread_closure");
  closure->function = function;
  closure->argument = argument;
  const PlatThread thread = utPlatThreadStart(threadMain, closure, &closure->handle);
  if (thread != 0) return thread;
  freeClosure(closure);
  return utFail(Err::os);
}

ZutThreadId Z_CALL ZutThreadSelf(void) {
  ThreadBlock &block = utThreadBlock();
  if (const ThreadClosure *closure = closureOf(block)) return closure->handle;
  return utThreadsOn() ? adopt(block) : 0;
}

int32_t Z_CALL ZutThreadEqual(ZutThreadId a, ZutThreadId b) { return a == b ? 1 : 0; }

void Z_CALL ZutThreadExit(ZutWord code) {
  utTsdRunDestructors();
  utPlatThreadExit(code);
}

int32_t Z_CALL ZutThreadWait(ZutThreadId thread, ZutWord *code_out) {
  ThreadClosure *closure = claimAdopted(thread);
  ZutWord code = 0;
  if (!utPlatThreadWait(thread, &code)) {
    if (closure) offerAdopted(closure);
    return utFail(Err::os);
  }
  utPlatThreadClose(thread);
  if (closure) freeClosure(closure);
  if (code_out) *code_out = code;
  return 1;
}

int32_t Z_CALL ZutThreadDetach(ZutThreadId thread) {
  if (!isAdopted(thread)) utPlatThreadClose(thread);
  return 1;
}

ZutThreadId Z_CALL ZutThreadPosixGetInvalid(void) { return 0; }

int32_t Z_CALL ZutEndImportThreadCheckerThread(void) {
  {
    const FastGuard guard(registry);
    if (!checkerRuns) return utFail(Err::invalid);
    checkerRuns = false;
    closeOneEnded(); // the checker's last look, taken here: an idle thread may come too late for it
    utFastCondWake(checkerWake);
  }
  ZutSleep(Z_CHECKER_END);
  return 1;
}

} // extern "C"
