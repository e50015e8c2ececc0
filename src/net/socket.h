// What the socket modules share.
#pragma once

#include "base/errword.h"
#include "platform/platform_socket.h"
#include "zut.h"

constexpr int32_t utHostUnreachable = 10065; // a socket error

// -1, no socket, with the error number.
inline int32_t utFailSocket(Err error) {
  utErrSet(error);
  return -1;
}

// What is wrong with a port, which must not be below `smallest`; `none` when nothing is.
constexpr Err utSocketPortFault(int32_t port, int32_t smallest) {
  if (port < smallest) return Err::tooSmall;
  return port > UINT16_MAX ? Err::tooLarge : Err::none;
}

// After a failed system call: whether to repeat it, because a signal ended it and the interrupt
// counter does not ask to stop.
bool utSocketMayRepeat();

// Closes a socket that the caller has not got, even if the close time-out is 0. Keeps the error
// state.
void utSocketCloseUnused(int32_t socket);

// After a failed system call: takes the reason from the system, prints it with the call's name,
// closes the socket and leaves the reason as the error state. Returns -1.
int32_t utSocketFailAndClose(int32_t socket, const char *call);
// The same without closing a socket.
int32_t utSocketFail(const char *call);

// Sets the buffer sizes that the option asks for.
void utSocketPrepare(int32_t socket);

// The address of a node's name or of numbers and dots.
bool utSocketAddressOf(const char *text, uint32_t *address);
// The broadcast address of a node's network. Prints nothing.
bool utSocketBroadcastAddress(const char *text, uint32_t *address);
// Room for the text of any address, with its port.
constexpr int32_t utSocketNameSize = 22;
// Writes "a.b.c.d", followed by ":port" when `withPort`; "local" without an address.
void utSocketNameText(const PlatSocketName &name, bool withPort, char *text);
