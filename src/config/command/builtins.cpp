// The table of built-in commands; the interpreter's own and the system's.
//
// Parse functions run in frames that an error jumps over: nothing here has a destructor, and texts
// that must outlive the reading of arguments are the parse's scratch.
#include "config/command/builtins.h"

#include "base/check.h"
#include "base/env.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/text.h"
#include "config/command/alias.h"
#include "config/command/command.h"
#include "config/command/help.h"
#include "config/command/history.h"
#include "config/command/parse.h"
#include "config/lex/lex.h"

#include <algorithm>

namespace {

char *scratchCopy(std::string_view text) {
  char *copy = utCommandScratch(text.size() + 1);
  std::memcpy(copy, text.data(), text.size());
  return copy;
}

// The rest of the command: the tokens as they were typed, with one blank wherever there was white
// space or a comment. One string alone is taken out of its quotes. May jump.
const char *acceptRest(Lexer &lex) {
  const char *quoted = lex.token == Z_LEX_STRING ? scratchCopy(lex.text) : nullptr;
  const size_t size = std::strlen(utLexRest(lex)) + 1;
  char *text = utCommandScratch(size);
  char *end = text;
  int32_t tokens = 0;
  for (; !utLexAtEnd(lex); ++tokens) {
    if (tokens > 0 && lex.spaceBefore) *end++ = ' ';
    end = std::copy(utLexRest(lex), utLexCursor(lex), end);
    utLexNext(lex);
  }
  utCheck(static_cast<size_t>(end - text) < size);
  return quoted && tokens == 1 ? quoted : text;
}

void changeDirectory(const char *directory) {
  if (ZutChdir(directory)) {
    ZutCommandPrintFeedback("Current directory changed to %s\n", directory);
    return;
  }
  ZutCommandFailed();
  ZutErrNumSetC(0);
  ZutPerror(directory);
}

void Z_CALL alias(ZutLexer *lexer) {
  if (utLexAtEnd(*lexer)) {
    utAliasPrint();
    return;
  }
  ZutLexAcceptId(lexer);
  const char *name = lexer->id_value;
  if (utLexAtEnd(*lexer)) {
    if (!utAliasPrintText(name)) utCommandFail<Msg::noSuchAlias>(Z_TRACE_LEVEL_INFO, name);
    return;
  }
  utAliasSet(name, acceptRest(utLexer(lexer)));
  ZutCommandPrintFeedback("Alias %s installed\n", name);
}

void Z_CALL cd(ZutLexer *lexer) {
  if (!utLexAtEnd(*lexer)) {
    ZutLexAcceptFileName(lexer);
    changeDirectory(lexer->string_value.str);
  } else if (char *home = utEnvDup("HOME")) {
    changeDirectory(home);
    Z_FREE(home, "environment value");
  } else {
    utCommandFail<Msg::timeOrHome>(Z_TRACE_LEVEL_INFO, "The environment variable HOME is not set.");
  }
}

void Z_CALL echo(ZutLexer *lexer) {
  Lexer &lex = utLexer(lexer);
  for (bool first = true; !utLexAtEnd(lex); first = false) {
    if (!first && lex.spaceBefore) ZutOut(" ");
    ZutOut("%s", lex.text);
    utLexNext(lex);
  }
  ZutOut("\n");
}

void Z_CALL edit(ZutLexer *lexer) {
  ZutLexAcceptFileName(lexer);
  const char *name = lexer->string_value.str;
  ZutCommandPrintFeedback("Editing file %s\n", name);
  if (!ZutEditFile(name, 1)) ZutCommandFailed();
}

void listCommands() {
  utReport<Msg::helpCommands>(Z_TRACE_LEVEL_INFO);
  int32_t count = 0;
  char **names = utCommandNames(&count);
  for (int32_t i = 0; i < count; ++i) {
    utHelpPrint("commands", names[i], HelpForm::oneLine);
    Z_FREE(names[i], "command name");
  }
  Z_FREE(names, "command names");
}

void Z_CALL help(ZutLexer *lexer) {
  if (utLexAtEnd(*lexer)) {
    listCommands();
    return;
  }
  ZutLexAcceptId(lexer);
  const char *name = lexer->id_value;
  if (utCommandFind(name)) ZutCommandHelpPrint(name);
  else utCommandFail<Msg::helpUnknownCommand>(Z_TRACE_LEVEL_ERROR, lexer->id_value);
}

void Z_CALL history(ZutLexer *lexer) {
  const int32_t count = utHistoryCount();
  int32_t first = 0;
  if (!utLexAtEnd(*lexer)) {
    ZutLexAccept(lexer, Z_LEX_NUMBER);
    first = std::max(0, count - utToInt32(lexer->number_value));
  }
  for (int32_t place = first; place < count; ++place)
    ZutOut("%4ld: %s\n", static_cast<long>(place) + 1, utHistoryLine(place));
}

void leaveProcess() {
  ZutCbCallData data{};
  if (ZutCbTypeNumLookup(Z_CB_TYPE_QUIT)) ZutCbTypeNumCbCall(Z_CB_TYPE_QUIT, nullptr, &data);
  ZutCommandPrintFeedback("This process is now exiting.\n");
  ZutExit(0);
}

void Z_CALL quit(ZutLexer *lexer) {
  if (utLexAtEnd(*lexer)) {
    if (ZutCommandGetYesOrNo("Really quit? ")) leaveProcess();
    return;
  }
  if (!utSame(lexer->text, "force")) {
    utCommandFail<Msg::quitUnknownWord>(Z_TRACE_LEVEL_INFO, lexer->text);
    utLexSkipCommand(utLexer(lexer));
    return;
  }
  leaveProcess();
}

void Z_CALL sh(ZutLexer *lexer) {
  if (utLexAtEnd(*lexer)) {
    ZutSystem(nullptr);
    return;
  }
  const char *line = acceptRest(utLexer(lexer));
  ZutCommandPrintFeedback("sh command executing with string: %s\n", line);
  ZutFlushStdout();
  if (ZutSystem(line) != 0) ZutCommandFailed();
}

void Z_CALL source(ZutLexer *lexer) {
  if (utLexAtEnd(*lexer)) {
    utCommandFail<Msg::sourceNoName>(Z_TRACE_LEVEL_INFO);
    return;
  }
  ZutLexAcceptFileName(lexer);
  ZutCommandPrintFeedback("Executing source command with file %s\n", lexer->string_value.str);
  ZutCommandParseFile(lexer->string_value.str);
}

void Z_CALL unalias(ZutLexer *lexer) {
  ZutLexAcceptId(lexer);
  const char *name = lexer->id_value;
  if (utAliasRemove(name)) ZutCommandPrintFeedback("Unalias command executed for alias %s\n", name);
  else utCommandFail<Msg::unaliasUnknown>(Z_TRACE_LEVEL_INFO, name);
}

constexpr BuiltIn table[] = {
    {"_abort", utCommandAbort, 0},
    {"_alarm", utCommandAlarm, 0},
    {"_debug_on", utCommandDebugOn, 0},
    {"_debug_off", utCommandDebugOff, 0},
    {"_debug_set", utCommandDebugSet, 0},
    {"_print_sbrk", utCommandPrintSbrk, 0},
    {"_set_fd_limit", utCommandSetFdLimit, 0},
    {"_set_frame_count", utCommandSetFrameCount, 0},
    {"_set_time", utCommandSetTime, 0},
    {"_sigint", utCommandSigint, 0},
    {"_sleep", utCommandSleep, 0},
    {"_putenv", utCommandPutenv, 0},
    {"alias", alias, 0},
    {"cd", cd, 0},
    {"echo", echo, 0},
    {"edit", edit, 0},
    {"help", help, 0},
    {"helpopt", utCommandHelpopt, 0},
    {"history", history, 0},
    {"quit", quit, 0},
    {"setopt", utCommandSetopt, 0},
    {"setnopt", utCommandSetnopt, 0},
    {"sh", sh, 0},
    {"source", source, 0},
    {"stats", utCommandStats, 0},
    {"unalias", unalias, 0},
    {"unsetopt", utCommandUnsetopt, 0},
    {"createopt", utCommandCreateopt, 1},
};

} // namespace

std::span<const BuiltIn> utBuiltIns() { return table; }
