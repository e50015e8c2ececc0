// The debug stream, for code that must not wait for the process mutex.
#pragma once

#include <cstdio>

// The open debug stream or null, and the name of the debug file ("" before the first open). A name
// once given stays readable.
FILE *utDebugStream();
const char *utDebugName();
