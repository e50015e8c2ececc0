// Sockets of any kind: start and end of the socket layer, waiting, receiving, closing, and the
// directory of local sockets.
//
// The process mutex guards the start and the directory. The end takes no lock, because a process
// that a fatal error or an interrupt stops must not wait for one: the thread that clears `started`
// cleans up.
#include "net/socket.h"

#include "base/check.h"
#include "base/env.h"
#include "base/errword.h"
#include "base/places.h"
#include "base/processlock.h"
#include "base/report.h"
#include "base/setting.h"
#include "base/text.h"
#include "platform/platform.h"

#include <algorithm>
#include <atomic>

namespace {

std::atomic<bool> started{false};
bool endsAtExit = false;
char *socketDir = nullptr;

void Z_CALL endAtExit() { ZutWinEndWinsock(); }

int32_t startFailed(PlatSocketStart outcome) {
  utCheck(outcome != PlatSocketStart::started);
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

// 1, or 0 with the system's reason.
int32_t outcome(bool done) {
  if (!done) ZutErrNumSetSocket(0);
  return done;
}

int32_t getSize(int32_t socket, PlatSocketSetting setting, int32_t *size) {
  if (socket < 0) return utFail(Err::tooSmall);
  if (!size) return utFail(Err::nullPointer);
  return outcome(utPlatSocketGet(socket, setting, size));
}

int32_t setSize(int32_t socket, PlatSocketSetting setting, int32_t size) {
  if (socket < 0) return utFail(Err::tooSmall);
  return outcome(utPlatSocketSet(socket, setting, size));
}

int32_t receiveFailed() {
  ZutErrNumSetSocket(0);
  return -1;
}

int32_t receive(int32_t socket, void *buffer, int32_t length, int32_t flags) {
  utCheck(length > 0);
  for (;;) {
    const int32_t got = utPlatSocketReceive(socket, buffer, length, flags);
    if (got >= 0 || !utSocketMayRepeat()) return got;
  }
}

int32_t waitFailed() {
  ZutErrNumSetSocket(0);
  if (ZutErrNumGetSocket() != utPlatInterrupted) {
    ZutPerror("select");
  } else if (ZutInterruptGet() != 0) {
    utErrSet(Err::interrupted);
  }
  return 0;
}

int32_t waitFor(int32_t socket, PlatSocketFor what, double timeout) {
  if (timeout != timeout) return utFail(Err::invalid);
  if (timeout < 0.0 && timeout != -1.0) return utFail(Err::tooSmall);
  switch (utPlatSocketWait(socket, what, timeout)) {
  case PlatSocketWait::ready: return 1;
  case PlatSocketWait::timedOut: return utFail(Err::timeout);
  case PlatSocketWait::exception: ZutErrNumSetSocket(0); return 0;
  case PlatSocketWait::failed: break;
  }
  return waitFailed();
}

// After a failed wait: whether another one may succeed. Not after a wrong argument, on a closed
// socket or after the end of the socket layer.
bool mayWaitAgain() {
  constexpr int32_t lasting[] = {10009, 10022, 10038, 10093};
  utCheck(utErrGet() != Err::timeout);
  if (utErrGet() == Err::interrupted) return true;
  return utErrGet() == Err::socket && std::ranges::count(lasting, ZutErrNumGetSocket()) == 0;
}

bool wasInterrupted() {
  return utErrGet() == Err::socket && ZutErrNumGetSocket() == utPlatInterrupted;
}

enum class Wait { ready, timedOut, failed };

Wait waitForData(int32_t socket, double timeout) {
  while (!waitFor(socket, PlatSocketFor::data, timeout)) {
    if (utErrGet() == Err::timeout) return Wait::timedOut;
    if (!mayWaitAgain()) return Wait::failed;
    if (wasInterrupted()) continue;
    ZutPerror("select");
    utReport<Msg::socketWait>(Z_TRACE_LEVEL_WARNING, socket);
  }
  return Wait::ready;
}

int64_t closingTries() {
  return int64_t{utToInt32(utOptionNumber("_winsock_close_timeout", 0.0))} * 100;
}

int32_t closeWithin(int32_t socket, int64_t tries) {
  utCheck(tries <= int64_t{INT32_MAX} * 100);
  for (; tries > 0; --tries) {
    if (utPlatSocketClose(socket)) return 0;
    if (utPlatSocketErrorGet() != utPlatWouldBlock) return -1;
    ZutSleep(0.01);
  }
  return -1;
}

} // namespace

bool utSocketMayRepeat() {
  return utPlatSocketErrorGet() == utPlatInterrupted && ZutInterruptGet() == 0;
}

void utSocketCloseUnused(int32_t socket) {
  ZutErrState reason;
  ZutErrNumSave(&reason);
  closeWithin(socket, std::max<int64_t>(closingTries(), 1));
  ZutErrNumRestore(&reason);
}

int32_t utSocketFail(const char *call) {
  ZutErrNumSetSocket(0);
  ZutPerror(call);
  return -1;
}

int32_t utSocketFailAndClose(int32_t socket, const char *call) {
  ZutErrNumSetSocket(0);
  ZutErrState reason;
  ZutErrNumSave(&reason);
  ZutPerror(call);
  ZutErrNumRestore(&reason);
  utSocketCloseUnused(socket);
  return -1;
}

void utSocketPrepare(int32_t socket) {
  utCheck(socket >= 0);
  const int32_t size = utToInt32(utOptionNumber("_socket_buffer_size", 0.0));
  if (size == 0) return;
  ZutSocketSetSendBufSize(socket, size);
  ZutSocketSetRecvBufSize(socket, size);
}

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

int32_t Z_CALL ZutWinCloseSocket(int32_t socket) { return closeWithin(socket, closingTries()); }

int32_t Z_CALL ZutSocketCheck(int32_t socket, int32_t mode, double timeout) {
  if (socket < 0) return utFail(Err::tooSmall);
  if (mode != 0 && mode != 1) return utFail(Err::invalid);
  return waitFor(socket, mode == 1 ? PlatSocketFor::writing : PlatSocketFor::reading, timeout);
}

int32_t Z_CALL ZutSocketRecvAll(int32_t socket, void *buffer, int32_t length, int32_t flags) {
  if (socket < 0 || length < 1) return utFailSocket(Err::tooSmall);
  if (!buffer) return utFailSocket(Err::nullPointer);
  int32_t count = 0;
  while (count < length) {
    char *const place = static_cast<char *>(buffer) + count;
    const int32_t got = receive(socket, place, length - count, flags);
    if (got < 0) return receiveFailed();
    if (got == 0) break;
    utCheck(got <= length - count);
    count += got;
  }
  return count;
}

int32_t Z_CALL ZutSocketRecvTimeout(int32_t socket, void *buffer, int32_t length, int32_t flags,
                                    double timeout, int32_t *timed_out_out) {
  if (socket < 0 || length < 1) return utFailSocket(Err::tooSmall);
  if (!buffer || !timed_out_out) return utFailSocket(Err::nullPointer);
  *timed_out_out = 0;
  int32_t count = 0;
  while (count < length) {
    // Fast path: most often data is there already.
    char *const place = static_cast<char *>(buffer) + count;
    int32_t got = utPlatSocketReceiveNow(socket, place, length - count, flags);
    if (got == utPlatNothingYet) {
      const Wait wait = waitForData(socket, timeout);
      if (wait == Wait::failed) return -1;
      if (wait == Wait::timedOut) {
        *timed_out_out = 1;
        return count;
      }
      got = receive(socket, place, length - count, flags);
    }
    if (got < 0) return receiveFailed();
    if (got == 0) break;
    utCheck(got <= length - count);
    count += got;
  }
  return count;
}

int32_t Z_CALL ZutSocketSetBlockMode(int32_t socket, int32_t mode) {
  if (socket < 0) return utFail(Err::tooSmall);
  if (mode != 0 && mode != 1) return utFail(Err::invalid);
  if (utPlatSocketSetBlocking(socket, mode == 1)) return 1;
  utSocketFail("ioctlsocket");
  return 0;
}

int32_t Z_CALL ZutSocketGetBlockMode(int32_t, int32_t *) { return utFail(Err::notFound); }

int32_t Z_CALL ZutSocketGetRecvBufSize(int32_t socket, int32_t *size_out) {
  return getSize(socket, PlatSocketSetting::receiveSize, size_out);
}

int32_t Z_CALL ZutSocketGetSendBufSize(int32_t socket, int32_t *size_out) {
  return getSize(socket, PlatSocketSetting::sendSize, size_out);
}

int32_t Z_CALL ZutSocketSetRecvBufSize(int32_t socket, int32_t size) {
  return setSize(socket, PlatSocketSetting::receiveSize, size);
}

int32_t Z_CALL ZutSocketSetSendBufSize(int32_t socket, int32_t size) {
  return setSize(socket, PlatSocketSetting::sendSize, size);
}

const char *Z_CALL ZutGetSocketDir() {
  const ProcessGuard guard;
  if (socketDir) return socketDir;
  socketDir = makeSocketDirName();
  utCheck(*socketDir);
  if (!ZutMkdir(socketDir) && utErrGet() != Err::exists) {
    ZutPerror("ZutMkdir");
    utReport<Msg::socketDir>(Z_TRACE_LEVEL_WARNING, socketDir);
  }
  return socketDir;
}

} // extern "C"
