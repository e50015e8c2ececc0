#include "support/child.h"
#include "support/errors.h"
#include "support/signals.h"

#include <cerrno>

namespace {

using Handler = void (*)(int);

Handler installed() {
#ifdef _WIN32
  return std::signal(SIGINT, SIG_IGN); // cannot look without changing it
#else
  struct sigaction now;
  sigaction(SIGINT, nullptr, &now);
  return now.sa_handler;
#endif
}

constexpr int megabyte = 1 << 20;

std::string pattern() {
  std::string bytes;
  for (int i = 0; i < megabyte; ++i) bytes += static_cast<char>(i * 7 + i / 251);
  return bytes;
}

// Pieces of every size up to `largest`, a prime.
void sendAll(int descriptor, int largest) {
  const std::string bytes = pattern();
  for (int done = 0, piece = 1; done < megabyte; piece = piece * 5 % largest) {
    const int count = std::min(piece, megabyte - done);
    ASSERT_EQ(ZutWriteAtomic(descriptor, bytes.data() + done, count), count);
    done += count;
  }
}

void receiveAll(int descriptor) {
  std::string bytes;
  char buffer[700];
  while (bytes.size() < megabyte) {
    const int32_t count = ZutReadAtomic(descriptor, buffer, sizeof buffer);
    ASSERT_GT(count, 0);
    bytes.append(buffer, static_cast<size_t>(count));
  }
  EXPECT_TRUE(bytes == pattern());
}

} // namespace

TEST(Atomic, AFailureKeepsItsOwnReason) {
  const int closed = Pipe().in;
  char byte = 'a';
  EXPECT_TRUE(ZutReadAtomic(closed, &byte, 1) == -1 && ZutErrNumGetC() == EBADF);
  EXPECT_TRUE(ZutWriteAtomic(closed, &byte, 1) == -1 && ZutErrNumGetC() == EBADF);
  EXPECT_TRUE(ZutUnlinkAtomic("no such file") == -1 && ZutErrNumGetC() == ENOENT);
  EXPECT_ERROR(4, ZutWriteAtomic(closed, &byte, -1));
}

TEST(Atomic, LeavesTheLibrarysHandlerInstalled) {
  const TempDir directory;
  writeFile("file", "x");
  for (const bool unlinks : {true, false}) {
    std::signal(SIGINT, SIG_DFL);
    EXPECT_EQ(unlinks ? ZutUnlinkAtomic("file") : ZutFsyncAtomic(-1), 0);
    EXPECT_EQ(installed(), ZutSigintHandler);
  }
  EXPECT_FALSE(std::filesystem::exists("file"));
}

// The end of one thread's call must not let interrupts in on another's, and a command that runs at
// the time neither inherits nor keeps the ignoring.
TEST(Atomic, IgnoresInterruptsUntilTheLastThreadIsOut) {
  const Pipe pipe, started, end;
  char byte = 0;
  std::thread command, reader([&] { EXPECT_EQ(ZutReadAtomic(pipe.in, &byte, 1), 1); });
  do ZutFsyncAtomic(0);
  while (installed() != SIG_IGN); // until the reader is inside
  ZutInterruptReset();
  for (int i = 0; i < 20; ++i) std::raise(SIGINT); // more than the limit
  ZutFsyncAtomic(0);
  std::raise(SIGINT);
  EXPECT_EQ(ZutInterruptGet(), 0);
#ifndef _WIN32 // where commands share the console's interrupts
  char mark = 0;
  command = std::thread([&] {
    const std::string line = "echo >/dev/fd/" + std::to_string(started.out) + "; read x </dev/fd/" +
                             std::to_string(end.in) + "; kill -INT $$";
    EXPECT_EQ(ZutSystem(line.c_str()), 128 + SIGINT);
  });
  EXPECT_EQ(ZutReadAtomic(started.in, &mark, 1), 1);
#endif
  EXPECT_EQ(ZutWriteAtomic(pipe.out, "x", 1), 1);
  reader.join();
  EXPECT_EQ(byte, 'x');
  EXPECT_EQ(ZutWriteAtomic(end.out, "\n", 1), 1);
  if (command.joinable()) command.join();
  EXPECT_EQ(installed(), ZutSigintHandler);
}

TEST(Atomic, AStormOfInterruptsLosesNoByte) {
  ZutPutenv("VN_INTERRUPT_MAX=2000000000");
  ZutInitThreads();
  ZutInterruptInit();
  ZutInterruptReset();
  const Pipe pipe;
  const SignalStorm storm;
  while (storm.count() < 2000) { // the main thread, which is hit, waits for room, then for bytes
    std::thread reader([&] { receiveAll(pipe.in); });
    sendAll(pipe.out, 200003);
    reader.join();
    std::thread writer([&] { sendAll(pipe.out, 499); });
    receiveAll(pipe.in);
    writer.join();
  }
  while (ZutInterruptGet() == 0) ZutSleep(0.001); // they are not lost for good
}
