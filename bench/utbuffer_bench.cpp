// Growable buffers against std::vector<char> (append) and evbuffer (read back).
#include "support/row.h"
#include "zut.h"

#include <event2/buffer.h>

#include <array>
#include <cstring>
#include <vector>

namespace {

using Piece = std::array<char, 40>;
constexpr int pieces = (1 << 20) / static_cast<int>(sizeof(Piece));

Piece piece(int i) {
  Piece made;
  made.fill(static_cast<char>(i));
  return made;
}

// What a reader looks at, where it finds it.
uint32_t firstNumber(const void *bytes) {
  uint32_t number;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

void fill(ZutBuf *buffer) {
  for (int i = 0; i < pieces; ++i) {
    const Piece bytes = piece(i);
    std::memcpy(ZutBufAllocAligned(buffer, sizeof bytes, 1), bytes.data(), sizeof bytes);
  }
}

void appendOurs(benchmark::State &state) {
  for (auto _ : state) {
    ZutBuf *buffer = ZutBufCreate(0);
    fill(buffer);
    benchmark::DoNotOptimize(buffer->data);
    ZutBufDestroy(buffer);
  }
}

void appendVector(benchmark::State &state) {
  for (auto _ : state) {
    std::vector<char> buffer;
    for (int i = 0; i < pieces; ++i) {
      const Piece bytes = piece(i);
      buffer.insert(buffer.end(), bytes.begin(), bytes.end());
    }
    benchmark::DoNotOptimize(buffer.data());
  }
}

void readOurs(benchmark::State &state) {
  ZutBuf *buffer = ZutBufCreate(0);
  fill(buffer);
  for (auto _ : state) {
    ZutBufRewind(buffer, nullptr);
    uint32_t sum = 0;
    while (const void *next = ZutBufNextAligned(buffer, sizeof(Piece), 1)) sum += firstNumber(next);
    benchmark::DoNotOptimize(sum);
  }
  ZutBufDestroy(buffer);
}

void readEvbuffer(benchmark::State &state) {
  evbuffer *buffer = evbuffer_new();
  Piece bytes;
  for (auto _ : state) {
    state.PauseTiming();
    for (int i = 0; i < pieces; ++i) evbuffer_add(buffer, piece(i).data(), sizeof(Piece));
    state.ResumeTiming();
    uint32_t sum = 0;
    while (evbuffer_remove(buffer, bytes.data(), sizeof bytes) > 0)
      sum += firstNumber(bytes.data());
    benchmark::DoNotOptimize(sum);
  }
  evbuffer_free(buffer);
}

} // namespace

void addRows() {
  Row("growable buffer: append 40-byte pieces", "1 MB")
      .ours(appendOurs)
      .peer("std::vector<char>", appendVector);
  Row("growable buffer: read back", "1 MB").ours(readOurs).peer("evbuffer", readEvbuffer);
}
