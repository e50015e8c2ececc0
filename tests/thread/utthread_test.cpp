#include "support/child.h"
#include "support/flag.h"

#include <atomic>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

class Thread : public ::testing::Test {
protected:
  void SetUp() override { ZutInitThreads(); }
};

ZutWord word(const void *pointer) { return reinterpret_cast<ZutWord>(pointer); }

ZutWord Z_CALL selfMain(ZutWord place) {
  *reinterpret_cast<ZutThreadId *>(place) = ZutThreadSelf();
  return 42;
}

void leave(ZutWord code, int frames) {
  std::string text(40, 'x'); // a frame to be unwound or forgotten
  if (frames > 0) leave(code + static_cast<ZutWord>(text.size()), frames - 1);
  ZutThreadExit(code);
}

ZutWord Z_CALL leaveMain(ZutWord code) {
  leave(code, 0);
  return -1;
}

ZutWord runThread(ZutThreadFunc function, const void *argument = nullptr) {
  ZutWord code = -2;
  const ZutThreadId thread = ZutThreadCreate(function, word(argument), 0);
  EXPECT_NE(thread, 0);
  EXPECT_EQ(ZutThreadWait(thread, &code), 1);
  return code;
}

} // namespace

CHILD(early) {
  const ZutThreadId before = ZutThreadSelf();
  const int error = ZutErrNumGet();
  ZutInitThreads();
  ZutProcessMutexLock();
  std::thread(ZutThreadSelf).join(); // waits for no such lock, though it is the first to be adopted
  ZutProcessMutexUnlock();
  const ZutThreadId after = ZutThreadSelf();
  ZutOut("%d %d %d %d", before == 0, error, after != 0, after == ZutThreadSelf());
}

TEST(ThreadStart, MainThreadIsKnownOnceThreadsAre) { EXPECT_EQ(runChild("early").out, "1 0 1 1"); }

// In a process of its own: nothing else takes the closed value over.
CHILD(closed) {
  const ZutThreadId thread = ZutThreadCreate([](ZutWord n) { return n; }, 42, 0);
  ZutWord code = 0;
  const int first = ZutThreadWait(thread, &code);
  const int second = ZutThreadWait(thread, nullptr);
  ZutOut("%d %ld %d %d", first, static_cast<long>(code), second, ZutErrNumGet());
}

TEST(ThreadStart, WaitClosesTheValue) { EXPECT_EQ(runChild("closed").out, "1 42 0 2"); }

TEST_F(Thread, ValueIsTheSameInsideAndOutside) {
  const ZutThreadId self = ZutThreadSelf();
  ZutThreadId inside = 0;
  const ZutThreadId thread = ZutThreadCreate(selfMain, word(&inside), 0);
  EXPECT_FALSE(ZutThreadEqual(thread, self));
  EXPECT_EQ(ZutThreadWait(thread, nullptr), 1);
  EXPECT_TRUE(ZutThreadEqual(inside, thread));
  EXPECT_EQ(ZutThreadCreate(nullptr, 0, 0), 0);
  EXPECT_EQ(ZutErrNumGet(), 3);
}

TEST_F(Thread, ExitCodes) {
  for (ZutWord code : {0, 7, 259, -5}) {
    const ZutThreadId thread = ZutThreadCreate(leaveMain, code, 0);
    ZutWord got = 1;
    EXPECT_EQ(ZutThreadWait(thread, &got), 1);
    EXPECT_EQ(got, code);
  }
}

TEST_F(Thread, DetachedThreadRunsOn) {
  static std::atomic<int> ran{0};
  const auto function = [](ZutWord) -> ZutWord { return ++ran; };
  for (int i = 0; i < 50; ++i) EXPECT_EQ(ZutThreadDetach(ZutThreadCreate(function, 0, 0)), 1);
  const auto itself = [](ZutWord) -> ZutWord { return ++ran, ZutThreadDetach(ZutThreadSelf()); };
  for (int i = 0; i < 50; ++i) ZutThreadCreate(itself, 0, 0);
  while (ran < 100) std::this_thread::yield();
}

