// What the library needs to know of the terminal.
#pragma once

#include <cstdio>

// Does a person sit at the other end of this stream?
bool utPlatIsTerminal(FILE *stream);
