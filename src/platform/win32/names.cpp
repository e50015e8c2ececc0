#include "platform/platform.h"

#include "wide_name.h"

int32_t utPlatCharSize(const char *at) {
  return *at < 0 && at[1] && IsDBCSLeadByteEx(utWinFileCodePage(), static_cast<BYTE>(*at)) ? 2 : 1;
}

const char utPlatSeparator = '\\';
const char *const utPlatTempFallback = "\\tmp\\";
const char *const utPlatDefaultEditor = "notepad";
const char *const utPlatPwdCommand = "sh cd";
const char *const utPlatSocketDirNames[] = {"TMP", "TEMP", "windir", nullptr};
const char *const utPlatSocketDirFallback = ".";
