#include "support/child.h"
#include "support/signals.h"

#include <cerrno>

namespace {

using Handler = void (*)(int);

// Looks without changing anything for good.
Handler installed() {
  const Handler handler = std::signal(SIGINT, SIG_IGN);
  std::signal(SIGINT, handler);
  return handler;
}

constexpr int megabyte = 1 << 20;

std::string pattern() {
  std::string bytes;
  for (int i = 0; i < megabyte; ++i) bytes += static_cast<char>(i * 7 + i / 251);
  return bytes;
}

// Pieces of every size up to `largest`, a prime.
void sendAll(int descriptor, int largest, int &failures) {
  const std::string bytes = pattern();
  for (int done = 0, piece = 1; done < megabyte; piece = piece * 5 % largest) {
    const int count = std::min(piece, megabyte - done);
    const int32_t written = ZutWriteAtomic(descriptor, bytes.data() + done, count);
    failures += written != count;
    done += std::max(written, 0);
  }
}

void receiveAll(int descriptor, int &failures) {
  std::string bytes;
  char buffer[700];
  while (bytes.size() < megabyte) {
    const int32_t count = ZutReadAtomic(descriptor, buffer, sizeof buffer);
    failures += count <= 0;
    if (count > 0) bytes.append(buffer, static_cast<size_t>(count));
  }
  failures += bytes != pattern();
}

} // namespace

TEST(Atomic, AFailureKeepsItsOwnReason) {
  int closed = -1;
  {
    const Pipe pipe;
    closed = pipe.in;
  }
  char byte = 'a';
  EXPECT_EQ(ZutReadAtomic(closed, &byte, 1), -1);
  EXPECT_EQ(ZutErrNumGetC(), EBADF);
  EXPECT_EQ(ZutWriteAtomic(closed, &byte, 1), -1);
  EXPECT_EQ(ZutErrNumGetC(), EBADF);
  EXPECT_EQ(ZutUnlinkAtomic("no such file"), -1);
  EXPECT_EQ(ZutErrNumGetC(), ENOENT);
  ZutErrNumSet(0);
  EXPECT_EQ(ZutWriteAtomic(closed, &byte, -1), -1);
  EXPECT_EQ(ZutErrNumGet(), 4);
}

TEST(Atomic, LeavesTheLibrarysHandlerInstalled) {
  const TempDir directory;
  writeFile("file", "x");
  std::signal(SIGINT, SIG_DFL);
  EXPECT_EQ(ZutUnlinkAtomic("file"), 0);
  EXPECT_EQ(installed(), ZutSigintHandler);
  EXPECT_FALSE(std::filesystem::exists("file"));
  std::signal(SIGINT, SIG_DFL);
  EXPECT_EQ(ZutFsyncAtomic(-1), 0);
  EXPECT_EQ(installed(), ZutSigintHandler);
}

// The end of one thread's call must not let interrupts in on another's.
TEST(Atomic, IgnoresInterruptsUntilTheLastThreadIsOut) {
  const Pipe pipe;
  char byte = 0;
  std::thread reader([&] { EXPECT_EQ(ZutReadAtomic(pipe.in, &byte, 1), 1); });
  do ZutFsyncAtomic(0);
  while (std::signal(SIGINT, SIG_IGN) != SIG_IGN); // until the reader is inside
  ZutInterruptReset();
  for (int i = 0; i < 20; ++i) std::raise(SIGINT); // more than the limit
  ZutFsyncAtomic(0);
  std::raise(SIGINT);
  EXPECT_EQ(ZutInterruptGet(), 0);
  EXPECT_EQ(ZutWriteAtomic(pipe.out, "x", 1), 1);
  reader.join();
  EXPECT_EQ(byte, 'x');
  EXPECT_EQ(installed(), ZutSigintHandler);
}

#ifndef _WIN32 // where commands share the console's interrupts
TEST(Atomic, ACommandBesideItNeitherInheritsNorKeepsTheIgnoring) {
  const Pipe pipe, started, end;
  char byte = 0, mark = 0;
  std::thread reader([&] { EXPECT_EQ(ZutReadAtomic(pipe.in, &byte, 1), 1); });
  struct sigaction now;
  do sigaction(SIGINT, nullptr, &now);
  while (now.sa_handler != SIG_IGN); // until the reader is inside
  std::thread command([&] {
    const std::string line = "echo >/dev/fd/" + std::to_string(started.out) + "; read x </dev/fd/" +
                             std::to_string(end.in) + "; kill -INT $$";
    EXPECT_EQ(ZutSystem(line.c_str()), 128 + SIGINT);
  });
  EXPECT_EQ(ZutReadAtomic(started.in, &mark, 1), 1);
  EXPECT_EQ(ZutWriteAtomic(pipe.out, "x", 1), 1);
  reader.join();
  EXPECT_EQ(ZutWriteAtomic(end.out, "\n", 1), 1);
  command.join();
  EXPECT_EQ(installed(), ZutSigintHandler);
}
#endif

CHILD(storm) {
  ZutInitThreads();
  ZutInterruptInit();
  const Pipe pipe;
  const SignalStorm storm;
  int sending = 0, receiving = 0;
  while (storm.count() < 2000) { // the main thread, which is hit, waits for room, then for bytes
    std::thread reader([&] { receiveAll(pipe.in, receiving); });
    sendAll(pipe.out, 200003, sending);
    reader.join();
    std::thread writer([&] { sendAll(pipe.out, 499, sending); });
    receiveAll(pipe.in, receiving);
    writer.join();
  }
  while (ZutInterruptGet() == 0) ZutSleep(0.001); // they are not lost for good
  std::printf("%d %d\n", sending, receiving);
}

TEST(Atomic, AStormOfInterruptsLosesNoByte) {
  const Result result = runChild("storm", {{"VN_INTERRUPT_MAX", "2000000000"}});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out, "utInterruptMax = 2000000000\n0 0\n");
}
