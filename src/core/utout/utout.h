// Output routing: the default trace object and catalog messages, for the other modules.
#pragma once

#include "core/utout/debugfile.h"
#include "trace/catfile.h"
#include "zut.h"

#include <atomic>
#include <cstdarg>

// Its level is the output level of the whole library. Null until something is printed by level.
extern std::atomic<struct ZutTrace *> utDefaultTraceObj;

// How many messages of the library this thread has printed.
uint32_t utReportsMade();

// ZutOutCat with a list of arguments. Keeps the caller's error state.
int32_t utOutCatVa(int32_t level, int32_t number, CatArguments whose, va_list args);
