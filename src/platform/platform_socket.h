// What the library needs of the system's sockets.
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
