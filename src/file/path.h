// Search paths and directories for the other modules, without a length limit.
#pragma once

#include "zut.h"

// What ZutGetTmpFilePath finds, to free with Z_FREE; null when that directory is not writable.
char *utTmpFilePathDup();
// What ZutPathFindFile finds along a path (null: the name itself), to free with Z_FREE; null when
// there is no such file.
char *utPathFindDup(const ZutPath *path, const char *name);
