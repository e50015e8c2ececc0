#include "support/child.h"
#include "support/errors.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <thread>
#include <vector>

#ifndef _WIN32
#  include <sched.h>
#  include <sys/mount.h>
#endif

namespace {

constexpr ZutMutex *(Z_CALL *makers[])(int32_t) = {ZutMutexCreate, ZutMutexCreateFast,
                                                   ZutMutexCreateEx};

template <class F>
auto elsewhere(F function) {
  decltype(function()) result{};
  std::thread([&] { result = function(); }).join();
  return result;
}

// Runs it in several threads at once, to their ends.
template <class F>
void together(int count, F work) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back(work, i);
  for (std::thread &thread : threads) thread.join();
}

double seconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// A name that no other run of the tests uses at the same time.
std::string freshName(const char *kind) {
  return std::string("zut test/") + kind + std::to_string(static_cast<int64_t>(seconds() * 1e9));
}

class Lock : public ::testing::Test {
protected:
  void SetUp() override { ZutInitThreads(); }
};

} // namespace

TEST_F(Lock, BadArgumentsChangeNothing) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const auto make : makers) {
    for (int32_t owner : {-1, 2}) EXPECT_ERROR(7, make(owner));
    ZutMutex *mutex = make(0);
    for (double timeout : {-0.5, -2.0, -std::numeric_limits<double>::infinity(), nan})
      EXPECT_ERROR(7, ZutMutexLock(mutex, timeout));
    ZutMutexLock(mutex, -1.0);
    ZutCond *cond = ZutCondCreate();
    for (double timeout : {0.0, -0.5, nan}) {
      EXPECT_ERROR(7, ZutCondWait(cond, mutex, timeout));
      EXPECT_EQ(elsewhere([&] { return ZutMutexLock(mutex, 0.0); }), 0); // still held
    }
    ZutCondDestroy(cond);
    ZutMutexUnlock(mutex);
    EXPECT_EQ(ZutMutexDestroy(mutex), 1);
  }
  EXPECT_ERROR(7, ZutSpinlockCreate(2));
}

TEST_F(Lock, HolderLocksAgainAndOthersWaitForTheLastUnlock) {
  for (int maker = 0; maker < 3; ++maker) {
    ZutMutex *mutex = makers[maker](1);
    const bool fast = maker > 0;
    const auto tryElsewhere = [&] {
      return elsewhere([&] { return ZutMutexLock(mutex, 0.0) && ZutMutexUnlock(mutex); });
    };
    for (double timeout : {0.0, 0.5, -1.0}) EXPECT_EQ(ZutMutexLock(mutex, timeout), 1);
    for (int held = 4; held > 0; --held) {
      elsewhere([&] {
        EXPECT_ERROR(9, ZutMutexLock(mutex, 0.0));
        EXPECT_ERROR(fast ? 7 : 2, ZutMutexUnlock(mutex)); // held by the other thread
        if (held > 1) return 0;
        const double timeout = fast ? 0.25 : 0.1, start = seconds();
        EXPECT_ERROR(fast ? 0 : 9, ZutMutexLock(mutex, timeout));
        EXPECT_GE(seconds() - start, fast ? 0.29 : 0.08); // three sleeps of 0.1
        return 0;
      });
      EXPECT_EQ(ZutMutexUnlock(mutex), 1);
    }
    EXPECT_TRUE(tryElsewhere());
    EXPECT_ERROR(fast ? 7 : 2, ZutMutexUnlock(mutex)); // held by no thread
    EXPECT_TRUE(tryElsewhere());                       // and it still works
    ZutMutexDestroy(mutex);
  }
}

TEST_F(Lock, AbandonedKernelMutexIsTaken) {
  ZutMutex *mutex = ZutMutexCreate(0);
  for (double timeout : {-1.0, 0.0, 1.0}) {
    EXPECT_EQ(elsewhere([&] { return ZutMutexLock(mutex, -1.0); }), 1); // and ends
    EXPECT_EQ(ZutMutexLock(mutex, timeout), 1);
    EXPECT_EQ(ZutMutexUnlock(mutex), 1);
  }
  EXPECT_EQ(ZutMutexLock(mutex, -1.0), 1);
  EXPECT_EQ(ZutMutexDestroy(mutex), 1); // while this thread holds it
  ZutMutex *next = ZutMutexCreate(1);
  EXPECT_EQ(ZutMutexUnlock(next), 1);
  ZutMutexDestroy(next);
}

#ifndef _WIN32 // where the system gives mutexes counted handles, and its thread numbers again
TEST_F(Lock, WhatAnotherThreadHoldsIsNeitherDestroyedNorInherited) {
  ZutMutex *held = ZutMutexCreate(1), *fast = ZutMutexCreateFast(0);
  EXPECT_EQ(elsewhere([&] { return ZutMutexDestroy(held) ? 0 : ZutErrNumGet(); }), 2);
  EXPECT_EQ(ZutMutexUnlock(held) + ZutMutexDestroy(held), 2) << "it stayed whole";
  ZutRwMutex *written = ZutRwMutexCreate(0, 1);
  EXPECT_EQ(elsewhere([&] { return ZutMutexLock(fast, -1.0) + ZutRwMutexWriteLock(written); }), 2);
  EXPECT_EQ(elsewhere([&] { return ZutMutexLock(fast, 0.0) + ZutRwMutexWriteLocked(written); }), 0);
  ZutMutexDestroy(fast);
  ZutRwMutexDestroy(written);
}
#endif

