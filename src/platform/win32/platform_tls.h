// The thread's library block and last errors. Reading a slot clears the system's last error, so
// both calls of the block keep it (tls.cpp).
#pragma once

#include <cstdint>

void *utPlatThreadBlockGet();
void utPlatThreadBlockSet(void *block);

int32_t utPlatErrorGet();
void utPlatErrorSet(int32_t code);
int32_t utPlatSocketErrorGet();
void utPlatSocketErrorSet(int32_t code);
