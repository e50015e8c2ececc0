// The debug stream, for code that must not wait for the process mutex, and its change by a command.
#pragma once

#include <cstdio>

// The open debug stream or null, and the name of the debug file ("" before the first open). A name
// once given stays readable.
FILE *utDebugStream();
const char *utDebugName();

// Closes the debug file and opens `name`, with the extension, whatever VNDEBUGFILENAME says. False:
// it cannot be created, and standard error is there instead; that is reported.
bool utDebugSet(const char *name);
