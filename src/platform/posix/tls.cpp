#include "platform_tls.h"

constinit thread_local void *utPlatThreadBlockSlot = nullptr;
