// What the socket modules share.
#pragma once

#include "base/errword.h"
#include "platform/platform_socket.h"
#include "zut.h"

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

// After a call of the system that failed: it was ended by a signal, and the interrupt counter does
// not say that the caller is to stop. Such a call is repeated.
bool utSocketMayRepeat();

// Closes a socket that was not handed out, whatever the option says of closing; keeps the error
// state.
void utSocketDiscard(int32_t socket);

// Ends a failing step: takes the reason from the system, prints it with the call's name, closes the
// socket and keeps the reason as the caller's error state. Gives -1.
int32_t utSocketGiveUp(int32_t socket, const char *call);
// The same when there is no socket, or when it is to stay.
int32_t utSocketFail(const char *call);

// What every new socket gets: the sizes of its buffers.
void utSocketPrepare(int32_t socket);

// The address of a node's name or of numbers and dots.
bool utSocketAddressOf(const char *text, uint32_t *address);
// Where to send what all hosts of a node's network shall get. Prints nothing.
bool utSocketBroadcastAddress(const char *text, uint32_t *address);
// Room for the text of any address, with its port.
constexpr int32_t utSocketNameSize = 22;
// Writes "a.b.c.d", with ":port" behind it when `withPort`; "local" without an address.
void utSocketNameText(const PlatSocketName &name, bool withPort, char *text);