TEST_F(Lock, OnlyOneIsInside) {
  ZutMutex *fast = ZutMutexCreateFast(0), *kernel = ZutMutexCreate(0);
  ZutSpinlock *spin = ZutSpinlockCreate(1);
  int counts[3] = {};
  together(5, [&](int self) {
    if (self == 4) { // the spinlock has been held until now
      counts[2] = 1000;
      ZutSpinlockUnlock(spin);
      return;
    }
    for (int n = 0; n < 3000; ++n) {
      ZutMutexLock(fast, -1.0);
      ++counts[0];
      ZutMutexUnlock(fast);
      ZutMutexLock(kernel, n % 2 ? -1.0 : 60.0);
      ++counts[1];
      ZutMutexUnlock(kernel);
      if (n % 30) continue; // on few processors its holder may not be running
      ZutSpinlockLock(spin);
      ++counts[2];
      ZutSpinlockUnlock(spin);
    }
  });
  EXPECT_EQ(counts[0], 12000);
  EXPECT_EQ(counts[1], 12000);
  EXPECT_EQ(counts[2], 1400);
  EXPECT_EQ(ZutMutexDestroy(fast) + ZutMutexDestroy(kernel) + ZutSpinlockDestroy(spin), 3);
}

TEST_F(Lock, WaitExpiresWithTheMutexHeld) {
  for (const auto make : makers) {
    ZutMutex *mutex = make(1);
    ZutCond *cond = ZutCondCreate();
    EXPECT_EQ(ZutCondWakeAll(cond), 1); // before the wait: not seen by it
    const double start = seconds();
    EXPECT_ERROR(9, ZutCondWait(cond, mutex, 0.05));
    EXPECT_GE(seconds() - start, 0.03);
    EXPECT_ERROR(9, ZutCondWait(cond, mutex, 0.0005)); // no whole millisecond
    EXPECT_EQ(elsewhere([&] { return ZutMutexLock(mutex, 0.0); }), 0);
    EXPECT_EQ(ZutMutexUnlock(mutex), 1);
    EXPECT_EQ(ZutCondWait(cond, mutex, 1.0), 0); // not held: no wait
    ZutCondDestroy(cond);
    ZutMutexDestroy(mutex);
  }
}

// Threads that take turns wake all others and wait again at once, so that one is always about to
// wait while another begins. A missed wake runs into the timeout.
TEST_F(Lock, NoWakeIsMissed) {
  constexpr int players = 3, turns = 3000;
  ZutMutex *mutex = ZutMutexCreateFast(0);
  ZutCond *cond = ZutCondCreate();
  int turn = 0, missed = 0;
  together(players, [&](int self) {
    ZutMutexLock(mutex, -1.0);
    while (turn < turns && missed == 0) {
      if (turn % players != self) {
        if (!ZutCondWait(cond, mutex, 10.0)) ++missed;
        continue;
      }
      ++turn;
      ZutCondWakeAll(cond);
    }
    ZutMutexUnlock(mutex);
  });
  EXPECT_EQ(missed, 0);
  EXPECT_EQ(turn, turns);
  EXPECT_EQ(ZutCondDestroy(cond) + ZutMutexDestroy(mutex), 2);
}

// One condition for each request: whoever wakes it destroys it, and the next may take its place.
TEST_F(Lock, ConditionMayBeDestroyedAfterItsLastWake) {
  const std::string name = freshName("brief");
  ZutMutex *mutex = ZutMutexCreateFast(1);
  for (int i = 0; i < 40 && !HasFailure(); ++i) {
    const auto make = [&] { return i % 2 ? ZutCondCreate() : ZutCondCreateNamedNp(name.c_str()); };
    ZutCond *cond = make();
    bool waiting = false;
    std::thread waiter([&] {
      ZutMutexLock(mutex, -1.0);
      waiting = true;
      EXPECT_EQ(ZutCondWait(cond, mutex, 2.0), 1) << i;
      ZutMutexUnlock(mutex);
    });
    while (!waiting) {
      ZutMutexUnlock(mutex);
      std::this_thread::yield();
      ZutMutexLock(mutex, -1.0);
    }
    ZutCondWakeAll(cond);
    ZutCondDestroy(cond);
    ZutCond *next = make(); // null while the waiter still has the name
    ZutMutexUnlock(mutex);
    waiter.join();
    ZutCondDestroy(next);
    ZutMutexLock(mutex, -1.0);
  }
  ZutMutexDestroy(mutex);
}

