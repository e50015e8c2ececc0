#include "support/child.h"
#include "support/flag.h"

#include <atomic>
#include <functional>
#include <limits>
#include <random>
#include <thread>

namespace {

class RwMutex : public ::testing::Test {
protected:
  void SetUp() override {
    ZutInitThreads();
    mutex = ZutRwMutexCreate(0, 4);
  }
  void TearDown() override { ZutRwMutexDestroy(mutex); }

  int read() { return ZutRwMutexReadLock(mutex); }
  int write() { return ZutRwMutexWriteLock(mutex); }
  int unlock() { return ZutRwMutexUnlock(mutex); }
  int upgrade(double timeout) { return ZutRwMutexUpgradeLock(mutex, timeout); }
  bool reads() { return ZutRwMutexReadLocked(mutex); }
  bool writes() { return ZutRwMutexWriteLocked(mutex); }

  ZutRwMutex *mutex = nullptr;
};

// Another thread that does what it is told, one thing at a time.
class Other {
public:
  Other() : thread_([this] { run(); }) {}
  ~Other() {
    start([this] { end_ = true; });
    thread_.join();
  }
  void start(std::function<void()> work) {
    finish();
    work_ = std::move(work);
    begun_.set(false);
    busy_.set();
  }
  void finish() { busy_.wait(false); }
  // Runs it to its end.
  template <class F>
  int get(F work) {
    int result = 0;
    start([&] { result = work(); });
    finish();
    return result;
  }
  // It has begun and does not end: long enough to call it blocked.
  bool isBlocked() {
    begun_.wait();
    ZutSleep(0.04);
    return busy_.get();
  }

private:
  void run() {
    while (!end_) {
      busy_.wait();
      begun_.set();
      work_();
      busy_.set(false);
    }
  }
  Flag busy_, begun_;
  bool end_ = false;
  std::function<void()> work_;
  std::thread thread_;
};

} // namespace

TEST_F(RwMutex, ArgumentsAreChecked) {
  for (int32_t quota : {0, 33, -1}) {
    ZutErrNumSet(0);
    EXPECT_EQ(ZutRwMutexCreate(0, quota), nullptr);
    EXPECT_EQ(ZutErrNumGet(), 7);
    EXPECT_EQ(ZutRwMutexSetReadQuota(mutex, quota), 0);
  }
  EXPECT_EQ(ZutRwMutexCreate(2, 1), nullptr);
  int32_t quota = 0;
  for (int32_t result : {ZutRwMutexReadLock(nullptr), ZutRwMutexWriteLock(nullptr),
                         ZutRwMutexUnlock(nullptr), ZutRwMutexUpgradeLock(nullptr, 9.0),
                         ZutRwMutexDestroy(nullptr), ZutRwMutexGetReadQuota(nullptr, &quota)}) {
    EXPECT_EQ(result, 0);
    EXPECT_EQ(ZutErrNumGet(), 7);
  }
  EXPECT_EQ(ZutRwMutexGetReadQuota(mutex, nullptr), 0);
  EXPECT_EQ(ZutErrNumGet(), 3);
  for (double timeout : {-0.5, -2.0, std::numeric_limits<double>::quiet_NaN()}) {
    ZutErrNumSet(0);
    EXPECT_EQ(upgrade(timeout), 0);
    EXPECT_EQ(ZutErrNumGet(), 4);
  }
  EXPECT_EQ(upgrade(0.0), 1); // free: nothing to do
  EXPECT_FALSE(writes());
}

TEST_F(RwMutex, QuotaGrowsWithTheReaders) {
  Other others[3];
  int32_t quota = 0;
  EXPECT_EQ(ZutRwMutexSetReadQuota(mutex, 1), 1);
  for (int32_t readers = 1; readers <= 3; ++readers) {
    EXPECT_EQ(others[readers - 1].get([&] { return read() && read(); }), 1);
    ZutRwMutexGetReadQuota(mutex, &quota);
    EXPECT_EQ(quota, readers);
  }
  for (Other &other : others) EXPECT_EQ(other.get([&] { return unlock() && unlock(); }), 1);
  EXPECT_EQ(ZutRwMutexSetReadQuota(mutex, 32), 1);
  ZutRwMutexGetReadQuota(mutex, &quota);
  EXPECT_EQ(quota, 32);
}

