// The frame for compression, with a driver of the test's own, and the driver zlib through it.
#include "support/child.h"
#include "support/errors.h"

#include <cstring>
#include <random>
#include <thread>

namespace {

// The state of a driver that copies, wants `wanted` bytes of room and counts its calls.
struct Copier {
  int32_t wanted = 0;
  std::vector<int32_t> capacities; // of the destinations it found too small
  int32_t resets = 0, destroyed = 0;
  std::string args; // of the last one
} copier;

void *Z_CALL create(const char *args) {
  copier.args = args ? args : "";
  return copier.args == "refused" ? nullptr : &copier;
}

int32_t Z_CALL copy(void *, ZutBuf *destination, ZutBuf *source, int32_t) {
  if (destination->capacity < copier.wanted) {
    copier.capacities.push_back(destination->capacity);
    ZutErrNumSet(4);
    return 0;
  }
  std::memcpy(destination->data, source->data, static_cast<size_t>(source->size));
  destination->size = source->size;
  return 1;
}

// Which is an error, 24, even for the driver that claims success.
int32_t Z_CALL overrun(void *, ZutBuf *destination, ZutBuf *, int32_t) {
  destination->size = destination->capacity + 1;
  return 1;
}

int32_t Z_CALL getStats(void *, ZutCompressorStats *stats) {
  stats->operations = 3;
  stats->bytes_in = 10;
  stats->bytes_out = 4;
  return 1;
}

int32_t Z_CALL reset(void *) {
  ++copier.resets;
  return 1;
}

void Z_CALL destroy(void *) { ++copier.destroyed; }

void useCopier() {
  copier = {};
  ZutCompressorInit("copier", create, copy, overrun, getStats, reset, destroy);
  ZutCommandParseStr("setopt Compression_Name \"copier\"; setopt Compression_Args \"\"");
}

class Buffer {
public:
  explicit Buffer(const std::string &bytes = "") : buffer_(ZutBufCreate(16)) {
    if (bytes.empty()) return;
    const auto size = static_cast<int32_t>(bytes.size());
    std::memcpy(ZutBufAllocAligned(buffer_, size, 1), bytes.data(), bytes.size());
  }
  ~Buffer() { ZutBufDestroy(buffer_); }
  Buffer(const Buffer &) = delete;
  Buffer &operator=(const Buffer &) = delete;
  operator ZutBuf *() { return buffer_; }
  ZutBuf *operator->() { return buffer_; }
  std::string bytes() const {
    return {reinterpret_cast<const char *>(buffer_->data), static_cast<size_t>(buffer_->size)};
  }

private:
  ZutBuf *buffer_;
};

std::string sample(size_t size) {
  std::string text;
  for (int i = 0; text.size() < size; ++i) text += "line " + std::to_string(i % 1000 * i) + "\n";
  text.resize(size);
  return text;
}

std::string packed(const std::string &text) {
  Buffer source(text), result;
  EXPECT_EQ(ZutCompress(result, source), 1);
  return result.bytes();
}

// Names, and the first byte of what they make.
constexpr std::pair<const char *, char> drivers[] = {
    {"zlib", '\x78'},
#ifndef _WIN32
    {"zstd", '\x28'},
#endif
};

class Compressor : public testing::Test {
protected:
  void SetUp() override {
    ZutInitThreads();
    ZutOutInit();
    ZutOptionSet("Compression_Name", "zlib");
  }
  const Capture output;
};

} // namespace

TEST_F(Compressor, DriversHaveNames) {
  useCopier();
  EXPECT_ERROR(6, ZutCompressorInit("Copier", create, copy, copy, getStats, reset, destroy));
  EXPECT_ERROR(7, ZutCompressorInit("other", create, copy, nullptr, getStats, reset, destroy));
  EXPECT_EQ(ZutCompressorCreate("COPIER", "refused"), nullptr);
  EXPECT_ERROR(8, ZutCompressorCreate("no_such_driver", nullptr));
  EXPECT_NE(output.text().find("no_such_driver."), std::string::npos); // the file it looked for
  EXPECT_EQ(ZutCompressorDestroy(ZutCompressorCreate("ZLIB", nullptr)), 1);
}

TEST_F(Compressor, DestinationGrowsUntilItFits) {
  useCopier();
  copier.wanted = 1000;
  Buffer source("text"), result;
  EXPECT_EQ(ZutCompress(result, source), 1);
  EXPECT_GE(result->capacity, 1000);
  ASSERT_GT(copier.capacities.size(), 3u);
  EXPECT_EQ(copier.capacities[0], 16);
  copier.capacities.push_back(result->capacity);
  for (const int32_t capacity : copier.capacities) EXPECT_EQ(capacity % 16, 0);
  EXPECT_ERROR(24, ZutUncompress(result, source));
  char memory[16];
  ZutBuf *fixed = ZutBufCreateStatic(memory, sizeof memory);
  EXPECT_ERROR(7, ZutCompress(fixed, source));
  ZutBufDestroy(fixed);
}

// Result, error number, how many were destroyed and reset, the arguments of the last one.
static void printPooled(int32_t result) {
  ZutOut("%d %d %d %d %s\n", result, ZutErrNumGet(), copier.destroyed, copier.resets,
         copier.args.c_str());
}

