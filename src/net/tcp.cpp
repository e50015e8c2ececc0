// TCP servers and clients. A client connects in two phases, begin and complete, so that the wait
// between them can have a time-out. The options of a socket are read when it is made.
#include "base/check.h"
#include "base/env.h"
#include "base/errword.h"
#include "base/report.h"
#include "base/setting.h"
#include "base/text.h"
#include "core/utout/utout.h"
#include "net/socket.h"
#include "platform/platform.h"

#include <algorithm>
#include <chrono>

namespace {

constexpr int32_t timedOut = 10060;
constexpr int32_t protocolNotSupported = 10043;

// Prints the report when the system refused a setting; the socket is used without it.
using Report = void (*)(int32_t level);
void expect(bool done, Report refused) {
  if (done) return;
  ZutErrNumSetSocket(0);
  refused(Z_TRACE_LEVEL_WARNING);
  ZutPerror("setsockopt");
}

void applyLinger(int32_t socket, const char *operation, Report refused) {
  const int32_t wanted = utToInt32(utOptionNumber("_socket_linger_time", 0.0));
  const bool on = utOptionFlag("_socket_linger", false) && wanted > 0;
  const int32_t seconds = on ? wanted : 0;
  if (struct ZutTrace *trace = utDefaultTraceObj.load(std::memory_order_acquire)) {
    ZutTrace(trace, Z_TRACE_LEVEL_DEBUG, "<%s> Setting SO_LINGER onoff: %d, linger: %d.\n",
             operation, on ? 1 : 0, seconds);
  }
  expect(utPlatSocketSetLinger(socket, on, seconds), refused);
}

// The value of a boolean option. False when the option does not exist: reading it then returns
// whichever fallback is passed.
bool isKnown(const char *option, bool *value) {
  *value = utOptionFlag(option, false);
  return *value == utOptionFlag(option, true);
}

void applyKeepAlive(int32_t socket, Report refused) {
  bool on;
  if (!isKnown("_socket_tcp_keepalive", &on)) return;
  utReport<Msg::socketKeepAlive>(Z_TRACE_LEVEL_INFO, on);
  expect(utPlatSocketSet(socket, PlatSocketSetting::keepAlive, on), refused);
}

void applyNoDelay(int32_t socket, Report refused) {
  bool on;
  if (!isKnown("_socket_tcp_nodelay", &on)) return;
  expect(utPlatSocketSet(socket, PlatSocketSetting::noDelay, on), refused);
}

void prepareServer(int32_t socket) {
  utSocketPrepare(socket);
  const bool reuses = utOptionFlag("_socket_reuseaddr", false);
  expect(utPlatSocketSet(socket, PlatSocketSetting::reuseAddress, reuses),
         utReport<Msg::serverReuse>);
  applyLinger(socket, "ZutSocketCreateServerTcpEx", utReport<Msg::serverLinger>);
  applyKeepAlive(socket, utReport<Msg::serverKeepAlive>);
  applyNoDelay(socket, utReport<Msg::serverNoDelay>);
}

void prepareClient(int32_t socket) {
  utSocketPrepare(socket);
  applyLinger(socket, "ZutSocketConnectBeginTcp", utReport<Msg::clientLinger>);
  applyKeepAlive(socket, utReport<Msg::clientKeepAlive>);
  applyNoDelay(socket, utReport<Msg::clientNoDelay>);
}

bool addressOfNode(const char *node, uint32_t *address) {
  if (utEnvIsSet("TRANSLATE_NODE_NAME")) {
    const EnvText other(node);
    if (other) return utSocketAddressOf(other.get(), address);
  }
  return utSocketAddressOf(node, address);
}

// Waits until connecting has ended. A signal ends a single wait: the remaining time is waited for
// again, unless the interrupt counter asks to stop.
// Result: 0, or why the wait ended early.
int32_t waitForConnection(int32_t socket, double timeout) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point begin = Clock::now();
  for (double rest = timeout; !ZutSocketCheck(socket, 1, rest);) {
    if (utErrGet() == Err::interrupted) return utPlatInterrupted;
    if (utErrGet() != Err::socket || ZutErrNumGetSocket() != utPlatInterrupted) return timedOut;
    const std::chrono::duration<double> passed = Clock::now() - begin;
    utCheck(passed.count() >= 0.0);
    if (timeout >= 0.0) rest = std::max(timeout - passed.count(), 0.0);
  }
  return 0;
}

// False, with the socket error, when the socket is not connected after the wait.
bool isConnected(int32_t socket, double timeout) {
  const int32_t ended = waitForConnection(socket, timeout);
  int32_t pending = 0;
  if (!utPlatSocketGet(socket, PlatSocketSetting::pendingError, &pending)) return false;
  const int32_t reason = pending ? pending : ended;
  utCheck(reason >= 0);
  if (reason) utPlatSocketErrorSet(reason);
  return reason == 0;
}

