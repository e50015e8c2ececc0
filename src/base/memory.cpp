// The allocator of the whole library: the runtime heap, whose exhaustion is a fatal error and
// never a null result. Negative sizes and sizes beyond 31 bits count as exhaustion.
//
// A fatal error may return (VN_FATAL_ERROR_CONTINUE). No caller can continue without the block, so
// the process is then aborted.
//
// The two break measures are taken without a lock: a table is created under any lock.
#include "base/memory.h"

#include "base/check.h"
#include "base/stop.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>

namespace {

std::atomic<uintptr_t> highestBreak{0};
std::atomic<uint32_t> initialBreak{0}; // 0: not recorded yet

#ifdef ZUT_FAIL_ALLOC
// In a test build the heap is exhausted from the allocation on whose number the environment names,
// counted from 1.
bool refused() {
  static const char *const wanted = std::getenv("ZUT_FAIL_ALLOC");
  static std::atomic<long> count{0};
  return wanted && ++count >= std::strtol(wanted, nullptr, 10);
}
#else
constexpr bool refused() { return false; }
#endif

// The runtime may answer null to a size of 0, so at least one byte is asked for.
size_t atLeastOne(int32_t size) { return size == 0 ? 1 : static_cast<size_t>(size); }

void *take(int32_t size) { return size < 0 || refused() ? nullptr : std::malloc(atLeastOne(size)); }

void *takeZeroed(int32_t size) {
  return size < 0 || refused() ? nullptr : std::calloc(1, atLeastOne(size));
}

void *resize(void *block, int32_t size) {
  return size < 0 || refused() ? nullptr : std::realloc(block, atLeastOne(size));
}

} // namespace

void *utNewBlock(int64_t count, int64_t size, const char *what, const char *file, int32_t line) {
  utCheck(count >= 0 && size > 0);
  int64_t bytes = 0;
  if (__builtin_mul_overflow(count, size, &bytes) || bytes > INT32_MAX) bytes = -1;
  return ZutCallocCheck(static_cast<int32_t>(bytes), what, file, line);
}

char *utDup(const char *text, const char *what, const char *file, int32_t line) {
  return text ? utDupPart(text, std::strlen(text), what, file, line) : nullptr;
}

char *utDupPart(const char *text, size_t length, const char *what, const char *file, int32_t line) {
  const int32_t size = length < INT32_MAX ? static_cast<int32_t>(length) + 1 : -1;
  char *copy = static_cast<char *>(ZutMallocCheck(size, what, file, line));
  std::memcpy(copy, text, length);
  copy[length] = '\0';
  return copy;
}

extern "C" {

void *Z_CALL ZutMalloc(int32_t size) {
  if (void *block = take(size)) return block;
  ZutFatalError("Out of memory");
  std::abort();
}

void *Z_CALL ZutCalloc(int32_t size) {
  if (void *block = takeZeroed(size)) return block;
  ZutFatalError("Out of memory");
  std::abort();
}

void *Z_CALL ZutRealloc(void *block, int32_t size) {
  if (void *moved = resize(block, size)) return moved;
  ZutFatalError("Out of memory");
  std::abort();
}

void Z_CALL ZutFree(void *block) { std::free(block); }

void *Z_CALL ZutMallocCheck(int32_t size, const char *what, const char *file, int32_t line) {
  if (void *block = take(size)) return block;
  ZutFatalError("Z_MALLOC <%s>: %ld bytes: out of heap: file %s, line %ld", what,
                static_cast<long>(size), file, static_cast<long>(line));
  std::abort();
}

void *Z_CALL ZutCallocCheck(int32_t size, const char *what, const char *file, int32_t line) {
  if (void *block = takeZeroed(size)) return block;
  ZutFatalError("Z_CALLOC <%s>: %ld bytes: out of heap: file %s, line %ld", what,
                static_cast<long>(size), file, static_cast<long>(line));
  std::abort();
}

// Without a block this is an allocation that names this place, not the caller's. Kept.
void *Z_CALL ZutReallocCheck(void *block, int32_t size, const char *what, const char *file,
                             int32_t line) {
  if (!block) return ZutMallocCheck(size, "var", "util", 1677);
  if (void *moved = resize(block, size)) return moved;
  ZutFatalError("Z_REALLOC <%s>: %ld bytes: out of heap: file %s, line %ld", what,
                static_cast<long>(size), file, static_cast<long>(line));
  std::abort();
}

void Z_CALL ZutFreeCheck(void *block, const char *, const char *, int32_t) { ZutFree(block); }

// Only differences between two readings mean something, so the low 32 bits of an address do.
uint32_t Z_CALL ZutGetCurrentSbrk() {
  void *block = ZutMalloc(0);
  const auto address = reinterpret_cast<uintptr_t>(block);
  ZutFree(block);
  uintptr_t highest = highestBreak;
  // NOLINTBEGIN(clang-analyzer-unix.Malloc): a number, no longer an address
  while (address > highest && !highestBreak.compare_exchange_weak(highest, address)) {
  }
  return static_cast<uint32_t>(std::max(address, highest));
  // NOLINTEND(clang-analyzer-unix.Malloc)
}

void Z_CALL ZutSetInitialSbrk() {
  if (initialBreak != 0) return;
  uint32_t none = 0;
  initialBreak.compare_exchange_strong(none, ZutGetCurrentSbrk());
}

uint32_t Z_CALL ZutGetInitialSbrk() {
  ZutSetInitialSbrk();
  return initialBreak;
}

} // extern "C"
