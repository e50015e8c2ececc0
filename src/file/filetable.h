// The table of open files. The caller holds the process mutex, and keeps it while it uses a node.
#pragma once

#include "zut.h"

// The node of a stream, or null.
ZutFileNode *utFileNodeOf(const FILE *stream);

enum class FileRotation {
  done,   // backed up; the stream writes to a new, empty file
  kept,   // no backup could be made or none is wanted: the stream goes on in the old file
  failed, // backed up, but no new file could be opened: the stream goes on in the backup
};
// Starts the file of an open stream over, as ZutBackupFile and a new opening with `mode` would.
// The stream object stays the same and open, so others that share it are not affected; nothing is
// truncated that was not backed up. Prints nothing; the error number says why it was not done. A
// sharing violation is waited for a twentieth of a second: after `kept` try again at intervals, not
// at each line.
FileRotation utFileRotate(FILE *stream, const char *name, const char *mode);

// The mode that opens the same file with the same rights, does not truncate it and does not fail
// when it exists: "a" for "w", "a+b" for "w+bx".
struct KeepMode {
  explicit KeepMode(const char *mode);
  char text[8];
};