TEST_F(Thread, AttributesAreReadWhenTheOptionSaysSo) {
  const auto quiet = [](ZutWord) -> ZutWord { return 0; };
  {
    const Capture capture;
    EXPECT_EQ(ZutThreadWait(ZutThreadCreate(quiet, 0, 2, "x", 0), nullptr), 1);
    EXPECT_NE(capture.text().find("5363"), std::string::npos) << capture.text();
  }
  ZutOptionSetBool(ZutOptionLookup("_thread_create_check_varargs"), 1);
  const ZutThreadId thread = ZutThreadCreate(quiet, 0, Z_THREAD_ATTR_NAMED, "THREAD_bounded", 0);
  EXPECT_EQ(ZutThreadWait(thread, nullptr), 1);
  EXPECT_EQ(ZutThreadCreate(quiet, 0, 2, "x", 0), 0);
  EXPECT_EQ(ZutErrNumGet(), 7);
  EXPECT_EQ(ZutThreadCreate(quiet, 0, 1, "x", -1, "y", 0), 0);
  ZutOptionSetBool(ZutOptionLookup("_thread_create_check_varargs"), 0);
}

TEST_F(Thread, AdoptedThreadsHaveValuesAndAreWaitedFor) {
  std::atomic<ZutThreadId> running{0}, ended{0};
  Flag go;
  std::thread([&] { ended = ZutThreadSelf(); }).join();
  std::thread other([&] {
    running = ZutThreadSelf();
    EXPECT_EQ(ZutThreadSelf(), running);
    go.wait();
  });
  while (running == 0) std::this_thread::yield();
  EXPECT_EQ(ZutThreadDetach(running), 1); // stays the library's
  std::atomic<int> waited{0};
  std::thread waiter([&] { waited = ZutThreadWait(running, nullptr); });
  ZutSleep(0.02);
  EXPECT_EQ(waited, 0);
  go.set();
  waiter.join();
  EXPECT_EQ(waited, 1);
  other.join();
  EXPECT_EQ(ZutThreadWait(ended, nullptr), 1);
  EXPECT_EQ(ZutThreadWait(ended, nullptr), 0);
  EXPECT_EQ(ZutErrNumGet(), 2);
}

CHILD(checker) {
  ZutInitThreads();
  const int none = ZutEndImportThreadCheckerThread();
  const int error = ZutErrNumGet();
  ZutThreadId thread = 0;
  std::thread([&] { thread = ZutThreadSelf(); }).join();
  const int ended = ZutEndImportThreadCheckerThread();
  const int wait = ZutThreadWait(thread, nullptr); // closed by its last look
  ZutOut("%d %d %d %d %d", none, error, ended, wait, ZutEndImportThreadCheckerThread());
}

TEST_F(Thread, CheckerClosesEndedThreadsUntilItIsEnded) {
  EXPECT_EQ(runChild("checker").out, "0 7 1 0 0");
}

