// Growable buffers: bytes with a write end and a read position.
//
// Sizes have 31 bits. Sums of sizes are computed in 64 bits and checked before they are stored, so
// that no overflow leads to a small allocation. The read position may lie past the size: then
// nothing is unread.
#include "containers/utbuffer.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/setting.h"

#include <algorithm>
#include <atomic>
#include <cmath>

namespace {

constexpr int32_t defaultCapacity = 2048;
constexpr int32_t unit = 16; // of capacities that have grown

// The option is read once, so that growing needs no look-up. Below 0: not yet read.
constinit std::atomic<double> resizeFactor{-1.0};

double factor() {
  double value = resizeFactor.load(std::memory_order_relaxed);
  if (value < 0.0) {
    value = utOptionNumber("_buffer_resize_factor", 1.0);
    resizeFactor.store(value, std::memory_order_relaxed);
  }
  return value;
}

// --- Room ---

int64_t roundUp(int64_t n, int32_t powerOfTwo) {
  return (n + powerOfTwo - 1) & -int64_t{powerOfTwo};
}

// The logarithm of 1 is 0: one byte takes one unit.
int64_t grownCapacity(int32_t n) {
  const double wanted = n > 1 ? (factor() / std::log10(n) + 1.0) * n : unit;
  return roundUp(wanted < INT32_MAX ? static_cast<int64_t>(wanted) : INT32_MAX, unit);
}

// Makes room for n bytes, where n is at least the capacity. Grows even with a factor of 0.
void grow(ZutBuf &buffer, int32_t n) {
  const int64_t larger = roundUp(int64_t{buffer.capacity} + 1, unit);
  const int64_t capacity = std::min<int64_t>(std::max(grownCapacity(n), larger), INT32_MAX);
  utCheck(!buffer.is_static && capacity >= n);
  buffer.capacity = static_cast<int32_t>(capacity);
  buffer.data = static_cast<uint8_t *>(Z_REALLOC(buffer.data, buffer.capacity, "((*buf).data)"));
}

// Room for n bytes in all; false with an error number when there cannot be.
bool reserve(ZutBuf &buffer, int64_t n) {
  if (n <= buffer.capacity) return true;
  if (buffer.is_static) return utFail(Err::invalid);
  if (n > INT32_MAX) return utFail(Err::tooLarge);
  grow(buffer, static_cast<int32_t>(n));
  return true;
}

// --- Places ---

// Not inlined, so that a piece needs no frame.
[[gnu::noinline]] void *refusePiece(int32_t length) {
  return utFailNull(length < 0 ? Err::tooSmall : Err::invalid);
}

bool isPiece(int32_t length, int32_t alignment) {
  return length >= 0 && alignment >= 1 && !(alignment & (alignment - 1));
}

// Replaces an end of -1; false with an error number when a position is outside the buffer.
bool findRange(const ZutBuf &buffer, int32_t start, int32_t &end) {
  if (start < 0 || start > buffer.size || end < -1 || end > buffer.size)
    return utFail(Err::invalid);
  if (end == -1) end = buffer.size;
  return true;
}

// The offset of a pointer into the data; -1 for any other pointer.
int32_t placeOf(const ZutBuf &buffer, const void *position) {
  const uintptr_t place =
      reinterpret_cast<uintptr_t>(position) - reinterpret_cast<uintptr_t>(buffer.data);
  return place <= static_cast<uintptr_t>(buffer.size) ? static_cast<int32_t>(place) : -1;
}

void cut(ZutBuf &buffer, int32_t size) {
  utCheck(size >= 0 && size <= buffer.size);
  buffer.size = size;
  buffer.offset = std::min(buffer.offset, size);
}

// The source's data is read after growing: it may be the same buffer.
void *append(ZutBuf &buffer, const ZutBuf &source, int32_t start, int32_t length) {
  if (!reserve(buffer, int64_t{buffer.size} + length)) return nullptr;
  uint8_t *end = buffer.data + buffer.size;
  std::memmove(end, source.data + start, static_cast<size_t>(length));
  buffer.size += length;
  utCheck(buffer.size <= buffer.capacity);
  return end;
}

ZutBuf *create(void *data, int32_t capacity, int32_t isStatic) {
  auto *buffer = utNew<ZutBuf>("buf");
  buffer->data = static_cast<uint8_t *>(data);
  buffer->capacity = capacity;
  buffer->is_static = isStatic;
  return buffer;
}

} // namespace

bool utBufEnlarge(ZutBuf &buffer) {
  if (buffer.is_static) return utFail(Err::invalid);
  if (buffer.capacity == INT32_MAX) return utFail(Err::tooLarge);
  grow(buffer, buffer.capacity);
  return true;
}

