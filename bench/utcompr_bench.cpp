// Whole messages through the driver zlib, against zlib's own calls for whole messages.
#include "support/row.h"

#include "zut.h"

#include <zlib.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int level = 6;

std::string sample(size_t size) {
  std::string text;
  for (int i = 0; text.size() < size; ++i) {
    text +=
        "subscriber " + std::to_string(i % 97) + " received message " + std::to_string(i) + "\n";
  }
  text.resize(size);
  return text;
}

std::vector<uint8_t> packed(const std::string &text) {
  uLongf size = compressBound(text.size());
  std::vector<uint8_t> result(size);
  compress2(result.data(), &size, reinterpret_cast<const Bytef *>(text.data()), text.size(), level);
  result.resize(size);
  return result;
}

ZutBuf *bufferOf(const void *bytes, size_t size) {
  ZutBuf *buffer = ZutBufCreate(static_cast<int32_t>(size));
  std::memcpy(ZutBufAllocAligned(buffer, static_cast<int32_t>(size), 1), bytes, size);
  return buffer;
}

void compressOurs(benchmark::State &state, size_t size) {
  const std::string text = sample(size);
  ZutBuf *source = bufferOf(text.data(), text.size());
  ZutBuf *result = ZutBufCreate(static_cast<int32_t>(compressBound(size)));
  for (auto _ : state) {
    source->offset = result->size = 0;
    benchmark::DoNotOptimize(ZutCompress(result, source));
  }
  ZutBufDestroy(source);
  ZutBufDestroy(result);
}

void compressZlib(benchmark::State &state, size_t size) {
  const std::string text = sample(size);
  std::vector<uint8_t> result(compressBound(size));
  for (auto _ : state) {
    uLongf length = result.size();
    compress2(result.data(), &length, reinterpret_cast<const Bytef *>(text.data()), size, level);
    benchmark::DoNotOptimize(length);
  }
}

void uncompressOurs(benchmark::State &state, size_t size) {
  const std::vector<uint8_t> data = packed(sample(size));
  ZutBuf *source = bufferOf(data.data(), data.size());
  ZutBuf *result = ZutBufCreate(static_cast<int32_t>(size + 16));
  for (auto _ : state) {
    source->offset = result->size = 0;
    benchmark::DoNotOptimize(ZutUncompress(result, source));
  }
  ZutBufDestroy(source);
  ZutBufDestroy(result);
}

void uncompressZlib(benchmark::State &state, size_t size) {
  const std::vector<uint8_t> data = packed(sample(size));
  std::vector<uint8_t> result(size + 16);
  for (auto _ : state) {
    uLongf length = result.size();
    uncompress(result.data(), &length, data.data(), data.size());
    benchmark::DoNotOptimize(length);
  }
}

} // namespace

void addRows() {
  for (const size_t size : {size_t{1024}, size_t{65536}}) {
    const std::string name = size == 1024 ? "1 KB" : "64 KB";
    Row("compress", name)
        .ours([=](auto &state) { compressOurs(state, size); })
        .peer("compress2", [=](auto &state) { compressZlib(state, size); });
    Row("uncompress", name)
        .ours([=](auto &state) { uncompressOurs(state, size); })
        .peer("uncompress", [=](auto &state) { uncompressZlib(state, size); });
  }
}
