#include "support/child.h"

#include <cerrno>
#include <csignal>
#include <thread>
#include <vector>

namespace {

// Raises SIGINT and says what the counter is afterwards.
void interrupt(int times) {
  for (int i = 0; i < times; ++i) {
    errno = 77;
    std::raise(SIGINT);
    ZutOut("%d%s ", static_cast<int>(ZutInterruptGet()), errno == 77 ? "" : "!");
    ZutFlushStdout();
  }
}

} // namespace

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
  if (!ZutInterruptInit()) return;
  interrupt(10);
}

TEST(Interrupt, EndsTheProcessAboveTheLimit) {
  const Result plain = runChild("limited", {{"VN_INTERRUPT_MAX", "-"}});
  EXPECT_EQ(plain.out, "1 2 3 4 5 ");
  EXPECT_TRUE(plain.aborted());
  const Result two = runChild("limited", {{"VN_INTERRUPT_MAX", "2"}});
  EXPECT_EQ(two.out, "utInterruptMax = 2\n1 2 ");
  EXPECT_TRUE(two.aborted());
}

CHILD(installed) {
  std::signal(SIGINT, ZutSigintHandler); // by the program itself
  interrupt(3);
}

TEST(Interrupt, ProgramMayInstallTheHandler) { EXPECT_EQ(runChild("installed").out, "1 2 3 "); }

CHILD(busy) {
  ZutInitThreads();
  ZutInterruptInit();
  std::thread([] { ZutProcessMutexLock(); }).join(); // held for ever
  for (int i = 0; i < 10; ++i) std::raise(SIGINT);
}

CHILD(inside) {
  ZutInitThreads();
  ZutInterruptInit();
  ZutProcessMutexLock();
  for (int i = 0; i < 10; ++i) std::raise(SIGINT);
}

TEST(Interrupt, EndsWhoeverHoldsTheProcessMutex) {
  EXPECT_TRUE(runChild("busy", {{"VN_INTERRUPT_MAX", "-"}}).aborted());
  EXPECT_TRUE(runChild("inside", {{"VN_INTERRUPT_MAX", "-"}}).aborted());
}
