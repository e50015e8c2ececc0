// Help texts. A help file is a sequence of entries, read with the lexer: the name of a command or
// an option, then strings, the first of which is the one-line form.
//
// `scan` is the arming frame; what a scan owns hangs off its record.
#include "config/command/help.h"

#include "base/check.h"
#include "base/memory.h"
#include "base/places.h"
#include "base/report.h"
#include "base/text.h"
#include "config/lex/lex.h"
#include "file/file.h"

#include <csetjmp>
#include <cstdio>

namespace {

struct Scan {
  jmp_buf recover;
  ZutLexer *lexer;
  FILE *stream;
  const char *name;
  HelpForm form;
  bool found;
  int32_t errorLine; // 0: none
};
static_assert(std::is_trivially_destructible_v<Scan>);

void Z_CALL scanError(ZutLexer *lexer, const char *, va_list, void *argument) {
  Scan &scan = *static_cast<Scan *>(argument);
  utCheck(!scan.lexer || scan.lexer == lexer);
  scan.errorLine = lexer->line;
  ZutLexDestroy(lexer);
  scan.lexer = nullptr;
  std::longjmp(scan.recover, Z_LEX_JUMP); // NOLINT(cert-err52-cpp)
}

// Reads one entry and prints it if it is the one. May jump.
void readEntry(Scan &scan) {
  ZutLexer *lexer = scan.lexer;
  bool prints = utLexIsWord(*lexer) && utSame(lexer->text, scan.name);
  ZutLexAcceptId(lexer);
  do {
    if (prints && lexer->token == Z_LEX_STRING) {
      ZutOut("%s\n", lexer->text);
      scan.found = true;
      prints = scan.form == HelpForm::full;
    }
    ZutLexAccept(lexer, Z_LEX_STRING);
  } while (lexer->token == Z_LEX_STRING);
}

// May jump.
void readEntries(Scan &scan) {
  scan.lexer = ZutLexCreate(Z_LEX_OPT_STREAM, scan.stream, Z_LEX_OPT_ERROR_FUNC, scanError,
                            Z_LEX_OPT_ERROR_ARG, &scan, Z_LEX_OPT_END);
  while (!scan.found && scan.lexer->token != Z_LEX_END) readEntry(scan);
}

// The arming frame.
void readFile(Scan &scan) {
  if (setjmp(scan.recover) == 0) readEntries(scan); // NOLINT(cert-err52-cpp)
  if (scan.lexer) ZutLexDestroy(scan.lexer);
}

// Passes the mark of UTF-8 that a text file may begin with.
void skipMark(FILE *stream) {
  char mark[3];
  const size_t read = std::fread(mark, 1, sizeof mark, stream);
  if (read < sizeof mark || std::memcmp(mark, "\xEF\xBB\xBF", sizeof mark) != 0)
    std::rewind(stream);
}

// Prints the name's entry of one file; false when it has none or does not exist.
bool printFrom(const char *file, const char *name, HelpForm form) {
  if (!ZutFileExists(file)) return false;
  Scan scan;
  scan.stream = ZutFOpen(file, "r");
  if (!scan.stream) return false;
  scan.lexer = nullptr;
  scan.name = name;
  scan.form = form;
  scan.found = false;
  scan.errorLine = 0;
  skipMark(scan.stream);
  readFile(scan);
  std::fclose(scan.stream);
  if (scan.errorLine) utReport<Msg::helpFileError>(Z_TRACE_LEVEL_INFO, file, scan.errorLine);
  return scan.found;
}

// The directory of a topic's help files, to free; null when that is reported.
char *topicDirectory(const char *topic) {
  char *home = utHomeDir();
  if (!home) {
    utReport<Msg::helpNoHome>(Z_TRACE_LEVEL_WARNING);
    utReport<Msg::helpNoHomeHint>(Z_TRACE_LEVEL_WARNING);
    return nullptr;
  }
  char *help = utFileNameDup(home, "help", nullptr);
  char *directory = utFileNameDup(help, topic, nullptr);
  Z_FREE(help, "directory name");
  Z_FREE(home, "home directory");
  return directory;
}

} // namespace

bool utHelpPrint(const char *topic, const char *name, HelpForm form) {
  char *directory = topicDirectory(topic);
  if (!directory) return false;
  const char *processType = ZutGetProcessType();
  bool found = false;
  for (const char *base : {processType, "common"}) {
    if (found || !base) continue;
    char *file = utFileNameDup(directory, base, ".hlp");
    found = printFrom(file, name, form);
    Z_FREE(file, "file name");
  }
  Z_FREE(directory, "directory name");
  if (!found) utReport<Msg::helpNotFound>(Z_TRACE_LEVEL_INFO, name);
  return found;
}
