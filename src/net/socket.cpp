// Start and end of the socket layer, and the directory of local sockets.
//
// The process mutex guards the start and the directory. The end takes no lock, because a process
// that is being stopped by a fatal error or an interrupt must not wait for one: whoever clears
// `started` does the clean-up.
#include "core/env.h"
#include "core/errnum.h"
#include "core/report.h"
#include "platform/platform.h"
#include "platform/platform_socket.h"

#include <atomic>

namespace {

std::atomic<bool> started{false};
bool endsAtExit = false;
char *socketDir = nullptr;

void Z_CALL endAtExit() { ZutWinEndWinsock(); }

int32_t startFailed(PlatSocketStart outcome) {
  if (outcome == PlatSocketStart::failed) {
    ZutErrNumSetSocket(0);
    ZutPerror("WSAStartup");
    ZutFatalError("Could not find proper version of WINSOCK.DLL");
  } else {
    ZutFatalError("This system does not support WINSOCK Version 2.0");
  }
  return 0;
}

// The first variable that names a writable directory, with the family's own directory below it.
char *makeSocketDirName() {
  for (const char *const *name = utPlatSocketDirNames; *name; ++name) {
    const EnvText parent(*name);
    if (parent && ZutFileWritable(parent.get())) return utJoinNames({parent.get(), "vantrel"});
  }
  return utJoinNames({utPlatSocketDirFallback, "vantrel"});
}

} // namespace

extern "C" {

int32_t Z_CALL ZutWinStartWinsock() {
  const ProcessGuard guard;
  if (started) return 1;
  const PlatSocketStart outcome = utPlatSocketStart();
  if (outcome != PlatSocketStart::started) return startFailed(outcome);
  started = true;
  if (!endsAtExit) ZutAtExit(endAtExit);
  endsAtExit = true;
  return 1;
}

int32_t Z_CALL ZutWinEndWinsock() {
  if (started.exchange(false)) utPlatSocketEnd();
  return 1;
}

const char *Z_CALL ZutGetSocketDir() {
  const ProcessGuard guard;
  if (socketDir) return socketDir;
  socketDir = makeSocketDirName();
  if (!ZutMkdir(socketDir) && utErrGet() != Err::exists) {
    ZutPerror("ZutMkdir");
    utReport<Msg::socketDir>(Z_TRACE_LEVEL_WARNING, socketDir);
  }
  return socketDir;
}

} // extern "C"
