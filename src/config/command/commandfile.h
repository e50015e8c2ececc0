// Lines of command texts, from files and from the prompt.
#pragma once

#include "config/command/command.h"

enum class LineRead {
  line,
  tooLong,  // what goes beyond the buffer was skipped, up to the line's end
  zeroByte, // the line holds a byte that ends a text; the rest of it is unread
  end,
  error
};

// Reads a line without its end into the buffer, which is always terminated. The `first` of a stream
// loses the mark of UTF-8.
LineRead utReadLine(FILE *stream, char *line, size_t size, bool first);
// Drops what is left of a line. False: it has no end within a megabyte, and is no line of a text.
bool utSkipLine(FILE *stream);

// The start-up option files: runs a command file that may not exist, also in a thread that has
// stopped at a failure.
void utCommandParseIfExists(const char *directory, const char *base, const char *extension);
