// The commands whose names begin with "_", and stats.
//
// Parse functions run in frames that an error jumps over: nothing here has a destructor, and what
// stats remembers between its calls is written under the process mutex when the reading is over.
#include "base/check.h"
#include "base/env.h"
#include "base/errword.h"
#include "base/processlock.h"
#include "base/setting.h"
#include "base/socketlayer.h"
#include "base/text.h"
#include "config/command/builtins.h"
#include "config/command/command.h"
#include "config/lex/lex.h"
#include "core/utout/debugfile.h"
#include "platform/platform.h"

#include <cstdlib>
#include <utility>

namespace {

// May jump.
double acceptNumber(ZutLexer *lexer) {
  ZutLexAccept(lexer, Z_LEX_NUMBER);
  return lexer->number_value;
}

// Sets one debug flag; `what` goes into the feedback. May jump.
void setDebugFlag(ZutLexer *lexer, uint8_t value, const char *what) {
  const double number = acceptNumber(lexer);
  const int32_t index = utToInt32(number);
  if (!(number < Z_DEBUG_FLAG_COUNT)) {
    utCommandFail<Msg::debugFlagRange>(Z_TRACE_LEVEL_INFO, index, Z_DEBUG_FLAG_COUNT - 1);
    return;
  }
  utCheck(index >= 0);
  ZutGetDebugFlags()[index] = value;
  ZutCommandPrintFeedback("Debugging flag %ld turned %s\n", static_cast<long>(index), what);
}

struct StatsMark {
  int32_t frames;
  uint32_t top;
};

// Where the counters stood at the previous stats command, noting where they stand now.
StatsMark exchangeMark(StatsMark now) {
  static StatsMark mark;
  static bool marked;
  const ProcessGuard guard;
  if (!marked) mark = {0, ZutGetInitialSbrk()};
  marked = true;
  return std::exchange(mark, now);
}

// Does what the word of _sigint asks for. False: there is no such word.
bool runSigint(const char *word) {
  if (utSame(word, "incr")) {
    ZutCommandPrintFeedback("Incrementing interrupt counter.\n");
    ZutInterruptIncr();
  } else if (utSame(word, "init")) {
    ZutCommandPrintFeedback("Initializing interrupt handler.\n");
    ZutInterruptInit();
  } else if (utSame(word, "reset")) {
    ZutCommandPrintFeedback("Resetting interrupt counter.\n");
    ZutInterruptReset();
  } else if (utSame(word, "get")) {
    ZutCommandPrintFeedback("Interrupt counter is %ld\n", static_cast<long>(ZutInterruptGet()));
  } else {
    return false;
  }
  return true;
}

} // namespace

void Z_CALL utCommandAbort(ZutLexer *) {
  ZutCommandPrintFeedback("Aborting process\n");
  ZutFlushStdout();
  ZutWinEndWinsock();
  if (utEnvIsSet("VN_ABORT_NATIVE")) std::abort();
  utPlatExitNow(2);
}

void Z_CALL utCommandAlarm(ZutLexer *lexer) {
  utCommandFail<Msg::alarmUnavailable>(Z_TRACE_LEVEL_INFO);
  utLexSkipCommand(utLexer(lexer));
}

void Z_CALL utCommandDebugOn(ZutLexer *lexer) { setDebugFlag(lexer, 1, "on"); }

void Z_CALL utCommandDebugOff(ZutLexer *lexer) { setDebugFlag(lexer, 0, "off"); }

void Z_CALL utCommandDebugSet(ZutLexer *lexer) {
  ZutLexAcceptFileName(lexer);
  const char *name = lexer->string_value.str;
  if (utDebugSet(name)) ZutCommandPrintFeedback("Debugging file set to %s\n", name);
  else ZutCommandFailed();
}

void Z_CALL utCommandPrintSbrk(ZutLexer *) {
  utReport<Msg::sbrk>(Z_TRACE_LEVEL_INFO, ZutGetCurrentSbrk());
}

