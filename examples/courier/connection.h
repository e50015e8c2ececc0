// The courier's connections. Each has a thread that reads and one that writes, so that a slow,
// silent or hostile peer delays no other connection.
#pragma once

#include "zut.h"

// Options and the trace object; before all else.
void connectionsInit();

// Takes a connected socket and serves it from now on.
void connectionBegin(int32_t socket);
// Sends the text to the newest connection, or to all. Returns the number of connections.
int32_t connectionSend(const char *text);
int32_t connectionBroadcast(const char *text);
// Closes one connection after its queue is sent; false when no connection has that number.
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
