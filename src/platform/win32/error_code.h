// The errno value of a Windows error, as the runtime would set it.
#pragma once

int utWinErrno(unsigned long code);
