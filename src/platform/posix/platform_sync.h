// What a lock does most often, without a call.
#pragma once

#include <cstdint>

// A number that no other living thread has; never 0.
inline uintptr_t utPlatThreadToken() {
  return reinterpret_cast<uintptr_t>(__builtin_thread_pointer());
}

// Tells the processor that this is a busy wait.
inline void utPlatPause() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  __asm__ volatile("yield");
#endif
}