void Z_CALL utCommandSetFdLimit(ZutLexer *lexer) {
  utCommandFail<Msg::fdLimitUnavailable>(Z_TRACE_LEVEL_INFO);
  utLexSkipCommand(utLexer(lexer));
}

void Z_CALL utCommandSetFrameCount(ZutLexer *lexer) {
  int32_t &frames = *ZutFrameCountGetPtr();
  if (utLexAtEnd(*lexer)) {
    utReport<Msg::frameCount>(Z_TRACE_LEVEL_INFO, frames);
    return;
  }
  frames = utToInt32(acceptNumber(lexer));
  utReport<Msg::frameCountSet>(Z_TRACE_LEVEL_INFO, frames);
}

void Z_CALL utCommandSetTime(ZutLexer *lexer) {
  if (utLexAtEnd(*lexer)) {
    char text[Z_REAL_TEXT_SIZE + 32];
    std::snprintf(text, sizeof text, "Current time: %s.", ZutRealToStr(ZutGetCurrentTime()));
    utReport<Msg::timeOrHome>(Z_TRACE_LEVEL_INFO, static_cast<const char *>(text));
    return;
  }
  ZutSetCurrentTime(acceptNumber(lexer));
  utReport<Msg::currentTimeSet>(Z_TRACE_LEVEL_INFO, ZutRealToStr(ZutGetCurrentTime()));
}

void Z_CALL utCommandSigint(ZutLexer *lexer) {
  const char *word = "incr";
  if (!utLexAtEnd(*lexer)) {
    ZutLexAcceptId(lexer);
    word = lexer->id_value;
  }
  if (!runSigint(word)) utCommandFail<Msg::sigintUnknownWord>(Z_TRACE_LEVEL_ERROR, word);
  if (utLexAtEnd(*lexer)) return;
  utCommandFail<Msg::sigintExtra>(Z_TRACE_LEVEL_ERROR, lexer->text);
  utLexSkipCommand(utLexer(lexer));
}

void Z_CALL utCommandSleep(ZutLexer *lexer) { ZutSleep(acceptNumber(lexer)); }

void Z_CALL utCommandPutenv(ZutLexer *lexer) {
  ZutLexAcceptFileName(lexer);
  if (ZutPutenv(lexer->string_value.str)) return;
  // Only the system's refusal has been reported.
  const bool noAssignment = utErrGet() == Err::invalid;
  ZutCommandFailed();
  if (noAssignment) utReport<Msg::putenvFailed>(Z_TRACE_LEVEL_WARNING, lexer->string_value.str);
}

void Z_CALL utCommandStats(ZutLexer *) {
  const StatsMark now = {*ZutFrameCountGetPtr(), ZutGetCurrentSbrk()};
  const StatsMark before = exchangeMark(now);
  utReport<Msg::statsTime>(Z_TRACE_LEVEL_INFO, ZutTimeNumToStr(ZutGetCurrentTime()));
  utReport<Msg::statsFrames>(Z_TRACE_LEVEL_INFO, now.frames);
  utReport<Msg::statsBreak>(Z_TRACE_LEVEL_INFO, now.top);
  double user = 0.0, kernel = 0.0;
  if (utPlatCpuTimes(&user, &kernel))
    utReport<Msg::statsCpu>(Z_TRACE_LEVEL_INFO, ZutRealToStr((user + kernel) / 1000.0));
  else utReport<Msg::statsCpuUnknown>(Z_TRACE_LEVEL_WARNING);
  utReport<Msg::statsWall>(Z_TRACE_LEVEL_INFO, ZutTimeNumToStr(ZutGetWallTime()));
  utReport<Msg::statsFrameGrowth>(Z_TRACE_LEVEL_INFO,
                                  static_cast<int64_t>(now.frames) - before.frames);
  utReport<Msg::statsBreakGrowth>(Z_TRACE_LEVEL_INFO, static_cast<int64_t>(now.top) - before.top);
}
