// Threads: what the library knows of one.
#pragma once

#include "zut.h"

struct ThreadClosure {
  ZutThreadFunc function;
  ZutWord argument;
  ZutThreadId handle;
  int32_t adopted; // 1: met, not created; freed by the checker or by who waits for the thread
};

// The closure's thread ends. Null is none.
void utThreadClosureEnd(ThreadClosure *closure);