TEST_F(RwMutex, ManyAtOnceInOneThread) {
  ZutRwMutex *many[40];
  Other other;
  for (int round = 0; round < 2; ++round) {
    for (ZutRwMutex *&one : many) one = ZutRwMutexCreate(0, 1);
    for (ZutRwMutex *one : many) EXPECT_EQ(ZutRwMutexReadLock(one) + ZutRwMutexReadLock(one), 2);
    for (ZutRwMutex *one : many) EXPECT_EQ(ZutRwMutexUnlock(one), 1);
    for (ZutRwMutex *one : many) EXPECT_TRUE(ZutRwMutexReadLocked(one));
    for (ZutRwMutex *one : many) EXPECT_EQ(ZutRwMutexUpgradeLock(one, 0.0), 1);
    for (ZutRwMutex *one : many) EXPECT_EQ(ZutRwMutexUnlock(one), 1);
    for (ZutRwMutex *one : many) EXPECT_EQ(ZutRwMutexUnlock(one), 0);
    for (ZutRwMutex *one : many) ZutRwMutexReadLock(one);
    for (ZutRwMutex *one : many)
      ZutRwMutexDestroy(one); // while read: the next round is not confused
  }
}

TEST_F(RwMutex, OnlyReaderUpgradesAtOnce) {
  Other other;
  read(), read();
  EXPECT_EQ(upgrade(0.0), 1);
  EXPECT_TRUE(writes());
  EXPECT_EQ(unlock(), 1);
  EXPECT_TRUE(writes()); // two read locks, two unlocks
  EXPECT_EQ(unlock(), 1);
  EXPECT_FALSE(writes());

  read();
  other.get([&] { return read(); });
  EXPECT_EQ(upgrade(0.0), 0);
  EXPECT_EQ(ZutErrNumGet(), 9);
  EXPECT_TRUE(reads());
  EXPECT_EQ(other.get([&] { return unlock() && upgrade(0.0); }), 0); // does not read, others do
  EXPECT_EQ(write(), 1); // a reader that writes: one lock more
  EXPECT_TRUE(writes());
  EXPECT_EQ(unlock() + unlock(), 2);
  EXPECT_FALSE(reads());
}

TEST_F(RwMutex, UpgradeWaitsForTheOthersAndGoesBeforeWriters) {
  Other reader, writer, upgrader;
  reader.get([&] { return read(); });
  upgrader.get([&] { return read(); });
  writer.start([&] { write(); });
  EXPECT_TRUE(writer.isBlocked());
  upgrader.start([&] { upgrade(-1.0); });
  EXPECT_TRUE(upgrader.isBlocked());
  reader.get([&] { return unlock(); });
  upgrader.finish();
  EXPECT_TRUE(upgrader.get([&] { return writes(); }));
  EXPECT_TRUE(writer.isBlocked());
  upgrader.get([&] { return unlock(); });
  writer.finish();
  EXPECT_EQ(writer.get([&] { return unlock(); }), 1);
}

TEST_F(RwMutex, UpgradeThatGivesUpLetsReadersIn) {
  Other reader, upgrader, late;
  reader.get([&] { return read(); });
  upgrader.get([&] { return read(); });
  int error = 0;
  upgrader.start([&] { error = upgrade(0.5) ? 0 : ZutErrNumGet(); });
  EXPECT_TRUE(upgrader.isBlocked());
  late.start([&] { read(); });
  EXPECT_TRUE(late.isBlocked());
  upgrader.finish();
  EXPECT_EQ(error, 9);
  late.finish(); // though the mutex was never free
  EXPECT_TRUE(upgrader.get([&] { return reads() && !writes(); }));
  for (Other *other : {&reader, &upgrader, &late}) {
    EXPECT_EQ(other->get([&] { return unlock(); }), 1);
  }
  EXPECT_EQ(write() && unlock(), 1);
}

