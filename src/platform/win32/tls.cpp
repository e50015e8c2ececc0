#include "platform_tls.h"

#include <windows.h>

namespace {

// Taken while the library is being loaded, before any thread can ask for its block.
const DWORD slot = TlsAlloc();

} // namespace

// TlsGetValue sets the last error to 0 when it succeeds; here a failing operation's reason must
// survive the setting of the library's error number.
void *utPlatThreadBlockGet() {
  const DWORD error = GetLastError();
  void *block = TlsGetValue(slot);
  SetLastError(error);
  return block;
}

void utPlatThreadBlockSet(void *block) {
  const DWORD error = GetLastError();
  TlsSetValue(slot, block);
  SetLastError(error);
}
