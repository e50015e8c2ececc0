// Interrupts. The handler stays installed, and a system call that it breaks off fails with EINTR
// instead of starting again: that is how a person gets out of a wait.
#include "platform/platform_thread.h"

#include <csignal>

bool utPlatInterruptHandle(void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  return sigaction(SIGINT, &action, nullptr) == 0;
}
