#include "platform/platform.h"

int32_t utPlatCharSize(const char *) { return 1; } // no byte of UTF-8 looks like another one

const char utPlatSeparator = '/';
const char *const utPlatTempFallback = "/tmp/";
const char *const utPlatDefaultEditor = "vi";
const char *const utPlatPwdCommand = "sh pwd";
const char *const utPlatSocketDirNames[] = {"TMP", "TEMP", "TMPDIR", nullptr};
const char *const utPlatSocketDirFallback = "/tmp";
