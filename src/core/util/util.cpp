// Start-up, the process's identity, random numbers, frame pacing and notices.
//
// All state here is guarded by the process mutex, except the frame state, which belongs to the one
// thread that runs the frames.
#include "base/check.h"
#include "base/env.h"
#include "base/errword.h"
#include "base/filename.h"
#include "base/jump.h"
#include "base/memory.h"
#include "base/places.h"
#include "base/processlock.h"
#include "base/report.h"
#include "base/setting.h"
#include "base/socketlayer.h"
#include "base/text.h"
#include "core/utout/fatal.h"
#include "platform/platform.h"
#include "platform/platform_file.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

constexpr int32_t nameSize = 256; // of a user's or a node's name, with its end

const char *processType = "unknown";
const char *identStr = nullptr;
char *userName = nullptr;
uint32_t randomState = 1;

struct Frame {
  int32_t count;
  bool running; // has a start
  double start; // wall time in seconds
};
Frame frame;

// Sets `name`, of `nameSize` bytes, to the variable's value where there is one.
bool nameFromEnv(char *name, const char *variable) {
  const EnvText value(variable);
  if (value) utCopyCut(name, nameSize, value.get());
  return static_cast<bool>(value);
}

// When the system knows no name: one variable is tested and another one read. Kept.
void userNameFromEnv(char *name) {
  utReport<Msg::userNameUnknown>(Z_TRACE_LEVEL_WARNING);
  if (!utEnvIsSet("USERNAME")) {
    utReport<Msg::userNameUnset>(Z_TRACE_LEVEL_WARNING);
  } else if (nameFromEnv(name, "USER")) {
    return;
  }
  utCopyCut(name, nameSize, "UNKNOWN");
}

void findUserName(char *name) {
  if (!utPlatUserName(name, nameSize) && !utPlatUserNameFallback(name, nameSize)) {
    userNameFromEnv(name);
  }
  nameFromEnv(name, "VN_FORCE_USER_NAME");
}

// Appends the lines of a file of any system; they end in "\n".
void appendLines(ZutSafeString *text, FILE *file) {
  char line[255];
  while (std::fgets(line, sizeof line, file)) {
    const size_t length = std::strlen(line);
    if (length > 1 && utSame(line + length - 2, "\r\n")) utCopyCut(line + length - 2, 2, "\n");
    ZutSafeStringAppend(text, line);
  }
}

} // namespace

extern "C" {

// Not in a function of its own: setjmp remembers the frame that calls it.
int32_t Z_CALL ZutInit(const char *process_type) {
  ZutProcessMutexLock();
  processType = process_type;
  ZutProcessMutexUnlock();
  utPlatFullFilesFail(); // its standard output too
  ZutDebugOpen(process_type);
  if (setjmp(utJumpPoint.buffer) != 0) { // NOLINT(cert-err52-cpp)
    utEndAfterReport();
  }
  std::memcpy(&utJumpPoint.armed, &utJumpPoint.buffer, sizeof(jmp_buf));
  return 0;
}

const char *Z_CALL ZutGetProcessType() {
  const ProcessGuard guard;
  return processType;
}

char *Z_CALL ZutGetUserName(char *buffer) {
  if (!buffer) return utFailNull(Err::nullPointer);
  {
    const ProcessGuard guard;
    if (userName) return static_cast<char *>(std::memcpy(buffer, userName, nameSize));
  }
  auto *found = static_cast<char *>(Z_CALLOC(nameSize, "utUserName"));
  findUserName(found);
  const ProcessGuard guard;
  // Another thread may have been faster: every later call returns its name.
  if (userName) Z_FREE(found, "utUserName");
  else userName = found;
  utCheck(std::strlen(userName) < nameSize);
  return static_cast<char *>(std::memcpy(buffer, userName, nameSize));
}

// The result is empty when the system knows no name.
char *Z_CALL ZutGetNodeName(char *buffer) {
  if (!buffer) return utFailNull(Err::nullPointer);
  ZutWinStartWinsock();
  if (!utPlatHostName(buffer, nameSize)) {
    ZutErrNumSetSocket(0);
    ZutPerror("gethostname");
  }
  nameFromEnv(buffer, "VN_FORCE_NODE_NAME");
  utCheck(std::strlen(buffer) < nameSize);
  return buffer;
}

int32_t Z_CALL ZutGetIdentStr(const char **out) {
  if (!out) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  *out = identStr;
  return 1;
}

int32_t Z_CALL ZutSetIdentStr(const char *ident) {
  if (!ident) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  identStr = ident;
  return 1;
}

int32_t Z_CALL ZutRandom() {
  const ProcessGuard guard;
  randomState = randomState * 1103515245u + 12345u;
  return static_cast<int32_t>((randomState >> 16) & 0x7FFF);
}

void Z_CALL ZutRandomSeed(int32_t seed) {
  const ProcessGuard guard;
  randomState = static_cast<uint32_t>(seed);
}

int32_t *Z_CALL ZutFrameCountGetPtr() { return &frame.count; }

int32_t Z_CALL ZutFrameCheck(int32_t mode) {
  if (mode != 0 && mode != 1) return utFail(Err::invalid);
  if (!frame.running) {
    frame.running = true;
    frame.start = ZutGetWallTime();
    return 1;
  }
  const double interval = utOptionNumber("frame_interval", 0.0);
  if (!(interval > 0.0)) return 1;
  const double now = ZutGetWallTime();
  const double elapsed = std::max(now - frame.start, 0.0); // the clock may have been set back
  frame.start = now;
  utCheck(elapsed >= 0.0);
  if (elapsed > interval) {
    utReport<Msg::frameOverrun>(Z_TRACE_LEVEL_WARNING, ZutRealToStr(elapsed - interval));
    return utFail(Err::timeout);
  }
  if (mode == 1) {
    ZutSleep(interval - elapsed);
    frame.start = ZutGetWallTime();
  }
  return 1;
}

void Z_CALL ZutFrameReset() { frame.running = false; }

int32_t Z_CALL ZutGetSupportNotice(ZutSafeString *notice) {
  if (!notice) return utFail(Err::nullPointer);
  const EnvText home("VNHOME");
  if (!home) return utFail(Err::nullPointer);
  char *name = utJoinNames({home.get(), "standard", "support.txt"});
  FILE *file = ZutFOpen(name, "r");
  if (file) {
    appendLines(notice, file);
    std::fclose(file);
  } else {
    utReport<Msg::supportFileOpen>(Z_TRACE_LEVEL_WARNING, name);
  }
  Z_FREE(name, "file name");
  return file ? 1 : 0;
}

int32_t Z_CALL ZutNoSupport(int32_t feature, const char *file, int32_t line, int32_t result) {
  utReport<Msg::unsupported>(Z_TRACE_LEVEL_WARNING, file, line, feature);
  return result;
}

} // extern "C"