extern "C" {

ZutBuf *Z_CALL ZutBufCreate(int32_t capacity) {
  if (capacity < 0) return utFailNull(Err::tooSmall);
  if (capacity == 0) capacity = defaultCapacity;
  return create(Z_MALLOC(capacity, "((*buf).data)"), capacity, 0);
}

ZutBuf *Z_CALL ZutBufCreateStatic(void *memory, int32_t size) {
  if (!memory) return utFailNull(Err::nullPointer);
  if (size < 1) return utFailNull(Err::tooSmall);
  return create(memory, size, 1);
}

int32_t Z_CALL ZutBufDestroy(ZutBuf *buffer) {
  if (!buffer) return utFail(Err::nullPointer);
  if (!buffer->is_static) Z_FREE(buffer->data, "((*buf).data)");
  *buffer = {};
  Z_FREE(buffer, "buf");
  return 1;
}

int32_t Z_CALL ZutBufGrow(ZutBuf *buffer, int32_t minimum) {
  if (!buffer) return utFail(Err::nullPointer);
  if (buffer->is_static) return utFail(Err::invalid);
  if (minimum < 1) return utFail(Err::tooSmall);
  if (minimum >= buffer->capacity) grow(*buffer, minimum);
  return 1;
}

void *Z_CALL ZutBufAllocAligned(ZutBuf *buffer, int32_t length, int32_t alignment) {
  if (!isPiece(length, alignment)) return refusePiece(length);
  const int64_t start = roundUp(buffer->size, alignment);
  if (!reserve(*buffer, start + length)) return nullptr;
  buffer->size = static_cast<int32_t>(start + length);
  utCheck(buffer->size <= buffer->capacity);
  return buffer->data + start;
}

void *Z_CALL ZutBufAppendBuf(ZutBuf *buffer, ZutBuf *source, int32_t length) {
  if (!buffer || !source) return utFailNull(Err::nullPointer);
  const int32_t start = std::min(source->offset, source->size);
  const int32_t unread = source->size - start;
  if (length < -1 || length > unread) return utFailNull(Err::invalid);
  if (length == -1) length = unread;
  void *bytes = append(*buffer, *source, start, length);
  if (bytes) source->offset += length;
  return bytes;
}

void *Z_CALL ZutBufAppendRange(ZutBuf *buffer, const ZutBuf *source, int32_t start, int32_t end) {
  if (!buffer || !source) return utFailNull(Err::nullPointer);
  if (!findRange(*source, start, end)) return nullptr;
  if (end < start) return utFailNull(Err::tooSmall);
  return append(*buffer, *source, start, end - start);
}

ZutBuf *Z_CALL ZutBufCloneRange(const ZutBuf *source, int32_t start, int32_t end) {
  if (!source) return utFailNull(Err::nullPointer);
  if (!findRange(*source, start, end)) return nullptr;
  ZutBuf *clone = ZutBufCreate(end - start);
  if (clone) append(*clone, *source, start, end - start);
  return clone;
}

int32_t Z_CALL ZutBufDeleteRange(ZutBuf *buffer, int32_t start, int32_t end) {
  if (!buffer) return utFail(Err::nullPointer);
  if (!findRange(*buffer, start, end)) return 0;
  if (end < start) return utFail(Err::tooSmall);
  std::memmove(buffer->data + start, buffer->data + end, static_cast<size_t>(buffer->size - end));
  buffer->size -= end - start;
  utCheck(buffer->size >= start);
  return 1;
}

void *Z_CALL ZutBufNextAligned(ZutBuf *buffer, int32_t length, int32_t alignment) {
  if (!isPiece(length, alignment)) return refusePiece(length);
  // Consecutive calls form a dependency chain, so the usual case is a single addition.
  int64_t start = buffer->offset;
  if (start & (alignment - 1)) [[unlikely]]
    start = roundUp(start, alignment);
  const int64_t end = start + length;
  if (end > buffer->size) {
    if (start <= INT32_MAX) buffer->offset = static_cast<int32_t>(start);
    return nullptr;
  }
  buffer->offset = static_cast<int32_t>(end);
  return buffer->data + start;
}

int32_t Z_CALL ZutBufReset(ZutBuf *buffer, const void *position) {
  if (!buffer) return utFail(Err::nullPointer);
  const int32_t place = position ? placeOf(*buffer, position) : 0;
  if (place < 0) return utFail(Err::invalid);
  cut(*buffer, place);
  return 1;
}

int32_t Z_CALL ZutBufRewind(ZutBuf *buffer, const void *position) {
  if (!buffer) return utFail(Err::nullPointer);
  const int32_t place = position ? placeOf(*buffer, position) : 0;
  if (place < 0) return utFail(Err::invalid);
  buffer->offset = place;
  return 1;
}

int32_t Z_CALL ZutBufSetSize(ZutBuf *buffer, int32_t size) {
  if (!buffer) return utFail(Err::nullPointer);
  if (size < 0) return utFail(Err::tooSmall);
  if (!reserve(*buffer, size)) return 0;
  if (size > buffer->size) buffer->size = size;
  else cut(*buffer, size);
  return 1;
}

double Z_CALL ZutBufGetResizeFactor() { return factor(); }

} // extern "C"
