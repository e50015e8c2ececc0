#include "platform/platform_terminal.h"

#include <io.h>

// The null device counts as a terminal for the runtime; a prompt does no harm there.
bool utPlatIsTerminal(FILE *stream) { return _isatty(_fileno(stream)) != 0; }
