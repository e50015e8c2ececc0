// Commands: the registry, what a failing command does, feedback.
#pragma once

#include "base/report.h"
#include "zut.h"

struct ZutCommand {
  const char *name; // the caller's
  ZutCommandFunc function;
  int32_t hidden;
};

// The longest line of a file or of the prompt, without its end.
inline constexpr int32_t utCommandLineMax = 4095;

// Makes the registry with the built-in commands and aliases, once.
void utCommandInit();

// The function of a command, null when there is none; `name` then is the one that it is registered
// by. The record and its own name may be gone as soon as the registry's lock is released.
ZutCommandFunc utCommandFind(const char *&name);

// Copies of the names that "help" lists, sorted: each to be freed under "command name", the array
// under "command names".
char **utCommandNames(int32_t *count);

// Would ZutCommandPrintFeedback print now?
bool utCommandFeedbackOn();

// Has a command of this thread failed, and shall nothing be run then?
bool utCommandStopped();

// Counts a failure of the command being parsed and reports it.
template <Msg M, class... Args>
void utCommandFail(int32_t level, Args... args) {
  ZutCommandFailed();
  utReport<M>(level, args...);
}
