// The error word: the codes, and setting one on a hot failing path.
//
// The process-wide word is written on every set; once threads are initialised reads come from
// the thread's own block, so that a set costs one shared store and one thread-local store.
#pragma once

#include "base/processlock.h"
#include "base/threadblock.h"
#include "zut.h"

#include <atomic>

enum class Err : int32_t {
  none = 0,
  c = 1,  // the reason is in errno
  os = 2, // the reason is the platform's last error
  nullPointer = 3,
  tooSmall = 4,
  tooLarge = 5,
  exists = 6,
  invalid = 7,
  notFound = 8,
  timeout = 9,
  endOfFile = 10,
  same = 11,
  unknown = 12,
  required = 13,
  typeInvalid = 14,
  typeMismatch = 15,
  interrupted = 16,
  verifyFailed = 17,
  endOfTraversal = 18,
  empty = 19,
  valueMismatch = 20,
  typeUnknown = 21,
  corrupt = 24,
  wouldBlock = 25,
  readOnly = 28,
  socket = 29,
  noMemory = 30,
  unsupported = 31,
  objectInUse = 32,
  inUse = 517,
};

extern std::atomic<int32_t> utErrWord;

inline void utErrSet(Err error) {
  utErrWord.store(static_cast<int32_t>(error), std::memory_order_relaxed);
  if (utThreadsOn()) utThreadBlock().error = static_cast<int32_t>(error);
}

// The library's error number of this thread. Makes no block, so that a fatal report of exhausted
// memory can read it.
inline Err utErrGet() {
  if (!utThreadsOn()) return static_cast<Err>(utErrWord.load(std::memory_order_relaxed));
  const auto *block = static_cast<ThreadBlock *>(utPlatThreadBlockGet());
  return block ? static_cast<Err>(block->error) : Err::none;
}

// For `return utFail(Err::notFound);`: sets the number, returns 0.
inline int32_t utFail(Err error) {
  utErrSet(error);
  return 0;
}

// The same where a null handle or pointer is the failing result.
inline std::nullptr_t utFailNull(Err error) {
  utErrSet(error);
  return nullptr;
}
