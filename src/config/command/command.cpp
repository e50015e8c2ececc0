// The registry of commands, feedback, and what a thread knows of its parses.
//
// Records hang in one table, keyed by the caller's name; it is made with the built-in commands and
// aliases by the first operation that needs it and lives until the process ends. The process mutex
// guards it. The chain of sources and the count of failures are the thread's own and need no lock.
#include "config/command/command.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/processlock.h"
#include "base/text.h"
#include "base/threadblock.h"
#include "config/command/alias.h"
#include "config/command/builtins.h"
#include "config/command/help.h"
#include "config/command/source.h"
#include "containers/hash.h"
#include "platform/platform.h"

#include <algorithm>
#include <atomic>

namespace {

ZutHashTable *registry;
std::atomic<bool> ready;

enum class Feedback : int32_t { interactive, never, always };
std::atomic<Feedback> feedback;

std::atomic<ZutCommandFailureFunc> failureFunc;
std::atomic<bool> stopsAtFailure;

ZutWord keyOf(const char *name) { return reinterpret_cast<ZutWord>(name); }

// The present name for a former one.
const char *presentName(const char *name) {
  if (utSameWord(name, "join_dg")) return "subscribe";
  if (utSameWord(name, "leave_dg")) return "unsubscribe";
  if (utSameWord(name, "retrieve_dg")) return "retrieve";
  return name;
}

// Under the process mutex.
ZutCommand *findRegistered(const char *name) {
  utCheck(registry);
  utCheck(utProcessMutexHeld());
  const ZutHashBucket *bucket = utHashFind(registry, keyOf(name));
  return bucket ? reinterpret_cast<ZutCommand *>(bucket->value) : nullptr;
}

ZutCommand *find(const char *name) { return findRegistered(presentName(name)); }

// Under the process mutex; the name is free.
ZutCommand *add(const char *name, ZutCommandFunc function, int32_t hidden) {
  utCheck(!findRegistered(name));
  ZutCommand *command = utNew<ZutCommand>("command");
  *command = {name, function, hidden};
  ZutHashInsert(registry, keyOf(name), reinterpret_cast<ZutWord>(command));
  return command;
}

int32_t Z_CALL collectListed(ZutWord, ZutWord value, ZutWord argument) {
  const ZutCommand &command = *reinterpret_cast<ZutCommand *>(value);
  char **&next = *reinterpret_cast<char ***>(argument);
  if (!command.hidden && command.name[0] != '_') *next++ = utDup(command.name, "command name");
  return 0;
}

const CommandSource *innermostFile(const CommandSource *source) {
  while (source && !source->file) source = utSourceOuter(*source);
  return source;
}

} // namespace

void utCommandInit() {
  if (ready.load(std::memory_order_acquire)) return;
  const ProcessGuard guard;
  if (ready.load(std::memory_order_relaxed)) return;
  utCheck(!registry);
  registry = ZutHashCreateStr(32);
  for (const BuiltIn &row : utBuiltIns()) add(row.name, row.function, row.hidden);
  utAliasSet("exit", "quit force");
  utAliasSet("ls", "sh dir");
  utAliasSet("pwd", utPlatPwdCommand);
  ready.store(true, std::memory_order_release);
}

ZutCommandFunc utCommandFind(const char *&name) {
  const char *present = presentName(name);
  const ProcessGuard guard;
  const ZutCommand *command = findRegistered(present);
  if (!command) return nullptr;
  name = present;
  return command->function;
}

char **utCommandNames(int32_t *count) {
  utCommandInit();
  const ProcessGuard guard;
  char **names = utNewArray<char *>(ZutHashGetSize(registry) + 1, "command names");
  char **end = names;
  ZutHashTraverse(registry, collectListed, reinterpret_cast<ZutWord>(&end));
  std::sort(names, end, [](const char *a, const char *b) { return std::strcmp(a, b) < 0; });
  utCheck(end - names <= ZutHashGetSize(registry));
  *count = static_cast<int32_t>(end - names);
  return names;
}

bool utCommandFeedbackOn() {
  switch (feedback.load(std::memory_order_relaxed)) {
  case Feedback::always: return true;
  case Feedback::never: return false;
  case Feedback::interactive: break;
  }
  return utThreadBlock().typed != 0;
}

bool utCommandStopped() {
  return stopsAtFailure.load(std::memory_order_relaxed) && utCommandThread().failures > 0;
}

