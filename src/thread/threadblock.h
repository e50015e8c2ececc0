// The library's block of each thread: 520 bytes whose first two words are published, the
// interpreter's typed flag and the thread's error number. The rest keeps what other modules know
// of the thread. Made on first use, freed when the thread ends.
#pragma once

#include "platform_tls.h"
#include "zut.h"

struct ThreadTexts;   // the thread's result buffers, threadblock.cpp
struct ThreadClosure; // what the library knows of the thread, utthread.h
struct CommandSource; // a text or file being parsed, config/source
struct ListLock;      // callback/listlock.h

// A reader-writer mutex that this thread reads (count above 0) or has read, rwmutex.cpp.
struct RwHold {
  uint64_t mutex; // its number: an address may be used again
  int32_t count;  // read locks
};

// A read lock of this thread on a callback list, callback/listlock.h.
struct CbHold {
  ListLock *lock;
  ZutCb *inside;  // the callback that runs under this lock, or null
  int32_t parked; // 1: counted as parked, not as reading
  int32_t noted;  // 1: counted as a user of `inside`
};

// All of them, the latest mostly last.
struct CbReads {
  CbHold *begin;
  CbHold *end;
  CbHold *limit;   // of the room
  uint32_t turn;   // another one: this thread has parked meanwhile, or begun to write a list
  int32_t writing; // how many lists it writes
};

struct ThreadBlock;

struct ThreadState {
  int32_t typed;
  int32_t error;
  char errorText[48]; // "unknown error N"
  int32_t failures;   // commands that failed
  uint32_t reports;   // messages of the library that it has printed
  CommandSource *source;
  void (*dropSource)(ThreadBlock &block); // the innermost one; set with the first
  ThreadTexts *texts;
  CbReads lists;
  ThreadClosure *closure;
  RwHold holds[8];   // each mutex has one place
  RwHold *moreHolds; // those whose place is taken
  int32_t moreCount;
  int32_t moreCapacity;
};
struct ThreadBlock : ThreadState {
  char reserved[520 - sizeof(ThreadState)];
};
static_assert(sizeof(ThreadBlock) == 520);

ThreadBlock &utThreadBlockMake();
// Ends with the thread: frees the block and what hangs off it.
void utThreadBlockEnd(void *block);

inline ThreadBlock &utThreadBlock() {
  void *block = utPlatThreadBlockGet();
  return block ? *static_cast<ThreadBlock *>(block) : utThreadBlockMake();
}

// One result buffer per operation and thread, overwritten by that thread's next call.
enum class TextSlot {
  hashKey,
  optionValue,
  realNumber,
  timeFull,
  timeHms,
  timeNumeric,
  timeHttp,
  timeSmtp,
  timeAsctime,
  wallTime,
  pathFindFile,
  fileName,
  count
};

// The slot's buffer with room for at least `size` bytes; keeps its contents when it grows.
char *utThreadText(TextSlot slot, int32_t size);

// The same for a text that is known by a name: each name has a buffer, which stays until the thread
// ends.
char *utThreadNamedText(const char *name, int32_t size);
