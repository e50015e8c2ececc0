#include "support/child.h"
#include "support/errors.h"
#include "support/flag.h"

#include <atomic>
#include <cstring>
#include <set>
#include <string>
#include <thread>

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

ZutWord Z_CALL leaveMain(ZutWord code) {
  const std::string text(40, 'x'); // a frame to be unwound or forgotten
  ZutThreadExit(code + static_cast<ZutWord>(text.size()) - 40);
  return -1;
}

ZutWord runThread(ZutThreadFunc function, ZutWord argument) {
  ZutWord code = -2;
  EXPECT_EQ(ZutThreadWait(ZutThreadCreate(function, argument, 0), &code), 1);
  return code;
}

} // namespace

TEST(ThreadStart, MainThreadIsKnownOnceThreadsAre) {
  EXPECT_ERROR(0, ZutThreadSelf());
  ZutInitThreads();
  ZutProcessMutexLock();
  std::thread(ZutThreadSelf).join(); // waits for no such lock, though it is the first to be adopted
  ZutProcessMutexUnlock();
  const ZutThreadId self = ZutThreadSelf();
  EXPECT_NE(self, 0);
  EXPECT_EQ(ZutThreadSelf(), self);
}

// In a process of its own: nothing else takes the closed value over.
TEST(ThreadStart, WaitClosesTheValue) {
  const ZutThreadId thread = ZutThreadCreate([](ZutWord n) { return n; }, 42, 0);
  ZutWord code = 0;
  EXPECT_EQ(ZutThreadWait(thread, &code), 1);
  EXPECT_EQ(code, 42);
  EXPECT_ERROR(2, ZutThreadWait(thread, nullptr));
}

TEST_F(Thread, ValueAndExitCode) {
  ZutThreadId inside = 0;
  const ZutThreadId thread = ZutThreadCreate(selfMain, word(&inside), 0);
  EXPECT_FALSE(ZutThreadEqual(thread, ZutThreadSelf()));
  EXPECT_EQ(ZutThreadWait(thread, nullptr), 1);
  EXPECT_TRUE(ZutThreadEqual(inside, thread));
  for (ZutWord code : {0, 7, 259, -5}) EXPECT_EQ(runThread(leaveMain, code), code);
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
  EXPECT_ERROR(7, ZutThreadCreate(quiet, 0, 2, "x", 0));
  EXPECT_ERROR(7, ZutThreadCreate(quiet, 0, 1, "x", -1, "y", 0));
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
  EXPECT_ERROR(2, ZutThreadWait(ended, nullptr));
}

TEST_F(Thread, CheckerClosesEndedThreadsUntilItIsEnded) {
  EXPECT_ERROR(7, ZutEndImportThreadCheckerThread());
  ZutThreadId thread = 0;
  std::thread([&] { thread = ZutThreadSelf(); }).join();
  EXPECT_EQ(ZutEndImportThreadCheckerThread(), 1);
  EXPECT_ERROR(2, ZutThreadWait(thread, nullptr)); // closed by its last look
  EXPECT_ERROR(7, ZutEndImportThreadCheckerThread());
}

TEST_F(Thread, ManyAtOnceWaitedForDetachedAndAdopted) {
  static std::atomic<int> ran{0};
  const auto detached = [](ZutWord) -> ZutWord { return ++ran; };
  const auto itself = [](ZutWord) -> ZutWord { return ++ran, ZutThreadDetach(ZutThreadSelf()); };
  const auto work = [&] {
    for (int n = 0; n < 50; ++n) {
      ZutThreadId inside = 0;
      const ZutThreadId thread = ZutThreadCreate(selfMain, word(&inside), 0);
      ran += ZutThreadWait(thread, nullptr) && inside == thread;
      std::thread([] { ran += ZutThreadSelf() != 0; }).join();
      EXPECT_EQ(ZutThreadDetach(ZutThreadCreate(detached, 0, 0)), 1);
      ZutThreadCreate(itself, 0, 0);
    }
  };
  std::thread threads[4];
  for (std::thread &thread : threads) thread = std::thread(work);
  for (std::thread &thread : threads) thread.join();
  while (ran < 4 * 50 * 4) std::this_thread::yield();
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

// What the destructors of a thread see that sets all values to `text`, or none.
std::string storyOf(const char *text) {
  const auto set = [](ZutWord value) -> ZutWord {
    for (const ZutTsdKey key : keys)
      if (value) ZutTsdSetValue(key, reinterpret_cast<void *>(value));
    return ZutThreadSelf();
  };
  story.clear();
  runThread(set, word(text));
  return story;
}

} // namespace

TEST_F(Thread, DestructorsRunInOrderAlsoForNull) {
  char text[] = "a";
  EXPECT_EQ(ZutTsdKeyCreate(&keys[0], tell), 1);
  EXPECT_EQ(ZutTsdKeyCreate(&keys[1], demanding), 1);
  EXPECT_EQ(ZutTsdKeyCreate(&keys[2], tell), 1);
  EXPECT_EQ(ZutTsdSetValue(keys[0], text), 1); // this thread's value is its own
  // The third was destroyed, and the new one came too late.
  EXPECT_EQ(storyOf(nullptr), "nullnull cleared alive ");
  EXPECT_EQ(storyOf("b"), "bb cleared alive ");
  EXPECT_EQ(ZutTsdKeyDestroy(keys[0]) + ZutTsdKeyDestroy(keys[1]), 2);
  EXPECT_EQ(storyOf(nullptr), "null"); // the one that was made last
  EXPECT_EQ(ZutTsdKeyDestroy(keys[2]), 1);
}

TEST_F(Thread, ValuesAndBadKeys) {
  ZutTsdKey key;
  EXPECT_EQ(ZutTsdKeyCreate(&key, nullptr), 1);
  void *value = &key;
  EXPECT_ERROR(0, ZutTsdGetValue(key, &value));
  EXPECT_EQ(value, nullptr);
  EXPECT_EQ(ZutTsdSetValue(key, &key) + ZutTsdGetValue(key, &value), 2);
  EXPECT_EQ(value, &key);
  EXPECT_EQ(ZutTsdKeyDestroy(key), 1);
  EXPECT_ERROR(7, ZutTsdKeyDestroy(Z_TSD_KEY_INVALID));
  EXPECT_ERROR(7, ZutTsdSetValue(Z_TSD_KEY_INVALID, nullptr));
  EXPECT_ERROR(7, ZutTsdGetValue(Z_TSD_KEY_INVALID, &value));
  std::set<ZutTsdKey> all;
  while (ZutTsdKeyCreate(&key, nullptr)) EXPECT_TRUE(all.insert(key).second);
  EXPECT_ERROR(0, ZutTsdKeyCreate(&key, nullptr)); // used up is no error
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
