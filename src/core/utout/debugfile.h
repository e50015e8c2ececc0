// The debug stream, for code that must not wait for the process mutex, and its change by a command.
#pragma once

#include <cstdio>

// The open debug stream or null, and the name of the debug file ("" before the first open). A name
// stays readable for ever.
FILE *utDebugStream();
const char *utDebugName();

// Closes the debug file and opens `name`, with the extension, whatever VNDEBUGFILENAME says. False:
// it cannot be created; standard error is used instead, and that is reported.
bool utDebugSet(const char *name);
