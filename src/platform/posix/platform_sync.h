// What a lock does most often, without a call.
#pragma once

#include <cstdint>

extern constinit thread_local uintptr_t utPlatTokenSlot
    __attribute__((tls_model("initial-exec"), visibility("hidden")));

// The calling thread's number, to be compared with a holder's: no other thread of the process ever
// has it, whether they live or have ended. A thread that has held nothing yet may still have the
// number of none, which is no holder's.
inline uintptr_t utPlatThreadToken() { return utPlatTokenSlot; }

inline constexpr uintptr_t Z_NO_TOKEN = 1;
uintptr_t utPlatThreadTokenMake();

// The same for one who becomes a holder; never 0.
inline uintptr_t utPlatHolderToken() {
  const uintptr_t token = utPlatTokenSlot;
  return token != Z_NO_TOKEN ? token : utPlatThreadTokenMake();
}

// Tells the processor that this is a busy wait.
inline void utPlatPause() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  __asm__ volatile("yield");
#endif
}