// After a signal has ended the blocking call, the system goes on connecting.
bool connectWaiting(int32_t socket, uint32_t address, int32_t port) {
  if (utPlatSocketConnect(socket, address, port)) return true;
  return utSocketMayRepeat() && isConnected(socket, -1.0);
}

bool connectAtOnce(int32_t socket, uint32_t address, int32_t port) {
  return utPlatSocketConnect(socket, address, port) || utPlatSocketErrorGet() == utPlatWouldBlock;
}

} // namespace

extern "C" {

int32_t Z_CALL ZutSocketCreateServerTcp(int32_t port) {
  return ZutSocketCreateServerTcpEx("_any", port);
}

int32_t Z_CALL ZutSocketCreateServerTcpEx(const char *address, int32_t port) {
  if (!address) return utFailSocket(Err::nullPointer);
  if (const Err fault = utSocketPortFault(port, -1); fault != Err::none) return utFailSocket(fault);
  ZutWinStartWinsock();
  const int32_t socket = utPlatSocketOpen(PlatSocketKind::tcp);
  if (socket == -1) return utSocketFail("socket");
  prepareServer(socket);
  uint32_t local = 0;
  if (!utSameWord(address, "_any") && !utSocketAddressOf(address, &local)) {
    utSocketCloseUnused(socket);
    return -1;
  }
  if (!utPlatSocketBind(socket, local, port)) return utSocketFailAndClose(socket, "bind");
  const int32_t backlog = utToInt32(utOptionNumber("_socket_listen_backlog", 0.0));
  if (!utPlatSocketListen(socket, backlog)) return utSocketFailAndClose(socket, "listen");
  return socket;
}

int32_t Z_CALL ZutSocketConnectBeginTcp(const char *node, int32_t port, int32_t block) {
  if (!node) return utFail(Err::nullPointer);
  if (const Err fault = utSocketPortFault(port, 1); fault != Err::none) return utFail(fault);
  ZutWinStartWinsock();
  uint32_t address;
  if (!addressOfNode(node, &address)) return -1;
  const int32_t socket = utPlatSocketOpen(PlatSocketKind::tcp);
  if (socket == -1) return utSocketFail("socket");
  prepareClient(socket);
  if (block == 0) ZutSocketSetBlockMode(socket, 0);
  const auto connect = block == 0 ? connectAtOnce : connectWaiting;
  return connect(socket, address, port) ? socket : utSocketFailAndClose(socket, "connect");
}

int32_t Z_CALL ZutSocketConnectCompleteTcp(int32_t socket, double timeout) {
  if (socket == -1) return utFail(Err::invalid);
  if (!isConnected(socket, timeout)) {
    utSocketFailAndClose(socket, "connect");
    return 0;
  }
  ZutSocketSetBlockMode(socket, 1);
  return 1;
}

int32_t Z_CALL ZutSocketCreateClientTcp(const char *node, int32_t port) {
  if (!node) return utFailSocket(Err::nullPointer);
  if (const Err fault = utSocketPortFault(port, 1); fault != Err::none) return utFailSocket(fault);
  const double timeout = utOptionNumber("socket_connect_timeout", 0.0);
  const bool waits = timeout > 0.0;
  const int32_t socket = ZutSocketConnectBeginTcp(node, port, waits ? 0 : 1);
  if (socket == -1) return -1;
  return ZutSocketConnectCompleteTcp(socket, waits ? timeout : 0.0) ? socket : -1;
}

int32_t Z_CALL ZutSocketAccept(int32_t listener) {
  if (listener < 0) return utFailSocket(Err::tooSmall);
  PlatSocketName peer;
  int32_t socket = -1;
  do socket = utPlatSocketAccept(listener, &peer);
  while (socket == -1 && utSocketMayRepeat());
  if (socket == -1) {
    if (utPlatSocketErrorGet() == utPlatWouldBlock) utErrSet(Err::wouldBlock);
    else utSocketFail("accept");
    utReport<Msg::socketAccess>(Z_TRACE_LEVEL_VERBOSE, "denied", 0, "an unknown node");
    return -1;
  }
  utSocketPrepare(socket);
  char address[utSocketNameSize];
  utSocketNameText(peer, false, address);
  utReport<Msg::socketAccess>(Z_TRACE_LEVEL_VERBOSE, "allowed", peer.port, address);
  return socket;
}

int32_t Z_CALL ZutSocketConnectBeginLocal(const char *) {
  ZutWinStartWinsock();
  return -1;
}

int32_t Z_CALL ZutSocketConnectCompleteLocal(int32_t) { return 1; }

int32_t Z_CALL ZutSocketCreateClientLocal(const char *name) {
  if (!name) utErrSet(Err::nullPointer);
  return -1;
}

int32_t Z_CALL ZutSocketCreateServerDecnet(const char *object) {
  return ZutSocketCreateClientDecnet("", object);
}

int32_t Z_CALL ZutSocketCreateClientDecnet(const char *node, const char *object) {
  if (!node || !object) return utFail(Err::nullPointer);
  ZutErrNumSetSocket(protocolNotSupported);
  ZutPerror("decnet");
  return -1;
}

} // extern "C"
