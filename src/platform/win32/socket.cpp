#include "platform/platform_socket.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include "platform/socketnames.h"

namespace {

// Calls set the socket error themselves.
bool outcome(int result) { return result == 0; }

PlatSocketName nameOf(const sockaddr_in &name) {
  if (name.sin_family != AF_INET) return {false, 0, 0};
  return {true, name.sin_addr.s_addr, ntohs(name.sin_port)};
}

// Socket values are kernel handles, small numbers; INVALID_SOCKET becomes -1.
SOCKET handle(int32_t socket) { return static_cast<SOCKET>(socket); }

int32_t keep(SOCKET socket) {
  if (socket != INVALID_SOCKET) {
    SetHandleInformation(reinterpret_cast<HANDLE>(socket), HANDLE_FLAG_INHERIT, 0);
  }
  return static_cast<int32_t>(socket);
}

} // namespace

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

int32_t utPlatSocketOpen(PlatSocketKind kind) {
  return keep(socket(AF_INET, kind == PlatSocketKind::tcp ? SOCK_STREAM : SOCK_DGRAM, 0));
}

bool utPlatSocketClose(int32_t socket) { return outcome(closesocket(handle(socket))); }

bool utPlatSocketBind(int32_t socket, uint32_t address, int32_t port) {
  const sockaddr_in name = utPlatMakeAddress(address, port);
  return outcome(bind(handle(socket), reinterpret_cast<const sockaddr *>(&name), sizeof name));
}

bool utPlatSocketListen(int32_t socket, int32_t backlog) {
  return outcome(listen(handle(socket), backlog));
}

bool utPlatSocketConnect(int32_t socket, uint32_t address, int32_t port) {
  const sockaddr_in name = utPlatMakeAddress(address, port);
  return outcome(connect(handle(socket), reinterpret_cast<const sockaddr *>(&name), sizeof name));
}

bool utPlatSocketSetBlocking(int32_t socket, bool blocking) {
  u_long flag = blocking ? 0 : 1;
  return outcome(ioctlsocket(handle(socket), static_cast<long>(FIONBIO), &flag));
}

int32_t utPlatSocketAccept(int32_t listener, PlatSocketName *peer) {
  sockaddr_in name{};
  int size = sizeof name;
  const int32_t socket = keep(accept(handle(listener), reinterpret_cast<sockaddr *>(&name), &size));
  *peer = nameOf(name);
  return socket;
}

bool utPlatSocketName(int32_t socket, PlatSocketName *name) {
  sockaddr_in found{};
  int size = sizeof found;
  const bool done =
      outcome(getsockname(handle(socket), reinterpret_cast<sockaddr *>(&found), &size));
  *name = nameOf(found);
  return done;
}

bool utPlatSocketPeerName(int32_t socket, PlatSocketName *name) {
  sockaddr_in found{};
  int size = sizeof found;
  const bool done =
      outcome(getpeername(handle(socket), reinterpret_cast<sockaddr *>(&found), &size));
  *name = nameOf(found);
  return done;
}

bool utPlatSocketSet(int32_t socket, PlatSocketSetting setting, int32_t value) {
  const PlatSettingName row = utPlatSettingName(setting);
  return outcome(setsockopt(handle(socket), row.level, row.name,
                            reinterpret_cast<const char *>(&value), sizeof value));
}

bool utPlatSocketGet(int32_t socket, PlatSocketSetting setting, int32_t *value) {
  const PlatSettingName row = utPlatSettingName(setting);
  int size = sizeof *value;
  return outcome(
      getsockopt(handle(socket), row.level, row.name, reinterpret_cast<char *>(value), &size));
}

bool utPlatSocketSetLinger(int32_t socket, bool on, int32_t seconds) {
  const linger value{static_cast<u_short>(on ? 1 : 0),
                     static_cast<u_short>(seconds < 65535 ? seconds : 65535)};
  return outcome(setsockopt(handle(socket), SOL_SOCKET, SO_LINGER,
                            reinterpret_cast<const char *>(&value), sizeof value));
}

PlatSocketWait utPlatSocketWait(int32_t socket, PlatSocketFor what, double timeout) {
  constexpr double longest = 1e9;
  timeval limit{};
  if (timeout >= 0.0) {
    timeout = timeout < longest ? timeout : longest;
    limit.tv_sec = static_cast<long>(timeout);
    limit.tv_usec = static_cast<long>((timeout - static_cast<double>(limit.tv_sec)) * 1e6);
  }
  fd_set wanted, exceptions;
  FD_ZERO(&wanted);
  FD_SET(handle(socket), &wanted);
  exceptions = wanted;
  const bool write = what == PlatSocketFor::writing;
  const int count = select(0, write ? nullptr : &wanted, write ? &wanted : nullptr,
                           what == PlatSocketFor::data ? nullptr : &exceptions,
                           timeout >= 0.0 ? &limit : nullptr);
  if (count < 0) return PlatSocketWait::failed;
  if (count == 0) return PlatSocketWait::timedOut;
  return FD_ISSET(handle(socket), &wanted) ? PlatSocketWait::ready : PlatSocketWait::exception;
}

int32_t utPlatSocketReceive(int32_t socket, void *buffer, int32_t length, int32_t flags) {
  return recv(handle(socket), static_cast<char *>(buffer), length, flags);
}

// Windows has no receiving without waiting on a socket that waits.
int32_t utPlatSocketReceiveNow(int32_t, void *, int32_t, int32_t) { return utPlatNothingYet; }

bool utPlatAddressParse(const char *text, uint32_t *address) {
  const uint32_t found = inet_addr(text);
  if (found == INADDR_NONE || !*text) return false;
  *address = found;
  return true;
}

bool utPlatAddressOfHost(const char *name, uint32_t *address) {
  return utPlatFindHost(name, address);
}
