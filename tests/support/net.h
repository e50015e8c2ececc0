// Bare calls of the system on sockets, for the tests.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

// Sends all of it; false when the system refuses.
bool sendBytes(int32_t socket, const std::string &bytes);
// Sends a byte as urgent data, which lies beside the others.
bool sendUrgent(int32_t socket);
// Sends one datagram to a record as ZutSocketCreateClientBcast fills it.
bool sendDatagram(int32_t socket, const void *destination, const std::string &bytes);
// Closes so that the peer sees a reset, not an end.
void closeWithReset(int32_t socket);
// Closes without asking the library.
void closeBare(int32_t socket);
// Descriptors, or on Windows handles, that the process has open.
int openDescriptors();
// Lets the process open `count` more descriptors; false where the system cannot.
bool allowDescriptors(int count);
// Runs `function` while this thread catches a signal again and again, and `later` in another thread
// once some were caught; false where the system cannot.
bool runInterrupted(
    const std::function<void()> &function, const std::function<void()> &later = [] {});
