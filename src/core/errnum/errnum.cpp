// Error numbers and their texts.
//
// The number itself is one word of the process and one in each thread's block (errnum.h); the
// runtime's, the system's and the socket layer's reasons stay where those layers keep them and are
// never disturbed by setting the number. The table of texts is made by the first call that needs
// it, lives as long as the process, and is guarded by the process mutex.
#include "base/check.h"
#include "base/errword.h"
#include "base/jump.h"
#include "base/print.h"

#include "base/text.h"
#include "platform/platform.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

struct Row {
  int32_t number;
  const char *text;
};

constexpr Row texts[] = {
    {1, "C"},
    {2, "OS"},
    {3, "NULL pointer"},
    {4, "value too small"},
    {5, "value too large"},
    {6, "already exists"},
    {7, "value invalid"},
    {8, "doesn't exist"},
    {9, "timeout reached"},
    {10, "end of file"},
    {11, "value is the same"},
    {12, "value unknown"},
    {13, "value required"},
    {14, "type invalid"},
    {15, "type mismatch"},
    {16, "interrupted"},
    {17, "verify failed"},
    {18, "end of traversal"},
    {19, "empty"},
    {20, "value mismatch"},
    {21, "type unknown"},
    {24, "file corrupt"},
    {25, "would block"},
    {28, "read only"},
    {29, "socket"},
    {30, "no memory"},
    {31, "unsupported"},
    {32, "object in use"},
    {33, "mux mismatch"},
    {34, "session abandoned"},
    // From 500: the messaging programs' own numbers, which only get their texts here.
    {500, "connection initialization failed"},
    {502, "server not connected"},
    {503, "server already connected"},
    {504, "server denied access"},
    {505, "message corrupt"},
    {507, "message invalid"},
    {508, "end of message"},
    {509, "field type invalid"},
    {510, "field type mismatch"},
    {512, "in progress"},
    {514, "failure detected"},
    {517, "in use"},
    {518, "GMD sender timeout"},
    {519, "GMD receiver timeout"},
    {520, "GMD receiver exit"},
    {521, "GMD no receivers"},
    {522, "protocol mismatch"},
    {523, "send queued in driver"},
    {524, "recf queued in driver"},
    {4001, "operation pending completion"},
    {4002, "invalid state"},
    {4003, "invalid event"},
    {4004, "max buffer exceeded"},
    {4005, "invalid mode"},
    {4006, "max clients exceeded"},
    {4007, "connection request rejected"},
    {4009, "invalid disconnect mode"},
    {4010, "authentication failed"},
    {4011, "client is not local"},
    {4013, "client creation rejected"},
    {4014, "client name is not unique"},
    {4015, "client uniqueness check in progress"},
    {4016, "authorization denied"},
    {4017, "invalid subject"},
    {4018, "subject already subscribed to"},
    {4019, "subject not subscribed to"},
    {4020, "duplicate member id"},
    {4021, "server name is not unique"},
    {4022, "server creation rejected"},
    {8001, "msg not encrypted"},
    {8002, "no encrypt key"},
    {24000, "invalid response from proxy"},
    {24001, "unauthorized"},
    {24002, "forbidden"},
    {24003, "proxy server error"},
};

// What the socket layer's codes mean where the system has no text for them.
constexpr int32_t firstSocketCode = 10000;
constexpr int32_t lastSocketCode = 10094;
constexpr Row socketTexts[] = {
    {10000, "0: No error"},
    {10004, "Interrupted system call"},
    {10009, "Bad file number"},
    {10013, "Permission denied"},
    {10014, "Bad address"},
    {10022, "Invalid argument"},
    {10024, "Too many open files"},
    {10035, "Operation would block"},
    {10036, "Operation now in progress"},
    {10037, "Operation already in progress"},
    {10038, "Socket operation on non-socket"},
    {10039, "Destination address required"},
    {10040, "Message too long"},
    {10041, "Protocol wrong type for socket"},
    {10042, "Protocol not available"},
    {10043, "Protocol not supported"},
    {10044, "Socket type not supported"},
    {10045, "Operation not supported on socket"},
    {10046, "Protocol family not supported"},
    {10047, "Address family not supported by protocol family"},
    {10048, "Address already in use"},
    {10049, "Can't assign requested address"},
    {10050, "Network is down"},
    {10051, "Network is unreachable"},
    {10052, "Network dropped connection on reset"},
    {10053, "Software caused connection abort"},
    {10054, "Connection reset by peer"},
    {10055, "No buffer space available"},
    {10056, "Socket is already connected"},
    {10057, "Socket is not connected"},
    {10058, "Can't send after socket shutdown"},
    {10059, "Too many references: can't splice"},
    {10060, "Connection timed out"},
    {10061, "Connection refused"},
    {10062, "Too many levels of symbolic links"},
    {10063, "File name too long"},
    {10064, "Host is down"},
    {10065, "No route to host"},
    {10091, "WSASYSNOTREADY - The network subsystem is unusable."},
    {10092, "WSAVERNOTSUPPORTED - This Winsock DLL cannot support this application."},
    {10093, "WSANOTINITIALIZED - WSAStartup has not been called."},
};

