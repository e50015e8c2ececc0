// Shared by the sources of this folder: words and mutexes, within the process or between several.
#pragma once

#include "platform/platform_thread.h"

#include <pthread.h>

bool utPosixWordWait(std::atomic<int32_t> &word, int32_t value, PlatDeadline deadline, bool shared);
void utPosixWordWake(std::atomic<int32_t> &word, int count, bool shared);
// Result: 0 or an errno value.
int utPosixMutexInit(pthread_mutex_t *mutex, bool shared);
