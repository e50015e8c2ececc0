// The system keeps both words itself, and its socket layer keeps its last error in the same one.
#include "platform/platform.h"

#include <winsock2.h>

#include <windows.h>

#include <cstdlib>
#include <cstring>

int32_t utPlatErrorGet() { return static_cast<int32_t>(GetLastError()); }
void utPlatErrorSet(int32_t code) { SetLastError(static_cast<DWORD>(code)); }
int32_t utPlatSocketErrorGet() { return WSAGetLastError(); }
void utPlatSocketErrorSet(int32_t code) { WSASetLastError(code); }

bool utPlatErrnoText(int32_t code, char *text, int32_t size) {
  if (code < 1 || code >= _sys_nerr) return false;
  std::strncpy(text, std::strerror(code), static_cast<size_t>(size) - 1);
  text[size - 1] = '\0';
  return true;
}

bool utPlatErrorText(int32_t code, char *text, int32_t size) {
  return FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                        static_cast<DWORD>(code), 0, text, static_cast<DWORD>(size), nullptr) != 0;
}
