// Safe strings: a text in a record that the caller owns. Invariant: length + 1 <= capacity, and the
// text ends with a NUL.
#include "base/check.h"
#include "base/memory.h"

#include <algorithm>
#include <charconv>

namespace {

constexpr int32_t Z_STEP = 256;

int32_t sizeOrFail(int64_t size) { return size <= INT32_MAX ? static_cast<int32_t>(size) : -1; }

// Makes room for `length` characters: the capacity grows by whole steps, in one reallocation. A
// size beyond 31 bits is exhausted memory.
void grow(ZutSafeString &string, int64_t length, int32_t step) {
  const int64_t by = std::max(step, 1);
  const int64_t missing = length + 1 - string.capacity;
  const int64_t capacity = string.capacity + (missing + by - 1) / by * by;
  utCheck(missing > 0 && capacity > length);
  string.str = static_cast<char *>(Z_REALLOC(string.str, sizeOrFail(capacity), "dest->str"));
  string.capacity = static_cast<int32_t>(capacity);
}

// Grows. Returns the new place of `text`, which may lie in the string itself.
[[gnu::noinline]] const char *makeRoom(ZutSafeString &string, int64_t length, const char *text,
                                       int32_t step) {
  const uintptr_t offset =
      reinterpret_cast<uintptr_t>(text) - reinterpret_cast<uintptr_t>(string.str);
  const bool inside = offset < static_cast<uintptr_t>(string.capacity);
  grow(string, length, step);
  return inside ? string.str + offset : text;
}

// Puts a text of `count` characters and its end at `place`.
inline ZutSafeString *put(ZutSafeString &string, int32_t place, const char *text, size_t count,
                          int32_t step) {
  const int64_t length = static_cast<int64_t>(count) + place;
  if (length >= string.capacity) [[unlikely]]
    text = makeRoom(string, length, text, step);
  string.length = static_cast<int32_t>(length);
  utCheck(string.length < string.capacity);
  std::memmove(string.str + place, text, count + 1);
  return &string;
}

} // namespace

extern "C" {

ZutSafeString *Z_CALL ZutSafeStringCreate(ZutSafeString *out) {
  return ZutSafeStringQCreate(out, Z_STEP);
}

ZutSafeString *Z_CALL ZutSafeStringQCreate(ZutSafeString *out, int32_t size) {
  out->capacity = std::max(size, 1);
  out->str = static_cast<char *>(Z_MALLOC(out->capacity, "safe_str.str"));
  out->str[0] = '\0';
  out->length = 0;
  return out;
}

void Z_CALL ZutSafeStringDestroy(ZutSafeString string) { Z_FREE(string.str, "safe_str.str"); }

ZutSafeString *Z_CALL ZutSafeStringAppend(ZutSafeString *string, const char *text) {
  return ZutSafeStringQAppend(string, text, Z_STEP);
}

ZutSafeString *Z_CALL ZutSafeStringQAppend(ZutSafeString *string, const char *text, int32_t step) {
  return put(*string, string->length, text, std::strlen(text), step);
}

ZutSafeString *Z_CALL ZutSafeStringAppendChar(ZutSafeString *string, char character) {
  return ZutSafeStringQAppendChar(string, character, Z_STEP);
}

ZutSafeString *Z_CALL ZutSafeStringQAppendChar(ZutSafeString *string, char character,
                                               int32_t step) {
  const char text[] = {character, '\0'};
  return put(*string, string->length, text, 1, step);
}

ZutSafeString *Z_CALL ZutSafeStringAppendInt4(ZutSafeString *string, int32_t number) {
  constexpr int32_t most = 11; // -2147483648
  char digits[most + 1];
  const bool fits = string->capacity - string->length > most; // fast path: written in place
  char *start = fits ? string->str + string->length : digits;
  char *end = std::to_chars(start, start + most, number).ptr;
  *end = '\0';
  if (!fits) return put(*string, string->length, digits, static_cast<size_t>(end - start), Z_STEP);
  string->length += static_cast<int32_t>(end - start);
  return string;
}

char *Z_CALL ZutSafeStringPrepend(ZutSafeString *string, const char *text) {
  ZutSafeString result;
  ZutSafeStringCreate(&result);
  ZutSafeStringAppend(&result, text);
  ZutSafeStringAppend(&result, string->str);
  ZutSafeStringDestroy(*string);
  *string = result;
  return result.str;
}

ZutSafeString *Z_CALL ZutSafeStringClear(ZutSafeString *string) {
  if (!string->str) return ZutSafeStringCreate(string);
  string->str[0] = '\0';
  string->length = 0;
  return string;
}

ZutSafeString *Z_CALL ZutSafeStringCopy(ZutSafeString *string, const char *text) {
  return ZutSafeStringQCopy(string, text, Z_STEP);
}

// Not cleared first: the text may lie in the string, and then fits.
ZutSafeString *Z_CALL ZutSafeStringQCopy(ZutSafeString *string, const char *text, int32_t step) {
  if (!string->str) ZutSafeStringCreate(string);
  return put(*string, 0, text, std::strlen(text), step);
}

int32_t Z_CALL ZutSafeStringResize(ZutSafeString *string, int32_t size) {
  if (size <= string->capacity) return 0;
  const int32_t capacity = sizeOrFail((int64_t{size} + Z_STEP - 1) / Z_STEP * Z_STEP);
  string->str = static_cast<char *>(Z_REALLOC(string->str, capacity, "ssp->str"));
  string->capacity = capacity;
  return 1;
}

int32_t Z_CALL ZutSafeStringShorten(ZutSafeString *string, int32_t count) {
  if (count < 0 || count > string->length) return 0;
  string->length -= count;
  string->str[string->length] = '\0';
  return 1;
}

} // extern "C"