TEST_F(Thread, ManyAtOnce) {
  std::vector<std::thread> threads;
  std::atomic<int> good{0};
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&good] {
      for (int n = 0; n < 50; ++n) {
        ZutThreadId inside = 0;
        const ZutThreadId thread = ZutThreadCreate(selfMain, word(&inside), 0);
        good += ZutThreadWait(thread, nullptr) && inside == thread;
        std::thread([&good] { good += ZutThreadSelf() != 0; }).join();
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(good, 4 * 50 * 2);
}

// --- Thread-specific data ---

namespace {

std::string story; // what the destructors saw; one thread at a time
ZutTsdKey keys[3];

void Z_CALL tell(void *value) { story += value ? static_cast<const char *>(value) : "null"; }

// Uses what a thread's end might have taken away already.
void Z_CALL demanding(void *value) {
  tell(value);
  void *again = &story;
  story += ZutTsdGetValue(keys[1], &again) || again ? " kept" : " cleared";
  ZutErrNumSet(18);
  story += ZutErrNumGet() == 18 && ZutThreadSelf() != 0 ? " alive " : " dead ";
  ZutTsdKeyDestroy(keys[2]); // later in the list
  ZutTsdKeyCreate(&keys[2], tell);
  ZutTsdSetValue(keys[2], value);
}

ZutWord Z_CALL dataMain(ZutWord argument) {
  if (argument) {
    for (const ZutTsdKey key : keys) ZutTsdSetValue(key, reinterpret_cast<void *>(argument));
  }
  return ZutThreadSelf();
}

} // namespace

TEST_F(Thread, DestructorsRunInOrderAlsoForNull) {
  char text[] = "a";
  EXPECT_EQ(ZutTsdKeyCreate(&keys[0], tell), 1);
  EXPECT_EQ(ZutTsdKeyCreate(&keys[1], demanding), 1);
  EXPECT_EQ(ZutTsdKeyCreate(&keys[2], tell), 1);
  EXPECT_EQ(ZutTsdSetValue(keys[0], text), 1); // this thread's value is its own
  runThread(dataMain);
  EXPECT_EQ(story, "nullnull cleared alive "); // the third was destroyed, the new one came too late
  story.clear();
  runThread(dataMain, "b");
  EXPECT_EQ(story, "bb cleared alive ");
  story.clear();
  EXPECT_EQ(ZutTsdKeyDestroy(keys[0]), 1);
  EXPECT_EQ(ZutTsdKeyDestroy(keys[1]), 1);
  runThread(dataMain);
  EXPECT_EQ(story, "null"); // the one that was made last
  EXPECT_EQ(ZutTsdKeyDestroy(keys[2]), 1);
}

TEST_F(Thread, ValuesAndBadKeys) {
  ZutTsdKey key;
  EXPECT_EQ(ZutTsdKeyCreate(&key, nullptr), 1);
  void *value = &key;
  ZutErrNumSet(0);
  EXPECT_EQ(ZutTsdGetValue(key, &value), 0);
  EXPECT_EQ(value, nullptr);
  EXPECT_EQ(ZutErrNumGet(), 0);
  EXPECT_EQ(ZutTsdSetValue(key, &key), 1);
  EXPECT_EQ(ZutTsdGetValue(key, &value), 1);
  EXPECT_EQ(value, &key);
  EXPECT_EQ(ZutTsdGetValue(key, nullptr), 0);
  EXPECT_EQ(ZutErrNumGet(), 3);
  EXPECT_EQ(ZutTsdKeyCreate(nullptr, nullptr), 0);
  EXPECT_EQ(ZutTsdKeyDestroy(key), 1);
  for (int32_t result : {ZutTsdKeyDestroy(Z_TSD_KEY_INVALID), ZutTsdSetValue(Z_TSD_KEY_INVALID, 0),
                         ZutTsdGetValue(Z_TSD_KEY_INVALID, &value)}) {
    EXPECT_EQ(result, 0);
    EXPECT_EQ(ZutErrNumGet(), 7);
  }
  ZutErrNumSet(0);
  std::vector<ZutTsdKey> all;
  while (ZutTsdKeyCreate(&key, nullptr)) all.push_back(key);
  EXPECT_EQ(ZutErrNumGet(), 0); // used up is no error
  EXPECT_EQ(std::set<ZutTsdKey>(all.begin(), all.end()).size(), all.size());
  for (const ZutTsdKey one : all) EXPECT_EQ(ZutTsdKeyDestroy(one), 1);
}

TEST_F(Thread, LibraryBlockIsTheThreadsOwn) {
  void *mine = ZutGetLibTsdValue();
  EXPECT_EQ(ZutGetLibTsdValue(), mine);
  ZutErrNumSet(18);
  EXPECT_EQ(static_cast<int32_t *>(mine)[1], 18);
  std::thread([mine] {
    static const char zeros[8] = {};
    EXPECT_EQ(std::memcmp(ZutGetLibTsdValue(), zeros, sizeof zeros), 0);
    EXPECT_NE(ZutGetLibTsdValue(), mine);
    ZutErrNumSet(5);
  }).join();
  EXPECT_EQ(ZutErrNumGet(), 18);
}