// What a second process sees of the names in its environment.
CHILD(looker) {
  const char *name = std::getenv("NAME");
  const bool made = ZutMutexCreateNamedNp(name, 0) != nullptr;
  const int error = made ? 0 : ZutErrNumGet(), os = ZutErrNumGetOs();
  const bool attached = ZutMutexAttachNamedNp(name) != nullptr;
  const bool asCond = ZutCondAttachNamedNp(name) != nullptr; // of another kind
  ZutOut("%d %d %d %d", error, os == 183 || os == EEXIST, attached, asCond);
}

CHILD(leaver) {
  ZutMutexCreateNamedNp(std::getenv("NAME"), 1);
  ZutMutexAttachNamedNp(std::getenv("NAME"));
  static ZutCond *cond = ZutCondCreateNamedNp((std::string(std::getenv("NAME")) + "c").c_str());
  if (!cond || !std::getenv("EXITS")) std::abort();
}

#ifndef _WIN32
int sharedFiles(const std::string &name) {
  int count = 0;
  for (const auto &entry : std::filesystem::directory_iterator("/dev/shm"))
    count += entry.path().string().find(name.substr(name.rfind('/') + 1)) != name.npos;
  return count;
}

// With room for one object.
CHILD(crowded) {
  if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) std::exit(77);
  mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
  if (mount("none", "/dev/shm", "tmpfs", 0, "size=4k") != 0) std::exit(77);
  const bool first = ZutMutexCreateNamedNp("first", 0) != nullptr;
  const bool second = ZutCondCreateNamedNp("second") != nullptr;
  ZutOut("%d %d %d %d", first, second, ZutErrNumGetOs() == ENOSPC, sharedFiles("second"));
}

TEST_F(Lock, NamesLeaveNoFilesAndNeedRoomForThem) {
  const std::string name = freshName("files");
  EXPECT_EQ(runChild("leaver", {{"NAME", name}, {"EXITS", "1"}}).code, 0);
  EXPECT_EQ(sharedFiles(name), 0);
  const Result result = runChild("crowded");
  if (result.code == 77) GTEST_SKIP() << "nothing may be mounted here";
  EXPECT_EQ(result.out, "1 0 1 0");
}
#endif

TEST_F(Lock, NamesAreSharedUntilTheLastHolderEnds) {
  const std::string text = freshName("mutex"), condText = text + "c";
  const char *name = text.c_str(), *condName = condText.c_str();
  const Environment environment = {{"NAME", name}};
  EXPECT_ERROR(2, ZutMutexAttachNamedNp(name));
  EXPECT_TRUE(runChild("leaver", environment).aborted()); // it held both, and the mutex locked
  EXPECT_ERROR(2, ZutMutexAttachNamedNp(name));
  EXPECT_ERROR(2, ZutCondAttachNamedNp(condName));

  EXPECT_NE(ZutMutexCreateNamedNp(name, 0), nullptr);
  EXPECT_ERROR(2, ZutMutexCreateNamedNp(name, 0)); // in this process, too
  EXPECT_EQ(runChild("looker", environment).out, "2 1 1 0");
  EXPECT_ERROR(7, ZutMutexCreateNamedNp(name, 2));

  ZutCond *cond = ZutCondCreateNamedNp(condName), *same = ZutCondAttachNamedNp(condName);
  EXPECT_EQ(ZutCondDestroy(cond), 1);
  EXPECT_ERROR(2, ZutCondCreateNamedNp(condName)); // `same` still has it
  EXPECT_EQ(ZutCondDestroy(same), 1);
  EXPECT_ERROR(2, ZutCondAttachNamedNp(condName));
}

// Wakes until the waiter has answered by a name of its own.
CHILD(waker) {
  const std::string name = std::getenv("NAME");
  ZutCond *cond = ZutCondAttachNamedNp(name.c_str());
  int tries = 0;
  for (; !ZutCondAttachNamedNp((name + "done").c_str()) && tries < 500; ++tries) {
    ZutCondWakeAll(cond);
    ZutSleep(0.01);
  }
  ZutOut("%s", tries < 500 ? "woken" : "lost");
}

TEST_F(Lock, NamedConditionWakesAnotherProcess) {
  const std::string name = freshName("cond");
  ZutCond *cond = ZutCondCreateNamedNp(name.c_str()), *done = nullptr;
  ZutMutex *mutex = ZutMutexCreateFast(1);
  EXPECT_ERROR(9, ZutCondWait(cond, mutex, 0.02)); // no other process yet
  ZutMutexUnlock(mutex);
  std::thread waiter([&] {
    ZutMutexLock(mutex, -1.0);
    EXPECT_EQ(ZutCondWait(cond, mutex, 20.0), 1);
    done = ZutCondCreateNamedNp((name + "done").c_str());
    EXPECT_EQ(ZutMutexUnlock(mutex), 1);
  });
  EXPECT_EQ(runChild("waker", {{"NAME", name}}).out, "woken");
  waiter.join();
  EXPECT_EQ(ZutCondDestroy(done) + ZutCondDestroy(cond) + ZutMutexDestroy(mutex), 3);
}
