#include "support/child.h"
#include "support/errors.h"

#include <cstring>
#include <random>

namespace {

// A buffer and what it should hold.
struct Pair {
  ZutBuf *buffer;
  std::string bytes;
  int32_t offset;
  bool takes(int64_t size) const { return !buffer->is_static || size <= buffer->capacity; }
};

int32_t roundedUp(int32_t n, int32_t step) { return (n + step - 1) / step * step; }

} // namespace

// A growing and a static buffer, written from each other and from themselves.
TEST(Buffer, AgreesWithAString) {
  char memory[300];
  Pair pairs[2] = {{ZutBufCreate(1), "", 0}, {ZutBufCreateStatic(memory, 300), "", 0}};
  std::mt19937 random(1);
  const auto upTo = [&](int32_t n) { return static_cast<int32_t>(random() % (n + 1u)); };
  for (int step = 0; step < 50000; ++step) {
    Pair &to = pairs[upTo(1)], &from = pairs[upTo(1)];
    const int32_t size = to.buffer->size, alignment = 1 << upTo(4);
    const int32_t start = upTo(from.buffer->size);
    const int32_t length = std::min(upTo(60), from.buffer->size - start), end = start + length;
    const auto resized = [&](bool done, int32_t wanted) { // what is new has any contents
      ASSERT_EQ(done, to.takes(wanted));
      if (!done) return;
      if (wanted > size) std::memset(to.buffer->data + size, step, wanted - size);
      to.bytes.resize(wanted, static_cast<char>(step));
    };
    const auto appended = [&](const void *where, const std::string &bytes) {
      ASSERT_EQ(where, to.takes(size + bytes.size()) ? to.buffer->data + size : nullptr);
      if (where) to.bytes += bytes;
    };
    const int kind = upTo(6);
    if (kind == 0) {
      const void *room = ZutBufAllocAligned(to.buffer, length, alignment);
      resized(room, roundedUp(size, alignment) + length);
      ASSERT_TRUE(!room || room == to.buffer->data + to.buffer->size - length);
    } else if (kind == 1) {
      const void *piece = ZutBufNextAligned(to.buffer, length, alignment);
      to.offset = roundedUp(to.offset, alignment);
      ASSERT_EQ(piece, to.offset + length <= size ? to.buffer->data + to.offset : nullptr);
      if (piece) to.offset += length;
    } else if (kind == 2) {
      const int32_t unread = std::max(0, from.buffer->size - from.offset), count = upTo(unread);
      const std::string bytes = count ? from.bytes.substr(from.offset, count) : "";
      void *where = ZutBufAppendBuf(to.buffer, from.buffer, count == unread ? -1 : count);
      if (where) from.offset += count;
      appended(where, bytes);
    } else if (kind == 3) {
      const std::string bytes = from.bytes.substr(start, length);
      const int32_t stop = end == from.buffer->size ? -1 : end;
      appended(ZutBufAppendRange(to.buffer, from.buffer, start, stop), bytes);
    } else if (kind == 4) {
      ASSERT_EQ(ZutBufDeleteRange(from.buffer, start, end), 1);
      from.bytes.erase(start, length);
    } else if (kind == 5) {
      ASSERT_EQ(ZutBufRewind(from.buffer, from.buffer->data + start), 1);
      from.offset = start;
    } else {
      const int32_t wanted = upTo(size + 40);
      const bool reset = wanted <= size && upTo(1);
      resized(reset ? ZutBufReset(to.buffer, to.buffer->data + wanted)
                    : ZutBufSetSize(to.buffer, wanted),
              wanted);
      if (wanted <= size) to.offset = std::min(to.offset, wanted);
    }
    for (const Pair &pair : pairs) {
      const ZutBuf &b = *pair.buffer;
      ASSERT_EQ(std::string(reinterpret_cast<char *>(b.data), b.size), pair.bytes) << step;
      ASSERT_EQ(b.offset, pair.offset);
      ASSERT_LE(b.size, b.capacity);
    }
  }
  for (const Pair &pair : pairs) EXPECT_EQ(ZutBufDestroy(pair.buffer), 1);
}

