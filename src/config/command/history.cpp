// The prompt: the history of typed lines, the main loop, questions.
//
// Lines of the history are copies in the order of typing. They are never removed, so that a line
// may be used without the process mutex, which guards the array of them.
#include "config/command/history.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/processlock.h"
#include "base/text.h"
#include "config/command/commandfile.h"
#include "config/lex/lex.h"
#include "config/option/option.h"
#include "platform/platform_terminal.h"

#include <algorithm>
#include <csetjmp>

namespace {

constexpr char inputName[] = "standard input";

struct History {
  char **lines;
  int32_t count;
  int32_t capacity;
};
History history;

// Under the process mutex.
void append(const char *line) {
  utCheck(history.count <= history.capacity);
  utCheck(utProcessMutexHeld());
  if (history.count == history.capacity) {
    history.capacity = std::max(64, history.capacity * 2);
    const auto size = static_cast<int32_t>(history.capacity * sizeof(char *));
    history.lines = static_cast<char **>(Z_REALLOC(history.lines, size, "history"));
  }
  history.lines[history.count++] = utDup(line, "(history_string)");
}

// The newest line that "!" and a beginning recall; null, with a report, when there is none.
const char *recall(const char *line) {
  utCheck(line[0] == '!');
  const std::string_view beginning = line[1] == '!' ? "" : line + 1;
  for (int32_t place = utHistoryCount(); place-- > 0;) {
    const char *found = utHistoryLine(place);
    if (utBeginsWord(found, beginning)) return found;
  }
  if (utSame(line, "!!")) utCommandFail<Msg::historyEmpty>(Z_TRACE_LEVEL_INFO);
  else utCommandFail<Msg::historyNoMatch>(Z_TRACE_LEVEL_INFO, line);
  return nullptr;
}

void runLine(const char *line) {
  if (line[0] == '!') line = recall(line);
  if (!line) return;
  ZutCommandRecordString(line);
  ZutCommandParseTypedStr(line);
}

void prompt() {
  if (!utPlatIsTerminal(stdin)) return;
  char *text = utOptionDup("prompt");
  std::fputs(text ? text : "> ", stdout);
  std::fflush(stdout);
  Z_FREE(text, "prompt");
}

// Did an interrupt end the reading of a line? Then reading goes on.
bool wasInterrupted() {
  if (ZutInterruptGet() == 0) return false;
  ZutInterruptReset();
  std::printf("\n");
  std::clearerr(stdin);
  return true;
}

// What an answer says. Trivially destructible: the lexer's errors jump through its users.
struct Answer {
  jmp_buf recover;
  enum { no, yes, unclear } value;
};

// May jump.
void readAnswer(Answer &answer, const char *line) {
  ZutLexer *lexer =
      ZutLexCreate(Z_LEX_OPT_STRING, line, Z_LEX_OPT_ERROR_FUNC, ZutLexQuietLongjmpErrorFunc,
                   Z_LEX_OPT_ERROR_ARG, &answer.recover, Z_LEX_OPT_END);
  answer.value = Answer::unclear;
  if (lexer->token == Z_LEX_IDENTIFIER) {
    if (utSame(lexer->text, "yes") || utSame(lexer->text, "y")) answer.value = Answer::yes;
    else if (utSame(lexer->text, "no") || utSame(lexer->text, "n")) answer.value = Answer::no;
  }
  ZutLexDestroy(lexer);
}

// The arming frame.
void parseAnswer(Answer &answer, const char *line) {
  answer.value = Answer::no; // what an answer that is no text counts as
  if (setjmp(answer.recover) == 0) readAnswer(answer, line); // NOLINT(cert-err52-cpp)
}

} // namespace

int32_t utHistoryCount() {
  const ProcessGuard guard;
  return history.count;
}

const char *utHistoryLine(int32_t place) {
  const ProcessGuard guard;
  utCheck(place >= 0 && place < history.count);
  return history.lines[place];
}

extern "C" {

int32_t Z_CALL ZutCommandMainLoop(void) {
  ZutInterruptInit();
  utCommandInit();
  std::printf("Type 'help' for help.\n");
  char line[utCommandLineMax + 1];
  for (int32_t number = 1; !utCommandStopped(); ++number) {
    prompt();
    switch (utReadLine(stdin, line, sizeof line, number == 1)) {
    case LineRead::line: runLine(line); break;
    case LineRead::tooLong:
      utCommandFail<Msg::commandLineTooLong>(Z_TRACE_LEVEL_ERROR, inputName, number,
                                             utCommandLineMax);
      break;
    case LineRead::zeroByte:
      if (!utSkipLine(stdin)) {
        utCommandFail<Msg::commandFileNotText>(Z_TRACE_LEVEL_ERROR, inputName, number);
        return 0;
      }
      if (line[0]) utCommandFail<Msg::inputLineNotText>(Z_TRACE_LEVEL_ERROR, inputName, number);
      break;
    case LineRead::error:
      if (wasInterrupted()) break;
      utCommandFail<Msg::commandFileNotText>(Z_TRACE_LEVEL_ERROR, inputName, number);
      return 0;
    case LineRead::end:
      if (!wasInterrupted()) return ZutInterruptGet();
      break;
    }
  }
  return 0;
}

int32_t Z_CALL ZutCommandRecordString(const char *text) {
  if (!text) return utFail(Err::nullPointer);
  const std::string_view line = text;
  if (std::all_of(line.begin(), line.end(), utIsSpace)) return 1;
  const ProcessGuard guard;
  append(text);
  return 1;
}

int32_t Z_CALL ZutCommandGetYesOrNo(const char *prompt) {
  if (!prompt) return utFail(Err::nullPointer);
  for (;;) {
    std::printf("%s", prompt);
    std::fflush(stdout);
    char line[256];
    const LineRead read = utReadLine(stdin, line, sizeof line, false);
    if (read == LineRead::zeroByte && !utSkipLine(stdin)) return 0;
    if (read == LineRead::error) std::clearerr(stdin); // an interrupt is no lasting error
    if (read == LineRead::end || read == LineRead::error) return 0;
    Answer answer;
    answer.value = Answer::unclear;
    if (read == LineRead::line) parseAnswer(answer, line);
    if (answer.value != Answer::unclear) return answer.value == Answer::yes ? 1 : 0;
    std::printf("Please enter yes or no.\n");
  }
}

} // extern "C"