CHILD(pool) {
  Buffer source("text"), result;
  const auto resetFails = [](void *) -> int32_t { return 0; };
  ZutCompressorInit("halting", create, copy, overrun, getStats, nullptr, destroy);
  ZutCompressorInit("stuck", create, copy, overrun, getStats, resetFails, destroy);
  useCopier();
  printPooled(ZutCompress(result, source));
  ZutCommandParseStr("setopt Compression_Args \"a\"");
  printPooled(ZutCompress(result, source));
  ZutCommandParseStr("setopt Compression_Name \"halting\"");
  printPooled(ZutUncompress(result, source)); // in the middle of a stream for ever
  printPooled(ZutCompress(result, source));
  ZutCommandParseStr("setopt Compression_Name \"stuck\"");
  printPooled(ZutUncompress(result, source));
  ZutOut("%d\n", result->size);
  for (int i = 0; i < 20; ++i) ZutCompress(result, source); // never one that could not be reset
  ZutOut("%d\n", copier.destroyed);
}

TEST_F(Compressor, PoolFollowsTheOptionsAndKeepsWhatCanBeUsed) {
  EXPECT_EQ(runChild("pool").out,
            "1 0 0 1 \n1 0 1 1 a\n0 24 3 1 a\n1 24 4 1 a\n0 24 5 1 a\n4\n25\n");
}

TEST_F(Compressor, StatisticsArePrintedEveryHalfMinute) {
  useCopier();
  ZutCommandParseStr("setopt Compression_Stats true; setopt real_number_format \"%.3f\"");
  ZutCompressor *compressor = ZutCompressorCreate(nullptr, nullptr);
  ZutCompressorSetIdent(compressor, "mine");
  Buffer source("text"), result;
  for (int i = 0; i < 3; ++i) ZutCompressorCompress(compressor, result, source, 2);
  ZutCompressorReset(compressor);
  ZutCompressorSetIdent(compressor, nullptr);
  ZutCompressorCompress(compressor, result, source, 2);
  EXPECT_ERROR(7, ZutCompressorCompress(compressor, result, source, 3));
  ZutCompressorDestroy(compressor);
  const std::string out = output.text();
  const size_t first = out.find("mine: copier made 3 compressions, ratio 2.500.");
  EXPECT_NE(first, std::string::npos) << out;
  EXPECT_EQ(out.find("mine", first + 1), std::string::npos) << out;
  EXPECT_NE(out.find("<unknown>: copier"), std::string::npos) << out;
}

TEST_F(Compressor, EachDriverThereAndBack) {
  const std::string skippable("\x50\x2A\x4D\x18\x03\0\0\0abc", 11); // a frame of no text
  for (const auto &[driver, first] : drivers) {
    ZutOptionSet("Compression_Name", driver);
    for (const size_t size : {1, 1000, 65536, 3000000}) {
      const std::string text = sample(size), small = packed(text);
      Buffer source(first == '\x28' ? skippable + small : small);
      Buffer half(small.substr(0, small.size() / 2)), result, none;
      ASSERT_EQ(ZutUncompress(result, source), 1);
      EXPECT_TRUE(small[0] == first && source->offset == source->size && result.bytes() == text);
      EXPECT_ERROR(24, ZutUncompress(none, half));
    }
    for (const char *args : {"20", "-1", "x", "6 "})
      EXPECT_ERROR(7, ZutCompressorCreate(driver, args)) << args;
  }
}

TEST_F(Compressor, StreamsInPiecesLoseNothingForLackOfRoom) {
  for (const auto &each : drivers) {
    const char *driver = each.first;
    ZutCompressor *compressor = ZutCompressorCreate(driver, "9");
    Buffer stream, text;
    const auto run = [&](auto call, ZutBuf *destination, ZutBuf *source, int32_t mode) {
      while (!call(compressor, destination, source, mode)) {
        ASSERT_TRUE(ZutErrNumGet() == 4 && source->offset == 0) << driver;
        ZutBufGrow(destination, destination->capacity + 16);
      }
    };
    std::string whole;
    for (int i = 0; i < 50; ++i) {
      const std::string piece = sample(static_cast<size_t>(i * 40 + 1));
      whole += piece;
      run(ZutCompressorCompress, stream, Buffer(piece), i == 49 ? 2 : i % 2);
    }
    run(ZutCompressorUncompress, text, stream, 2);
    EXPECT_TRUE(text.bytes() == whole) << driver;
    ZutCompressorDestroy(compressor);
  }
}

TEST_F(Compressor, DamagedDataIsAnError) {
  const std::string good = packed(sample(2000));
  ZutCompressor *compressor = ZutCompressorCreate("zlib", nullptr);
  std::mt19937 random(20);
  int refused = 0;
  for (int i = 0; i < 10000; ++i) {
    std::string bad = good;
    const size_t place = random() % bad.size();
    if (i % 2) bad.resize(place);
    else bad[place] = static_cast<char>(bad[place] ^ (1 << random() % 8));
    Buffer source(bad), result;
    ZutBufGrow(result, 4096);
    ZutCompressorReset(compressor);
    refused += !ZutCompressorUncompress(compressor, result, source, 2);
  }
  ZutCompressorDestroy(compressor);
  EXPECT_GE(refused, 9990); // a flipped bit may stand where nothing reads it
}

TEST_F(Compressor, ManyThreadsShareThePool) {
  std::vector<std::thread> threads;
  std::atomic<int> good{0};
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&good, t] {
      for (int i = 0; i < 25; ++i) {
        const std::string text = sample(static_cast<size_t>(500 * t + i + 1));
        Buffer small(packed(text)), result;
        good += ZutUncompress(result, small) && result.bytes() == text;
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(good, 8 * 25);
}