// Room for every text of a code; longer ones of the system are cut.
constexpr size_t reasonSize = 200;

ZutHashTable *table = nullptr;

// The part of the thread's block that belongs to this module.
struct UnknownText {
  char text[48]; // "unknown error N"
};

std::atomic<int32_t> perrorOn{0};
std::atomic<int32_t> feedback{0};
std::atomic<int32_t> severity{0};
uint8_t debugFlags[Z_DEBUG_FLAG_COUNT];

// Under the process mutex.
ZutHashTable *textTable() {
  utCheck(utProcessMutexHeld());
  if (table) return table;
  table = ZutHashCreateInt(50);
  for (const Row &row : texts) {
    ZutHashInsert(table, row.number, reinterpret_cast<ZutWord>(row.text));
  }
  utCheck(ZutHashGetSize(table) == static_cast<int32_t>(std::size(texts))); // no number twice
  return table;
}

const char *lookup(int32_t number) {
  const ProcessGuard guard;
  return reinterpret_cast<const char *>(ZutHashLookup(textTable(), number));
}

void cReason(int32_t code, char *text) {
  if (!utPlatErrnoText(code, text, reasonSize)) {
    std::snprintf(text, reasonSize, "Error %ld", static_cast<long>(code));
  }
}

void socketReason(int32_t code, char *text) {
  for (const Row &row : socketTexts) {
    if (row.number == code) {
      utCopyCut(text, reasonSize, row.text);
      return;
    }
  }
  std::snprintf(text, reasonSize, "%ld: Unknown Error", static_cast<long>(code - firstSocketCode));
}

void cutLineEnd(char *text) {
  size_t length = std::strlen(text);
  while (length > 1 && (text[length - 1] == '\n' || text[length - 1] == '\r')) --length;
  text[length] = '\0';
}

// Systems number their reasons in 16 bits; the upper bits name a facility.
void systemReason(int32_t code, char *text) {
  const int32_t number = static_cast<int16_t>(code);
  if (number == 0) {
    utCopyCut(text, reasonSize, "Error 0");
  } else if (utPlatErrorText(number, text, reasonSize)) {
    cutLineEnd(text);
  } else if (code >= firstSocketCode && code <= lastSocketCode) {
    socketReason(code, text);
  } else {
    std::snprintf(text, reasonSize, "Unknown Windows error number (%d)", static_cast<int>(code));
  }
}

} // namespace

