#include "support/errors.h"
#include "support/flag.h"

#include <atomic>
#include <functional>
#include <limits>
#include <random>
#include <thread>

namespace {

// Another thread, which runs one function at a time.
class Other {
public:
  Other() : thread_([this] { run(); }) {}
  ~Other() {
    start([this] { return end_ = true, '='; });
    thread_.join();
  }
  void start(std::function<char()> work) {
    finish();
    work_ = std::move(work);
    begun_.set(false);
    busy_.set();
  }
  char finish() {
    busy_.wait(false);
    return result_;
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
      result_ = work_();
      busy_.set(false);
    }
  }
  Flag busy_, begun_;
  bool end_ = false;
  char result_ = 0;
  std::function<char()> work_;
  std::thread thread_;
};

class RwMutex : public ::testing::Test {
protected:
  void SetUp() override {
    ZutInitThreads();
    mutex = ZutRwMutexCreate(0, 1);
  }
  void TearDown() override { ZutRwMutexDestroy(mutex); }

  char act(char kind) {
    int32_t quota = 0;
    switch (kind) {
    case 'r': return result(ZutRwMutexReadLock(mutex));
    case 'w': return result(ZutRwMutexWriteLock(mutex));
    case '-': return result(ZutRwMutexUnlock(mutex));
    case 'n': return result(ZutRwMutexUpgradeLock(mutex, 0.0));
    case 't': return result(ZutRwMutexUpgradeLock(mutex, 0.4));
    case 'u': return result(ZutRwMutexUpgradeLock(mutex, -1.0));
    case 'q': ZutRwMutexGetReadQuota(mutex, &quota); return static_cast<char>('0' + quota);
    case 'z': ZutSleep(0.4); return '=';
    }
    return ZutRwMutexWriteLocked(mutex) ? 'W' : ZutRwMutexReadLocked(mutex) ? 'R' : '-';
  }
  static char result(int32_t done) { return done ? '=' : static_cast<char>('0' + ZutErrNumGet()); }

  // Each step names a thread, what it does, and the result: "=" done, a digit: the error or the
  // quota, "?" it blocks. r, w, - lock and unlock; n, t, u upgrade without waiting, for 0.4
  // seconds, for ever; "." ends what has blocked; h asks what is held; z sleeps as long as t waits.
  void play(const char *script) {
    Other threads[3];
    for (const char *step = script; *step; step += step[3] ? 4 : 3) {
      SCOPED_TRACE(step);
      Other &thread = threads[step[0] - 'a'];
      if (step[1] != '.') thread.start([this, kind = step[1]] { return act(kind); });
      if (step[2] == '?') EXPECT_TRUE(thread.isBlocked());
      else EXPECT_EQ(thread.finish(), step[2]);
    }
  }

  ZutRwMutex *mutex = nullptr;
};

} // namespace

TEST_F(RwMutex, ArgumentsAreChecked) {
  for (int32_t quota : {0, 33, -1}) {
    EXPECT_ERROR(7, ZutRwMutexCreate(0, quota));
    EXPECT_ERROR(7, ZutRwMutexSetReadQuota(mutex, quota));
  }
  EXPECT_ERROR(7, ZutRwMutexCreate(2, 1));
  for (double timeout : {-0.5, -2.0, std::numeric_limits<double>::quiet_NaN()})
    EXPECT_ERROR(4, ZutRwMutexUpgradeLock(mutex, timeout));
  play("an= ah-"); // free: nothing to upgrade
  EXPECT_EQ(ZutRwMutexSetReadQuota(mutex, 9), 1);
  play("aq9");
}

TEST_F(RwMutex, QuotaGrowsWithTheReaders) {
  play("ar= ar= aq1 br= br= aq2 cr= aq3 a-= a-= b-= b-= c-= c-7 ah- bh- ch- aq3");
}

TEST_F(RwMutex, ManyAtOnceInOneThread) {
  ZutRwMutex *many[40];
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
      ZutRwMutexDestroy(one); // still read: the next round is not confused
  }
}

// Two read locks need two unlocks. A thread that does not read may not upgrade while others read;
// a reader that takes the write lock has one lock more.
TEST_F(RwMutex, OnlyReaderUpgradesAtOnce) {
  play("ar= ar= an= ahW a-= ahW a-= ah- ar= br= an9 ahR b-= bn7 aw= ahW a-= a-= ah-");
}

TEST_F(RwMutex, UpgradeWaitsForTheOthersAndGoesBeforeWriters) {
  play("ar= br= cw? bu? a-= b.= bhW c.? b-= c.= c-=");
}

// The late reader gets in though the mutex was never free.
TEST_F(RwMutex, UpgradeThatGivesUpLetsReadersIn) {
  play("ar= br= bt? cr? b.9 c.= bhR a-= b-= c-= aw= a-=");
}

// Two readers upgrade: the second writes, alone as the first one's lock is set aside, until after
// the first one's timeout. The first must neither read beside the writer nor make the mutex look
// free to another writer.
TEST_F(RwMutex, UpgradeThatGivesUpDoesNotReadBesideAWriter) {
  play("ar= br= br= at? bu= cw? bz= a.? c.? b-= a.? b-= a.9 ahR c.? a-= c.= c-=");
}

// Random operations of several threads against what each thread knows of itself, and against who
// may be inside together. `data` has no protection but the mutex.
TEST_F(RwMutex, KeepsItsPromisesUnderLoad) {
  ZutRwMutexSetReadQuota(mutex, 4);
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
  play("aq4 aw= a-="); // no lock is left over
}
