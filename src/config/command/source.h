// The chain of texts and files that a thread is parsing.
//
// The frame that parses a source may be ended by a jump that the source does not see: a command
// reports an error and jumps to the program. So the record of a source lies in the heap, and a
// source whose frame is gone is dropped, with all that it owns, by the next operation that looks.
#pragma once

#include "base/threadblock.h"
#include "zut.h"

#include <cstddef>

// An alias whose expansion is being parsed. Only what stood after the alias follows the expansion,
// so a position is inside it while more than `tail` characters of the text are left.
struct Expansion {
  Expansion *outer;
  size_t tail;
  char name[Z_LEX_ID_SIZE];
};

// One text or file of a thread; the innermost one hangs off the thread's block.
struct CommandSource {
  CommandSource *outer;
  int32_t depth;                          // texts up to here; a file adds the text of its line
  int32_t typedBefore;                    // the thread's flag, to be set back
  uint32_t jumps;                         // the thread's count when the frame was last known to run
  const void *frame;                      // of the function that parses
  CommandSource *volatile *mark;          // a word of that frame, which holds this record's address
  void (*release)(CommandSource &source); // frees the record and what it owns
  const char *file;                       // null for a text
  int32_t line;                           // of a file, from 1
  const char *command;                    // being parsed, or null
  Expansion *aliases;                     // whose expansions enclose it, innermost first
};

// The part of the thread's block that belongs to the interpreter.
struct CommandThread {
  int32_t failures;      // commands that failed
  CommandSource *source; // the innermost one
};

inline CommandThread &utCommandThread(ThreadBlock &block = utThreadBlock()) {
  return utThreadPart<CommandThread>(block.command);
}

// How deep texts and files may nest in a thread.
inline constexpr int32_t utCommandDepthMax = 32;

// The innermost source, or null. `frame` is the frame address of the operation that asks, which is
// not inlined; the sources whose frames are gone are dropped.
CommandSource *utSourceInnermost(const void *frame);

// The same unless a report has jumped since its frame was last known to run: such a source may be
// gone without a trace, so it counts neither for the position nor for depth and aliases.
CommandSource *utSourceKnown(const void *frame);
// The next one out of a known source, under the same condition.
const CommandSource *utSourceOuter(const CommandSource &source);

// Is there room for one more? A refusal is reported, with `text`, and counted.
bool utSourceFits(const void *frame, const char *text);

// Puts a source in the chain, its own members set. The caller is not inlined: `frame` is its frame
// address, and `mark` a local that it keeps until utSourceLeave.
void utSourceEnter(CommandSource &source, const void *frame, CommandSource *volatile &mark);

// Drops what a jump has left inside the source, which is in the chain.
void utSourceSettle(CommandSource &source);

// Settles and drops the source itself.
void utSourceLeave(CommandSource &source);
