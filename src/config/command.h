// Commands: the registry, what a failing command does, feedback, and the chain of texts and files
// that a thread is parsing.
#pragma once

#include "core/report.h"
#include "zut.h"

struct ZutCommand {
  const char *name; // the caller's
  ZutCommandFunc function;
  int32_t hidden;
};

// An alias whose expansion is being parsed. Only what stood after the alias follows the expansion,
// so a position is inside it while more than `tail` characters of the text are left.
struct Expansion {
  Expansion *outer;
  size_t tail;
  char name[Z_LEX_ID_SIZE];
};

// One text or file of a thread, on the stack of the frame that parses it; the innermost one hangs
// off the thread's block.
struct CommandSource {
  CommandSource *outer;
  const char *file;    // null for a text
  int32_t line;        // of a file, from 1
  const char *command; // being parsed, or null
  Expansion *aliases;  // whose expansions that command stands in, innermost first
};

// How deep texts and files may nest in a thread.
inline constexpr int32_t utCommandDepthMax = 32;

// The longest line of a file or of the prompt, without its end.
inline constexpr int32_t utCommandLineMax = 4095;

// Makes the registry with the built-in commands and aliases, once.
void utCommandInit();

// Copies the command of a name; false when there is none. The record itself may be destroyed by
// another thread as soon as the registry's lock is released.
bool utCommandFind(const char *name, ZutCommand &out);

// The names that "help" lists, sorted; to be freed under "command names".
const char **utCommandNames(int32_t *count);

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
