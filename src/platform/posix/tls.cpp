#include "platform_tls.h"

#include "platform_sync.h"

#include <atomic>

constinit thread_local void *utPlatThreadBlockSlot = nullptr;
constinit thread_local uintptr_t utPlatTokenSlot = Z_NO_TOKEN;

// The thread's address would do but for one thing: the next thread gets it again, and would pass as
// the holder of what an ended one has not given back.
uintptr_t utPlatThreadTokenMake() {
  static constinit std::atomic<uintptr_t> last{Z_NO_TOKEN};
  return utPlatTokenSlot = last.fetch_add(1, std::memory_order_relaxed) + 1;
}
