#include "platform/platform_terminal.h"

#include <unistd.h>

bool utPlatIsTerminal(FILE *stream) { return isatty(fileno(stream)) == 1; }
