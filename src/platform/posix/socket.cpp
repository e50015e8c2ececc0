// Sockets need no start here.
#include "platform/platform_socket.h"

PlatSocketStart utPlatSocketStart() { return PlatSocketStart::started; }
void utPlatSocketEnd() {}