TEST(Buffer, Capacities) {
  const struct {
    int32_t first, minimum, capacity;
  } rows[] = {{0, 1, 2048},   {1, 1, 16},      {1, 2, 16},       {100, 99, 100},
              {50, 100, 160}, {100, 100, 160}, {7, 10000, 12512}};
  for (const auto &row : rows) {
    ZutBuf *buffer = ZutBufCreate(row.first);
    EXPECT_EQ(ZutBufGrow(buffer, row.minimum), 1);
    EXPECT_EQ(buffer->capacity, row.capacity) << row.minimum;
    EXPECT_ERROR(4, ZutBufGrow(buffer, 0));
    ZutBufDestroy(buffer);
  }
  EXPECT_ERROR(4, ZutBufCreate(-1));
}

CHILD(factor) {
  ZutBuf *buffer = ZutBufCreate(20);
  for (const double factor : {0.0, 3.0, 3.0}) {
    ZutOptionSetNum(ZutOptionLookup("_buffer_resize_factor"), factor);
    ZutBufGrow(buffer, buffer->capacity);
    ZutOut("%ld ", static_cast<long>(buffer->capacity));
  }
  ZutOut("%g\n", ZutBufGetResizeFactor());
}

TEST(Buffer, TheFactorIsReadOnce) { EXPECT_EQ(runChild("factor").out, "32 48 64 0\n"); }

TEST(Buffer, NumbersThatDoNotFit) {
  char memory[40];
  std::memset(memory, 'x', sizeof memory);
  ZutBuf *grows = ZutBufCreate(40), *fixed = ZutBufCreateStatic(memory, 40);
  for (ZutBuf *buffer : {grows, fixed}) {
    const int32_t noRoom = buffer == fixed ? 7 : 5;
    EXPECT_EQ(ZutBufSetSize(buffer, 40), 1);
    for (auto next : {ZutBufAllocAligned, ZutBufNextAligned}) {
      EXPECT_ERROR(4, next(buffer, -1, 1));
      for (int32_t alignment : {0, 3, -4, INT32_MIN, INT32_MAX})
        EXPECT_ERROR(7, next(buffer, 1, alignment));
    }
    EXPECT_ERROR(noRoom, ZutBufAllocAligned(buffer, INT32_MAX, 1));
    EXPECT_ERROR(noRoom, ZutBufAllocAligned(buffer, INT32_MAX, 1 << 30));
    EXPECT_ERROR(0, ZutBufNextAligned(buffer, INT32_MAX, 1));
    for (int32_t length : {41, -2, INT32_MAX, INT32_MIN})
      EXPECT_ERROR(7, ZutBufAppendBuf(buffer, buffer, length));
    const int32_t ranges[][2] = {{5, 4}, {-1, 3}, {41, -1}, {0, 41}, {0, -2}, {1, INT32_MIN}};
    for (const auto &range : ranges) {
      const int32_t start = range[0], end = range[1], error = start == 5 ? 4 : 7;
      EXPECT_ERROR(error, ZutBufAppendRange(buffer, buffer, start, end));
      EXPECT_ERROR(error, ZutBufCloneRange(buffer, start, end));
      EXPECT_ERROR(error, ZutBufDeleteRange(buffer, start, end));
    }
    for (const void *place : {buffer->data - 1, buffer->data + 41}) {
      EXPECT_ERROR(7, ZutBufReset(buffer, place));
      EXPECT_ERROR(7, ZutBufRewind(buffer, place));
    }
    EXPECT_ERROR(4, ZutBufSetSize(buffer, -1));
    EXPECT_TRUE(buffer->size == 40 && buffer->offset == 0 && buffer->capacity == 40);
    EXPECT_EQ(ZutBufNextAligned(buffer, 5, 1), buffer->data);
    EXPECT_ERROR(0, ZutBufNextAligned(buffer, 1, 1 << 30)); // the position is now past the end
    EXPECT_NE(ZutBufAppendBuf(buffer, buffer, -1), nullptr);
    EXPECT_EQ(buffer->size, 40);
  }
  EXPECT_ERROR(7, ZutBufSetSize(fixed, 41));
  EXPECT_ERROR(7, ZutBufGrow(fixed, 41));
  EXPECT_EQ(fixed->data, reinterpret_cast<uint8_t *>(memory));
  ZutBuf *clone = ZutBufCloneRange(fixed, 30, -1), *empty = ZutBufCloneRange(fixed, 3, 3);
  EXPECT_EQ(std::string(reinterpret_cast<char *>(clone->data), clone->size), "xxxxxxxxxx");
  EXPECT_TRUE(clone->capacity == 10 && empty->capacity == 2048 && empty->size == 0);
  for (ZutBuf *buffer : {grows, fixed, clone, empty}) ZutBufDestroy(buffer);
}
