// The thread's library block and last errors, each one load away.
#pragma once

#include <cstdint>

#define Z_ONE_LOAD __attribute__((tls_model("initial-exec"), visibility("hidden")))

extern constinit thread_local void *utPlatThreadBlockSlot Z_ONE_LOAD;
extern constinit thread_local int32_t utPlatErrorWord Z_ONE_LOAD;
extern constinit thread_local int32_t utPlatSocketErrorWord Z_ONE_LOAD;

inline void *utPlatThreadBlockGet() { return utPlatThreadBlockSlot; }
inline void utPlatThreadBlockSet(void *block) { utPlatThreadBlockSlot = block; }

inline int32_t utPlatErrorGet() { return utPlatErrorWord; }
inline void utPlatErrorSet(int32_t code) { utPlatErrorWord = code; }
inline int32_t utPlatSocketErrorGet() { return utPlatSocketErrorWord; }
inline void utPlatSocketErrorSet(int32_t code) { utPlatSocketErrorWord = code; }