// Two readers upgrade: the second writes, alone as the first one's lock is set aside; the first
// gives up meanwhile. It must neither read beside the writer nor make the mutex look free.
TEST_F(RwMutex, UpgradeThatGivesUpDoesNotReadBesideAWriter) {
  Other first, second, writer;
  first.get([&] { return read(); });
  second.get([&] { return read() && read(); });
  int error = 0;
  first.start([&] { error = upgrade(0.4) ? 0 : ZutErrNumGet(); });
  EXPECT_TRUE(first.isBlocked());
  EXPECT_EQ(second.get([&] { return upgrade(1.0); }), 1);
  writer.start([&] { write(); });
  ZutSleep(0.4); // the first one's timeout is over
  EXPECT_TRUE(first.isBlocked());
  EXPECT_TRUE(writer.isBlocked());
  EXPECT_EQ(second.get([&] { return unlock(); }), 1);
  EXPECT_TRUE(first.isBlocked()); // one level is left
  EXPECT_EQ(second.get([&] { return unlock(); }), 1);
  first.finish();
  EXPECT_EQ(error, 9);
  EXPECT_TRUE(first.get([&] { return reads() && !writes(); }));
  EXPECT_TRUE(writer.isBlocked());
  EXPECT_EQ(first.get([&] { return unlock(); }), 1);
  writer.finish(); // no reader is left over
  EXPECT_EQ(writer.get([&] { return unlock(); }), 1);
}

// Random operations of several threads against what each thread knows of itself, and against who
// may be inside together. `data` has no protection but the mutex.
TEST_F(RwMutex, KeepsItsPromisesUnderLoad) {
  std::atomic<int> readersInside{0}, writersInside{0}, wrong{0};
  int64_t data = 0;
  int64_t writes = 0; // by all threads
  const auto check = [&](bool right) { wrong += right ? 0 : 1; };
  std::atomic<int> waiting{4}; // for one another, to begin together
  const auto work = [&](uint32_t seed) {
    constexpr int steps = 20000;
    std::mt19937 random(seed);
    int reading = 0, writing = 0; // locks of this thread
    const auto enterWriting = [&](int depth) {
      writing = depth;
      reading = 0;
      check(writersInside++ == 0 && readersInside == 0);
    };
    const auto step = [&](uint32_t kind) {
      if (kind < 3 && reading + writing < 4) {
        ZutRwMutexReadLock(mutex);
        if (writing) ++writing;
        else if (++reading == 1) ++readersInside;
      } else if (kind == 3 && writing < 4) {
        if (reading) --readersInside; // its locks may be set aside now
        ZutRwMutexWriteLock(mutex);
        if (writing) ++writing;
        else enterWriting(reading + 1);
      } else if (kind == 4 && reading) {
        --readersInside;
        const double timeouts[] = {0.0, 0.0005, 0.002, -1.0};
        if (ZutRwMutexUpgradeLock(mutex, timeouts[random() % 4])) {
          enterWriting(reading);
        } else {
          check(ZutErrNumGet() == 9);
          ++readersInside;
        }
      } else if (reading || writing) {
        if (writing == 1) --writersInside;
        if (reading == 1) --readersInside;
        check(ZutRwMutexUnlock(mutex) == 1);
        writing ? --writing : --reading;
      } else {
        check(ZutRwMutexUnlock(mutex) == 0);
      }
    };
    for (--waiting; waiting > 0;) std::this_thread::yield();
    for (int n = 0; n < steps || reading + writing > 0; ++n) {
      step(n < steps ? random() % 8 : 7);
      check(ZutRwMutexWriteLocked(mutex) == (writing > 0));
      check(ZutRwMutexReadLocked(mutex) == (reading + writing > 0));
      if (reading) check(writersInside == 0 && data >= 0);
      if (writing) ++writes, ++data, check(ZutRwMutexUpgradeLock(mutex, 0.0) == 1);
    }
  };
  std::thread threads[4];
  for (uint32_t i = 0; i < 4; ++i) threads[i] = std::thread(work, i + 1);
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(data, writes);
  EXPECT_GT(data, 0);
  int32_t quota = 0;
  EXPECT_EQ(ZutRwMutexGetReadQuota(mutex, &quota), 1);
  EXPECT_EQ(quota, 4);
  EXPECT_EQ(write() && unlock(), 1); // nobody was forgotten inside
}
