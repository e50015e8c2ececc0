// The library's block of each thread: 520 bytes whose first two words are published, the
// interpreter's typed flag and the thread's error number. Each module above owns a part of the
// rest: room here, a record in the module's own header. Made on first use, freed when the thread
// ends.
#pragma once

#include "platform_tls.h"
#include "zut.h"

#include <cstddef>
#include <new>
#include <type_traits>

struct ThreadTexts; // the thread's result buffers, threadblock.cpp
struct ThreadBlock;

// Room for a module's record, all zeros at first.
template <size_t Size>
struct ThreadPart {
  alignas(uint64_t) unsigned char room[Size];
  void (*end)(ThreadBlock &block); // frees what the record owns; set with the first of it
};

template <class T, size_t Size>
T &utThreadPart(ThreadPart<Size> &part) {
  static_assert(std::is_trivially_destructible_v<T> && sizeof(T) <= Size);
  return *std::launder(reinterpret_cast<T *>(part.room));
}

template <class T, size_t Size>
const T &utThreadPart(const ThreadPart<Size> &part) {
  return utThreadPart<T>(const_cast<ThreadPart<Size> &>(part));
}

struct ThreadState {
  int32_t typed;
  int32_t error;
  uint32_t jumps; // of error reports to the program's jump point
  ThreadTexts *texts;
  ThreadPart<48> errnum;   // core/errnum
  ThreadPart<8> report;    // core/utout
  ThreadPart<16> command;  // config/command/source.h
  ThreadPart<32> callback; // callback/listlock.h
  ThreadPart<8> thread;    // thread/utthread.h
  ThreadPart<144> rwmutex; // thread/rwmutex
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
