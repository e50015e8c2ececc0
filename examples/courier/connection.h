// The courier's connections. Each has a thread that reads and one that writes, so that a peer that
// is slow, silent or hostile holds up nobody else.
#pragma once

#include "zut.h"

// Options and the trace object; before all else.
void connectionsInit();

// Takes a connected socket and serves it from now on.
void connectionBegin(int32_t socket);
// Give the number of connections to which the text goes: the newest one, or all.
int32_t connectionSend(const char *text);
int32_t connectionBroadcast(const char *text);
// Closes one connection, once what it was given to send is sent; false when there is none of that
// number.
bool connectionEnd(int32_t number);
// The same for all; waits until they are gone, a few seconds at most.
void connectionsEnd();

void connectionsPrint();
void connectionsPrintStats();

// Raised by the thread of the connection on which a message came.
constexpr int32_t arrivalType = 1;
struct Arrival {
  ZutCb *cb;
  const char *from;
  const char *text; // fit to be printed
};
