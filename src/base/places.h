// Where the library and its data files are.
#pragma once

#include <initializer_list>

// The parts with the platform's separator where there is none between them. A copy to free with
// Z_FREE.
char *utJoinNames(std::initializer_list<const char *> parts);
// The directory of the library's own file. A copy to free with Z_FREE; null when it cannot be told.
char *utLibraryDir();
// The directory that holds the data files: VNHOME, or what is found from the library's own file.
// A copy for the caller to free with Z_FREE; null when there is none.
char *utHomeDir();
