// Typed forms of the checked allocator. Exhausted memory never returns.
#pragma once

#include "zut.h"

#include <cstring>
#include <type_traits>

// A zero-filled record.
template <class T>
T *utNew(const char *what, const char *file = __builtin_FILE(), int32_t line = __builtin_LINE()) {
  static_assert(std::is_trivially_destructible_v<T>);
  return static_cast<T *>(ZutCallocCheck(static_cast<int32_t>(sizeof(T)), what, file, line));
}

// `count` zero-filled elements; a size beyond 31 bits ends in the fatal report.
void *utNewBlock(int64_t count, int64_t size, const char *what, const char *file, int32_t line);

template <class T>
T *utNewArray(int64_t count, const char *what, const char *file = __builtin_FILE(),
              int32_t line = __builtin_LINE()) {
  return static_cast<T *>(utNewBlock(count, sizeof(T), what, file, line));
}

// A copy of a text (null stays null), freed with Z_FREE.
char *utDup(const char *text, const char *what, const char *file = __builtin_FILE(),
            int32_t line = __builtin_LINE());
// A copy of `length` characters, terminated.
char *utDupPart(const char *text, size_t length, const char *what,
                const char *file = __builtin_FILE(), int32_t line = __builtin_LINE());
