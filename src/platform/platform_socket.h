// What the library needs of the system's sockets: those of the internet, version 4.
//
// A socket is the system's value. Sockets made here are not handed down to child processes. What
// fails sets the socket error. Addresses are in network order, ports in the machine's.
#pragma once

#include <cstdint>

// The Windows Sockets code for an errno value: what the socket error is set to. A value that has
// none is given back.
int32_t utPlatSocketCode(int32_t code);

enum class PlatSocketStart { started, failed, wrongVersion };
// Starts the socket layer in version 2.0. On `failed` the socket error is set; only after `started`
// must it be ended.
PlatSocketStart utPlatSocketStart();
void utPlatSocketEnd();

enum class PlatSocketKind { tcp, udp };
// A new socket, or -1.
int32_t utPlatSocketOpen(PlatSocketKind kind);
bool utPlatSocketClose(int32_t socket);
bool utPlatSocketBind(int32_t socket, uint32_t address, int32_t port);
bool utPlatSocketListen(int32_t socket, int32_t backlog);
// A socket that does not block fails with `utPlatWouldBlock` while the connection is under way.
bool utPlatSocketConnect(int32_t socket, uint32_t address, int32_t port);
bool utPlatSocketSetBlocking(int32_t socket, bool blocking);

constexpr int32_t utPlatInterrupted = 10004;
constexpr int32_t utPlatWouldBlock = 10035;

struct PlatSocketName {
  bool internet; // else a socket within the machine, which has no address
  uint32_t address;
  int32_t port;
};
// A new socket, which blocks if the listener does, and its peer's name, or -1.
int32_t utPlatSocketAccept(int32_t listener, PlatSocketName *peer);
bool utPlatSocketName(int32_t socket, PlatSocketName *name);
bool utPlatSocketPeerName(int32_t socket, PlatSocketName *name);

enum class PlatSocketSetting {
  reuseAddress,
  keepAlive,
  noDelay,
  broadcast,
  sendSize,
  receiveSize,
  pendingError, // to read only: a Windows Sockets code, cleared by reading
};
bool utPlatSocketSet(int32_t socket, PlatSocketSetting setting, int32_t value);
bool utPlatSocketGet(int32_t socket, PlatSocketSetting setting, int32_t *value);
bool utPlatSocketSetLinger(int32_t socket, bool on, int32_t seconds);

enum class PlatSocketFor {
  reading,
  writing,
  data, // as reading, but urgent data, which stays until it is asked for, ends no wait
};
enum class PlatSocketWait { ready, timedOut, exception, failed };
// Waits until the socket can be read or written; a time-out below 0 waits for ever. Not disturbed
// by steps of the clock. `exception`: only urgent data or, on Windows, a failed connection.
PlatSocketWait utPlatSocketWait(int32_t socket, PlatSocketFor what, double timeout);

// Receives what is there, up to `length` bytes; 0 when the peer has closed, -1 on failure.
int32_t utPlatSocketReceive(int32_t socket, void *buffer, int32_t length, int32_t flags);
// The same without waiting: `utPlatNothingYet`, and no socket error, when nothing is there or the
// system cannot do it.
constexpr int32_t utPlatNothingYet = -2;
int32_t utPlatSocketReceiveNow(int32_t socket, void *buffer, int32_t length, int32_t flags);

// Numbers and dots, in the short and octal forms too.
bool utPlatAddressParse(const char *text, uint32_t *address);
// The first address of a host.
bool utPlatAddressOfHost(const char *name, uint32_t *address);
