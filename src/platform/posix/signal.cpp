// Interrupts. The handler stays installed, and a system call that it breaks off fails with EINTR
// instead of starting again: that is how a person gets out of a wait.
#include "platform/platform_thread.h"

#include <csignal>

namespace {

bool setAction(void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  return sigaction(SIGINT, &action, nullptr) == 0;
}

sigset_t onlyInterrupt() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  return set;
}

} // namespace

bool utPlatInterruptHandle(void (*handler)(int)) { return setAction(handler); }
bool utPlatInterruptIgnore() { return setAction(SIG_IGN); }

bool utPlatInterruptHold() {
  const sigset_t set = onlyInterrupt();
  sigset_t before;
  return pthread_sigmask(SIG_BLOCK, &set, &before) == 0 && !sigismember(&before, SIGINT);
}

void utPlatInterruptRelease() {
  const sigset_t set = onlyInterrupt();
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}
