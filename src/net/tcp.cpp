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

void traceLinger(const char *operation, bool on, int32_t seconds) {
  if (struct ZutTrace *trace = utDefaultTraceObj.load(std::memory_order_acquire)) {
    ZutTrace(trace, Z_TRACE_LEVEL_DEBUG, "<%s> Setting SO_LINGER onoff: %d, linger: %d.\n",
             operation, on ? 1 : 0, seconds);
  }
}

// Reports a setting that the system refused; the socket is used without it.
template <Msg M>
void expect(bool done) {
  if (done) return;
  ZutErrNumSetSocket(0);
  utReport<M>(Z_TRACE_LEVEL_WARNING);
  ZutPerror("setsockopt");
}

template <Msg M>
void applyLinger(int32_t socket, const char *operation) {
  const int32_t wanted = utToInt32(utOptionNumber("_socket_linger_time", 0.0));
  const bool on = utOptionFlag("_socket_linger", false) && wanted > 0;
  const int32_t seconds = on ? wanted : 0;
  traceLinger(operation, on, seconds);
  expect<M>(utPlatSocketSetLinger(socket, on, seconds));
}

// The value of a boolean option. False when the option does not exist: reading it then returns
// whichever fallback is passed.
bool isKnown(const char *option, bool *value) {
  *value = utOptionFlag(option, false);
  return *value == utOptionFlag(option, true);
}

template <Msg M>
void applyKeepAlive(int32_t socket) {
  bool on;
  if (!isKnown("_socket_tcp_keepalive", &on)) return;
  utReport<Msg::socketKeepAlive>(Z_TRACE_LEVEL_INFO, on);
  expect<M>(utPlatSocketSet(socket, PlatSocketSetting::keepAlive, on));
}

template <Msg M>
void applyNoDelay(int32_t socket) {
  bool on;
  if (!isKnown("_socket_tcp_nodelay", &on)) return;
  expect<M>(utPlatSocketSet(socket, PlatSocketSetting::noDelay, on));
}

void prepareServer(int32_t socket) {
  utSocketPrepare(socket);
  expect<Msg::serverReuse>(utPlatSocketSet(socket, PlatSocketSetting::reuseAddress,
                                           utOptionFlag("_socket_reuseaddr", false)));
  applyLinger<Msg::serverLinger>(socket, "ZutSocketCreateServerTcpEx");
  applyKeepAlive<Msg::serverKeepAlive>(socket);
  applyNoDelay<Msg::serverNoDelay>(socket);
}

void prepareClient(int32_t socket) {
  utSocketPrepare(socket);
  applyLinger<Msg::clientLinger>(socket, "ZutSocketConnectBeginTcp");
  applyKeepAlive<Msg::clientKeepAlive>(socket);
  applyNoDelay<Msg::clientNoDelay>(socket);
}

// Closes a socket whose name or address is wrong: the reason is set already.
int32_t drop(int32_t socket) {
  utSocketDiscard(socket);
  return -1;
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

int32_t accepted(int32_t socket, const PlatSocketName &peer) {
  utSocketPrepare(socket);
  char address[utSocketNameSize];
  utSocketNameText(peer, false, address);
  utReport<Msg::socketAccess>(Z_TRACE_LEVEL_VERBOSE, "allowed", peer.port, address);
  return socket;
}

int32_t notAccepted() {
  if (utPlatSocketErrorGet() == utPlatWouldBlock) {
    utErrSet(Err::wouldBlock);
  } else {
    utSocketFail("accept");
  }
  utReport<Msg::socketAccess>(Z_TRACE_LEVEL_VERBOSE, "denied", 0, "an unknown node");
  return -1;
}

int32_t noDecnet() {
  ZutErrNumSetSocket(protocolNotSupported);
  ZutPerror("decnet");
  return -1;
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
  if (!utSameWord(address, "_any") && !utSocketAddressOf(address, &local)) return drop(socket);
  if (!utPlatSocketBind(socket, local, port)) return utSocketGiveUp(socket, "bind");
  const int32_t backlog = utToInt32(utOptionNumber("_socket_listen_backlog", 0.0));
  if (!utPlatSocketListen(socket, backlog)) return utSocketGiveUp(socket, "listen");
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
  return connect(socket, address, port) ? socket : utSocketGiveUp(socket, "connect");
}

int32_t Z_CALL ZutSocketConnectCompleteTcp(int32_t socket, double timeout) {
  if (socket == -1) return utFail(Err::invalid);
  if (!isConnected(socket, timeout)) {
    utSocketGiveUp(socket, "connect");
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
  return socket == -1 ? notAccepted() : accepted(socket, peer);
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
  return object ? noDecnet() : utFail(Err::nullPointer);
}

int32_t Z_CALL ZutSocketCreateClientDecnet(const char *node, const char *object) {
  return node && object ? noDecnet() : utFail(Err::nullPointer);
}

} // extern "C"