extern "C" {

ZutCommand *Z_CALL ZutCommandCreate(const char *name, ZutCommandFunc function) {
  if (!name || !function) return utFailNull(Err::nullPointer);
  utCommandInit();
  const ProcessGuard guard;
  if (find(name)) return utFailNull(Err::exists);
  return add(name, function, 0);
}

ZutCommand *Z_CALL ZutCommandLookup(const char *name) {
  if (!name) return utFailNull(Err::nullPointer);
  utCommandInit();
  const ProcessGuard guard;
  ZutCommand *command = find(name);
  return command ? command : utFailNull(Err::notFound);
}

int32_t Z_CALL ZutCommandDestroy(ZutCommand *command) {
  if (!command) return utFail(Err::nullPointer);
  utCommandInit();
  const ProcessGuard guard;
  ZutHashDelete(registry, keyOf(command->name));
  Z_FREE(command, "command");
  return 1;
}

int32_t Z_CALL ZutCommandSetParseFunc(ZutCommand *command, ZutCommandFunc function) {
  if (!command || !function) return utFail(Err::nullPointer);
  utCommandInit();
  const ProcessGuard guard;
  command->function = function;
  return 1;
}

int32_t Z_CALL ZutCommandSetHidden(ZutCommand *command, int32_t flag) {
  if (!command) return utFail(Err::nullPointer);
  if (flag != 0 && flag != 1) return utFail(Err::invalid);
  utCommandInit();
  const ProcessGuard guard;
  command->hidden = flag;
  return 1;
}

int32_t Z_CALL ZutCommandHelpPrint(const char *name) {
  if (!name) return utFail(Err::nullPointer);
  return utHelpPrint("commands", name, HelpForm::full) ? 1 : 0;
}

void Z_CALL ZutCbCommandSetFeedback(void *, void *call_data, ZutWord) {
  const char *word =
      static_cast<const char *>(static_cast<ZutOptionChangeData *>(call_data)->value);
  if (!word) return;
  if (utSameWord(word, "always")) feedback = Feedback::always;
  else if (utSameWord(word, "never")) feedback = Feedback::never;
  else if (utSameWord(word, "interactive")) feedback = Feedback::interactive;
  else utReport<Msg::feedbackUnknown>(Z_TRACE_LEVEL_INFO, word);
}

[[gnu::noinline]] int32_t Z_CALL ZutCommandPrintFeedback(const char *format, ...) {
  if (!format) return utFail(Err::nullPointer);
  utSourceInnermost(__builtin_frame_address(0)); // one that is gone sets the typed flag back
  if (!utCommandFeedbackOn()) return 1;
  va_list args;
  va_start(args, format);
  ZutVOut(format, args);
  va_end(args);
  return 1;
}

int32_t Z_CALL ZutCommandGetFailures(void) { return utCommandThread().failures; }

int32_t Z_CALL ZutCommandSetFailures(int32_t count) {
  utCommandThread().failures = count;
  return 1;
}

[[gnu::noinline]] void Z_CALL ZutCommandFailed(void) {
  CommandThread &thread = utCommandThread();
  ++thread.failures;
  const ZutCommandFailureFunc function = failureFunc.load(std::memory_order_acquire);
  if (!function) return;
  const CommandSource *source = utSourceKnown(__builtin_frame_address(0));
  const CommandSource *file = innermostFile(source);
  const char *command = source ? source->command : nullptr;
  ZutErrState errors;
  ZutErrNumSave(&errors);
  function(file ? file->file : nullptr, file ? file->line : 0, command ? command : "");
  ZutErrNumRestore(&errors);
}

[[gnu::noinline]] int32_t Z_CALL ZutCommandGetPosition(const char **file, int32_t *line) {
  if (!file || !line) return utFail(Err::nullPointer);
  const CommandSource *source = innermostFile(utSourceKnown(__builtin_frame_address(0)));
  *file = source ? source->file : nullptr;
  *line = source ? source->line : 0;
  return source ? 1 : utFail(Err::notFound);
}

void Z_CALL ZutCommandSetFailureFunc(ZutCommandFailureFunc function) {
  failureFunc.store(function, std::memory_order_release);
}

int32_t Z_CALL ZutCommandSetStopAtFailure(int32_t flag) {
  if (flag != 0 && flag != 1) return utFail(Err::invalid);
  stopsAtFailure = flag != 0;
  return 1;
}

} // extern "C"
