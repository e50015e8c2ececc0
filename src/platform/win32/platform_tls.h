// The thread's library block. Reading a slot clears the system's last error, so both calls keep
// it (tls.cpp).
#pragma once

void *utPlatThreadBlockGet();
void utPlatThreadBlockSet(void *block);
