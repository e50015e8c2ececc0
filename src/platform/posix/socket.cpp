#include "platform/platform_socket.h"

#include "platform/platform.h"
#include "posix_signal.h"

#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/socketnames.h"

namespace {

// False, with the socket error of errno.
bool fail() {
  utPlatSocketErrorSet(utPlatSocketCode(errno));
  return false;
}

bool outcome(int result) { return result == 0 || fail(); }

// Room for the name of any socket.
union AnyName {
  sockaddr base;
  sockaddr_in internet;
  sockaddr_un local;
};

PlatSocketName nameOf(const AnyName &name) {
  if (name.base.sa_family != AF_INET) return {false, 0, 0};
  return {true, name.internet.sin_addr.s_addr, ntohs(name.internet.sin_port)};
}

int32_t received(ssize_t count) {
  if (count < 0) fail();
  return static_cast<int32_t>(count);
}

// The flag with which another socket gets the blocking mode of this one.
int blockingOf(int32_t socket) {
  const int flags = fcntl(socket, F_GETFL);
  return flags >= 0 && flags & O_NONBLOCK ? SOCK_NONBLOCK : 0;
}

} // namespace

// Sockets need no start here. But a write to a socket that its peer has closed must fail, not end
// the process.
PlatSocketStart utPlatSocketStart() {
  utPosixCatch(SIGPIPE);
  return PlatSocketStart::started;
}

void utPlatSocketEnd() {}

int32_t utPlatSocketOpen(PlatSocketKind kind) {
  const int type = kind == PlatSocketKind::tcp ? SOCK_STREAM : SOCK_DGRAM;
  const int socket = ::socket(AF_INET, type | SOCK_CLOEXEC, 0);
  if (socket < 0) fail();
  return socket;
}

// The descriptor is gone even if the call was interrupted.
bool utPlatSocketClose(int32_t socket) { return close(socket) == 0 || errno == EINTR || fail(); }

bool utPlatSocketBind(int32_t socket, uint32_t address, int32_t port) {
  const sockaddr_in name = utPlatMakeAddress(address, port);
  return outcome(bind(socket, reinterpret_cast<const sockaddr *>(&name), sizeof name));
}

bool utPlatSocketListen(int32_t socket, int32_t backlog) {
  return outcome(listen(socket, backlog));
}

bool utPlatSocketConnect(int32_t socket, uint32_t address, int32_t port) {
  const sockaddr_in name = utPlatMakeAddress(address, port);
  if (connect(socket, reinterpret_cast<const sockaddr *>(&name), sizeof name) == 0) return true;
  if (errno == EINPROGRESS) errno = EAGAIN;
  return fail();
}

bool utPlatSocketSetBlocking(int32_t socket, bool blocking) {
  int flag = blocking ? 0 : 1;
  return outcome(ioctl(socket, FIONBIO, &flag));
}

int32_t utPlatSocketAccept(int32_t listener, PlatSocketName *peer) {
  AnyName name{};
  socklen_t size = sizeof name;
  const int socket = accept4(listener, &name.base, &size, SOCK_CLOEXEC | blockingOf(listener));
  if (socket < 0) fail();
  *peer = nameOf(name);
  return socket;
}

bool utPlatSocketName(int32_t socket, PlatSocketName *name) {
  AnyName found{};
  socklen_t size = sizeof found;
  const bool done = outcome(getsockname(socket, &found.base, &size));
  *name = nameOf(found);
  return done;
}

bool utPlatSocketPeerName(int32_t socket, PlatSocketName *name) {
  AnyName found{};
  socklen_t size = sizeof found;
  const bool done = outcome(getpeername(socket, &found.base, &size));
  *name = nameOf(found);
  return done;
}

bool utPlatSocketSet(int32_t socket, PlatSocketSetting setting, int32_t value) {
  const PlatSettingName row = utPlatSettingName(setting);
  return outcome(setsockopt(socket, row.level, row.name, &value, sizeof value));
}

bool utPlatSocketGet(int32_t socket, PlatSocketSetting setting, int32_t *value) {
  const PlatSettingName row = utPlatSettingName(setting);
  socklen_t size = sizeof *value;
  if (!outcome(getsockopt(socket, row.level, row.name, value, &size))) return false;
  if (setting == PlatSocketSetting::pendingError) *value = utPlatSocketCode(*value);
  return true;
}

bool utPlatSocketSetLinger(int32_t socket, bool on, int32_t seconds) {
  const linger value{on ? 1 : 0, seconds};
  return outcome(setsockopt(socket, SOL_SOCKET, SO_LINGER, &value, sizeof value));
}

// poll, which takes a descriptor of any value.
PlatSocketWait utPlatSocketWait(int32_t socket, PlatSocketFor what, double timeout) {
  constexpr double longest = 1e9;
  timespec limit{};
  if (timeout >= 0.0) {
    timeout = timeout < longest ? timeout : longest;
    limit.tv_sec = static_cast<time_t>(timeout);
    limit.tv_nsec = static_cast<long>((timeout - static_cast<double>(limit.tv_sec)) * 1e9);
  }
  const int ready = what == PlatSocketFor::writing ? POLLOUT : POLLIN;
  const int urgent = what == PlatSocketFor::data ? 0 : POLLPRI;
  pollfd wanted{socket, static_cast<short>(ready | urgent), 0};
  const int count = ppoll(&wanted, 1, timeout >= 0.0 ? &limit : nullptr, nullptr);
  if (count == 0) return PlatSocketWait::timedOut;
  if (count > 0 && (wanted.revents & POLLNVAL)) {
    errno = ENOTSOCK;
  } else if (count > 0) {
    // The end of a connection, or its failure, can be read and be written: the call that does so
    // tells of it.
    const bool only = (wanted.revents & ~POLLPRI) == 0;
    return only ? PlatSocketWait::exception : PlatSocketWait::ready;
  }
  fail();
  return PlatSocketWait::failed;
}

int32_t utPlatSocketReceive(int32_t socket, void *buffer, int32_t length, int32_t flags) {
  return received(recv(socket, buffer, static_cast<size_t>(length), flags));
}

int32_t utPlatSocketReceiveNow(int32_t socket, void *buffer, int32_t length, int32_t flags) {
  const ssize_t count = recv(socket, buffer, static_cast<size_t>(length), flags | MSG_DONTWAIT);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return utPlatNothingYet;
  return received(count);
}

bool utPlatAddressParse(const char *text, uint32_t *address) {
  in_addr found{};
  if (!inet_aton(text, &found)) return false;
  *address = found.s_addr;
  return true;
}

bool utPlatAddressOfHost(const char *name, uint32_t *address) {
  return utPlatFindHost(name, address);
}
