#include "platform/platform.h"

const char utPlatSeparator = '\\';
const char *const utPlatTempFallback = "\\tmp\\";
const char *const utPlatDefaultEditor = "notepad";
const char *const utPlatPwdCommand = "sh cd";
const char *const utPlatSocketDirNames[] = {"TMP", "TEMP", "windir", nullptr};
const char *const utPlatSocketDirFallback = ".";
