// The lines typed at the prompt.
#pragma once

#include <cstdint>

// How many lines there are, and the one at a place from 0 on. Lines stay until the process ends.
int32_t utHistoryCount();
const char *utHistoryLine(int32_t place);
