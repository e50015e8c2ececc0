// What the socket modules share.
#pragma once

#include "core/errnum.h"
#include "platform/platform_socket.h"
#include "zut.h"

// -1, no socket, with the error number.
inline int32_t utFailSocket(Err error) {
  utErrSet(error);
  return -1;
}

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
