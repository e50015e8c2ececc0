// Interrupts. The system calls the handler on a thread of its own and forgets it at each call.
#include "platform/platform_thread.h"

#include <csignal>

bool utPlatInterruptHandle(void (*handler)(int)) { return std::signal(SIGINT, handler) != SIG_ERR; }

void utPlatInterruptAgain(void (*handler)(int)) {
  if (std::signal(SIGINT, handler) == SIG_IGN) std::signal(SIGINT, SIG_IGN);
}
bool utPlatInterruptIgnore() { return std::signal(SIGINT, SIG_IGN) != SIG_ERR; }
bool utPlatInterruptHold() { return false; }
void utPlatInterruptRelease() {}