extern "C" {

int32_t Z_CALL ZutErrNumSet(int32_t number) {
  utErrSet(static_cast<Err>(number));
  return utThreadsOn() ? 1 : number;
}

int32_t Z_CALL ZutErrNumGet() { return static_cast<int32_t>(utErrGet()); }

int32_t *Z_CALL ZutErrNumGetPtr() {
  static_assert(sizeof utErrWord == sizeof(int32_t) && utErrWord.is_always_lock_free);
  return utThreadsOn() ? &utThreadBlock().error : reinterpret_cast<int32_t *>(&utErrWord);
}

int32_t Z_CALL ZutErrNumSetC(int32_t code) {
  utErrSet(Err::c);
  if (code != 0) errno = code;
  return 1;
}

int32_t Z_CALL ZutErrNumGetC() { return errno; }

int32_t Z_CALL ZutErrNumSetOs(int32_t code) {
  utErrSet(Err::os);
  if (code != 0) utPlatErrorSet(code);
  return 1;
}

int32_t Z_CALL ZutErrNumGetOs() { return utPlatErrorGet(); }

int32_t Z_CALL ZutErrNumSetSocket(int32_t code) {
  utErrSet(Err::socket);
  if (code != 0) utPlatSocketErrorSet(code);
  return 1;
}

int32_t Z_CALL ZutErrNumGetSocket() { return utPlatSocketErrorGet(); }

int32_t Z_CALL ZutErrNumSetVms(int32_t code, int32_t) {
  utErrSet(Err::os);
  errno = code;
  return 1;
}

int32_t Z_CALL ZutErrNumSave(ZutErrState *state) {
  if (!state) return utFail(Err::nullPointer);
  state->c = errno;
  state->os = utPlatErrorGet();
  state->socket = utPlatSocketErrorGet();
  state->number = ZutErrNumGet();
  return 1;
}

// The three reasons are restored by operations that leave a reason unchanged when its code is 0.
int32_t Z_CALL ZutErrNumRestore(const ZutErrState *state) {
  if (!state) return utFail(Err::nullPointer);
  ZutErrNumSetC(state->c);
  ZutErrNumSetOs(state->os);
  ZutErrNumSetSocket(state->socket);
  ZutErrNumSet(state->number);
  return 1;
}

void *Z_CALL ZutErrNumSaveTsd(ZutErrState *state) {
  if (!state) return utFailNull(Err::nullPointer);
  state->c = errno;
  state->os = utPlatErrorGet();
  state->socket = utPlatSocketErrorGet();
  ThreadBlock &block = utThreadBlock();
  state->number = utThreadsOn() ? block.error : utErrWord.load(std::memory_order_relaxed);
  return &block;
}

int32_t Z_CALL ZutErrNumRestoreTsd(const ZutErrState *state, void *tsd) {
  if (!state || !tsd) return utFail(Err::nullPointer);
  static_cast<ThreadBlock *>(tsd)->error = state->number;
  utErrWord.store(state->number, std::memory_order_relaxed);
  errno = state->c;
  utPlatErrorSet(state->os);
  utPlatSocketErrorSet(state->socket);
  return 1;
}

const char *Z_CALL ZutErrNumToStr(int32_t number) {
  ZutErrState state;
  void *tsd = ZutErrNumSaveTsd(&state);
  const char *text = lookup(number);
  if (!text) {
    auto &buffer = utThreadPart<UnknownText>(static_cast<ThreadBlock *>(tsd)->errnum).text;
    std::snprintf(buffer, sizeof buffer, "unknown error %ld", static_cast<long>(number));
    text = buffer;
  }
  ZutErrNumRestoreTsd(&state, tsd);
  return text;
}

const char *Z_CALL ZutErrStrGet() { return ZutErrNumToStr(ZutErrNumGet()); }

int32_t Z_CALL ZutErrStrCreate(int32_t number, const char *text) {
  if (!text) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  ZutHashReplace(textTable(), number, reinterpret_cast<ZutWord>(text));
  return 1;
}

int32_t Z_CALL ZutPerrorSetEnable(int32_t flag) {
  if (flag != 0 && flag != 1) return utFail(Err::invalid);
  perrorOn = flag;
  return 1;
}

int32_t Z_CALL ZutPerrorGetEnable(int32_t *out) {
  if (!out) return utFail(Err::nullPointer);
  *out = perrorOn;
  return 1;
}

int32_t Z_CALL ZutPerror(const char *prefix) {
  if (!prefix) return utFail(Err::nullPointer);
  ZutErrState state;
  void *tsd = ZutErrNumSaveTsd(&state);
  char text[reasonSize];
  switch (static_cast<Err>(perrorOn ? state.number : 0)) {
  case Err::c: cReason(state.c, text); break;
  case Err::os: systemReason(state.os, text); break;
  case Err::socket: systemReason(state.socket, text); break;
  default: return 1;
  }
  utCheck(std::strlen(text) < reasonSize);
  ZutOutDebug("%s: %s\n", prefix, text);
  return ZutErrNumRestoreTsd(&state, tsd);
}

int32_t Z_CALL ZutErrFeedbackSet(int32_t level) { return feedback = level; }
int32_t Z_CALL ZutErrFeedbackGet() { return feedback; }
int32_t Z_CALL ZutErrSeveritySet(int32_t level) { return severity = level; }
int32_t Z_CALL ZutErrSeverityGet() { return severity; }

jmp_buf *Z_CALL ZutErrGetJumpBufferPtr() { return &utJumpPoint.buffer; }

uint8_t *Z_CALL ZutGetDebugFlags() { return debugFlags; }

} // extern "C"
