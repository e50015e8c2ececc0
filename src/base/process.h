// Names of loadable libraries.
#pragma once

// The file of a library: a plain name gets the suffix that libraries have here, one with a "." has
// its own. To free with Z_FREE.
char *utLibraryFileName(const char *name);
