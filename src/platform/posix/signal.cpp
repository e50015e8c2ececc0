// Interrupts. The handler stays installed, and a system call that it breaks off fails with EINTR
// instead of starting again: that is how a person gets out of a wait.
#include "platform/platform_thread.h"
#include "posix_signal.h"

#include <pthread.h>

namespace {

// Guards what follows. No handler takes it.
pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
int commands;                    // that run
bool libraryIgnores;             // SIGINT, which was not ignored before
struct sigaction interruptAfter; // what is to become of SIGINT and SIGQUIT when no command runs
struct sigaction quitAfter;

class Guard {
public:
  Guard() { pthread_mutex_lock(&lock); }
  ~Guard() { pthread_mutex_unlock(&lock); }
  Guard(const Guard &) = delete;
  Guard &operator=(const Guard &) = delete;
};

struct sigaction actionOf(void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  return action;
}

bool isIgnored(const struct sigaction &action) { return action.sa_handler == SIG_IGN; }

// Under the lock. What SIGINT does, or will do when no command runs.
bool interruptAction(struct sigaction *action) {
  if (commands == 0) return sigaction(SIGINT, nullptr, action) == 0;
  *action = interruptAfter;
  return true;
}

bool setInterrupt(void (*handler)(int)) {
  const struct sigaction action = actionOf(handler);
  if (commands == 0) return sigaction(SIGINT, &action, nullptr) == 0;
  interruptAfter = action;
  return true;
}

void ignore(int signal, struct sigaction *before) {
  const struct sigaction action = actionOf(SIG_IGN);
  sigaction(signal, &action, before);
}

// A program that has set something else during the command keeps that.
void restore(int signal, const struct sigaction &action) {
  struct sigaction now;
  if (sigaction(signal, nullptr, &now) == 0 && isIgnored(now)) sigaction(signal, &action, nullptr);
}

sigset_t onlyInterrupt() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  return set;
}

} // namespace

bool utPlatInterruptHandle(void (*handler)(int)) {
  const Guard guard;
  libraryIgnores = false;
  return setInterrupt(handler);
}

void utPlatInterruptAgain(void (*handler)(int)) {
  struct sigaction action;
  if (sigaction(SIGINT, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) return;
  action = actionOf(handler);
  sigaction(SIGINT, &action, nullptr);
}

bool utPlatInterruptIgnore() {
  const Guard guard;
  struct sigaction before;
  if (!interruptAction(&before) || !setInterrupt(SIG_IGN)) return false;
  if (!isIgnored(before)) libraryIgnores = true;
  return true;
}

bool utPlatInterruptHold() {
  const sigset_t set = onlyInterrupt();
  sigset_t before;
  return pthread_sigmask(SIG_BLOCK, &set, &before) == 0 && !sigismember(&before, SIGINT);
}

void utPlatInterruptRelease() {
  const sigset_t set = onlyInterrupt();
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void utPosixCatch(int signal) {
  struct sigaction action;
  if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) return;
  action = actionOf([](int) {});
  action.sa_flags = SA_RESTART;
  sigaction(signal, &action, nullptr);
}

void utPosixCommandBegins() {
  const Guard guard;
  if (commands == 0) {
    ignore(SIGINT, &interruptAfter);
    ignore(SIGQUIT, &quitAfter);
  }
  ++commands;
}

void utPosixCommandEnds() {
  const Guard guard;
  if (--commands > 0) return;
  restore(SIGINT, interruptAfter);
  restore(SIGQUIT, quitAfter);
}

sigset_t utPosixCommandSignals() {
  const Guard guard;
  sigset_t set;
  sigemptyset(&set);
  if (libraryIgnores || !isIgnored(interruptAfter)) sigaddset(&set, SIGINT);
  if (!isIgnored(quitAfter)) sigaddset(&set, SIGQUIT);
  return set;
}
