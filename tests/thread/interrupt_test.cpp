#include "support/child.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <thread>
#include <vector>

TEST(Interrupt, CounterIsOnePerProcess) {
  ZutInterruptReset();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int n = 0; n < 1000; ++n) ZutInterruptIncr();
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(ZutInterruptGet(), 4000);
  ZutInterruptReset();
}

CHILD(limited) {
  ZutInitThreads();
  if (std::getenv("OWN")) std::signal(SIGINT, ZutSigintHandler); // the program's own installation
  else if (!ZutInterruptInit()) return;
  for (int i = 0; i < 10; ++i) {
    errno = 77;
    std::raise(SIGINT);
    ZutOut("%d%s ", static_cast<int>(ZutInterruptGet()), errno == 77 ? "" : "!");
    ZutFlushStdout();
  }
}

TEST(Interrupt, EndsTheProcessAboveTheLimit) {
  const Result plain = runChild("limited", {{"VN_INTERRUPT_MAX", "-"}});
  EXPECT_EQ(plain.out, "1 2 3 4 5 ");
  EXPECT_TRUE(plain.aborted());
  const Result two = runChild("limited", {{"VN_INTERRUPT_MAX", "2"}});
  EXPECT_EQ(two.out, "utInterruptMax = 2\n1 2 ");
  EXPECT_TRUE(two.aborted());
  EXPECT_EQ(runChild("limited", {{"OWN", "1"}}).out, "1 2 3 4 5 ");
}

CHILD(busy) {
  ZutInitThreads();
  ZutInterruptInit();
  if (std::getenv("INSIDE")) ZutProcessMutexLock();
  else std::thread([] { ZutProcessMutexLock(); }).join(); // never unlocked
  for (int i = 0; i < 10; ++i) std::raise(SIGINT);
}

TEST(Interrupt, EndsTheProcessWhoeverHoldsItsMutex) {
  for (const char *inside : {"-", "1"})
    EXPECT_TRUE(runChild("busy", {{"VN_INTERRUPT_MAX", "-"}, {"INSIDE", inside}}).aborted());
}
