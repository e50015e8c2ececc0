// The thread's library block, one load away.
#pragma once

extern constinit thread_local void *utPlatThreadBlockSlot
    __attribute__((tls_model("initial-exec"), visibility("hidden")));

inline void *utPlatThreadBlockGet() { return utPlatThreadBlockSlot; }
inline void utPlatThreadBlockSet(void *block) { utPlatThreadBlockSlot = block; }
