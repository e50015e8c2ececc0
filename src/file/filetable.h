// The table of open files. The caller of these holds the process mutex, and as long as it uses a
// node.
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
// The stream object stays the same and open, so whoever shares it is not disturbed; nothing is
// truncated that was not backed up. Reports nothing; the error number tells why it was not
// done. Where a sharing violation is in the way it waits a twentieth of a second: after `kept` try
// again now and then, not at each line.
FileRotation utFileRotate(FILE *stream, const char *name, const char *mode);

// The mode that opens the same file with the same rights and neither truncates it nor insists on
// making it: "w" gives "a", "w+bx" gives "a+b".
struct KeepMode {
  explicit KeepMode(const char *mode);
  char text[8];
};
