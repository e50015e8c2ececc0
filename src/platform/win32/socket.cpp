#include "platform/platform_socket.h"

#include <winsock2.h>

PlatSocketStart utPlatSocketStart() {
  const WORD wanted = MAKEWORD(2, 0);
  WSADATA granted;
  if (const int code = WSAStartup(wanted, &granted)) {
    WSASetLastError(code);
    return PlatSocketStart::failed;
  }
  if (granted.wVersion == wanted) return PlatSocketStart::started;
  WSACleanup();
  return PlatSocketStart::wrongVersion;
}

void utPlatSocketEnd() { WSACleanup(); }
