#include "platform/platform.h"

const char utPlatSeparator = '/';
const char *const utPlatTempFallback = "/tmp/";
const char *const utPlatDefaultEditor = "vi";
const char *const utPlatPwdCommand = "sh pwd";
const char *const utPlatSocketDirNames[] = {"TMP", "TEMP", "TMPDIR", nullptr};
const char *const utPlatSocketDirFallback = "/tmp";
