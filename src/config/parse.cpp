// The parse of one text.
//
// `run` is the arming frame: the lexer and the parse functions jump back into it on any error.
// Between it and them no lock is held and nothing has a destructor; what a parse owns hangs off its
// Parse record and is released behind the jump point. An alias does not nest: its expansion takes
// the place of the text being parsed, so a line may use any number of them.
#include "config/parse.h"

#include "config/alias.h"
#include "config/command.h"
#include "config/help.h"
#include "core/errnum.h"
#include "core/memory.h"
#include "core/text.h"
#include "core/util.h"
#include "thread/threadblock.h"

#include <csetjmp>
#include <utility>

namespace {

struct Scratch {
  Scratch *next;
};

struct Parse : CommandSource {
  jmp_buf recover;
  Lexer *lexer;
  const char *text;
  char *owned; // the text, where an alias gave it
  Scratch *scratch;
  int32_t control;
  int32_t locks; // how often this thread held the process mutex before
};
static_assert(std::is_trivially_destructible_v<Parse>);

Parse &innermostParse() { return *static_cast<Parse *>(utThreadBlock().source); }

void closeLexer(Parse &parse) {
  if (parse.lexer) ZutLexDestroy(parse.lexer);
  parse.lexer = nullptr;
}

void leaveExpansion(CommandSource &source) {
  Expansion *gone = source.aliases;
  source.aliases = gone->outer;
  Z_FREE(gone, "expansion");
}

// The lexer's error function. Jumps.
void Z_CALL syntaxError(ZutLexer *lexer, const char *format, va_list args, void *argument) {
  Parse &parse = *static_cast<Parse *>(argument);
  ZutCommandFailed();
  ZutVOut(format, args);
  ZutOut("\n");
  if (const char *name = parse.command) {
    if (lexer->token == Z_LEX_END) utReport<Msg::parseErrorAtEnd>(Z_TRACE_LEVEL_INFO, name);
    else utReport<Msg::parseErrorInside>(Z_TRACE_LEVEL_INFO, name, lexer->text);
    utReport<Msg::parseUsage>(Z_TRACE_LEVEL_INFO);
    utHelpPrint("commands", name, HelpForm::full);
  } else {
    utReport<Msg::parseErrorOutside>(Z_TRACE_LEVEL_INFO, lexer->text);
  }
  ZutLexDestroy(lexer);
  parse.lexer = nullptr;
  std::longjmp(parse.recover, Z_LEX_JUMP); // NOLINT(cert-err52-cpp)
}

// May jump.
void openLexer(Parse &parse, const char *text) {
  parse.text = text;
  parse.lexer = utLexOpenString(text, syntaxError, &parse);
}

// Forgets the expansions that end before the name at which the lexer stands.
void leaveFinished(Parse &parse) {
  if (!parse.aliases) return;
  const size_t left = std::strlen(utLexRest(*parse.lexer));
  while (parse.aliases && left <= parse.aliases->tail) leaveExpansion(parse);
}

// Does the name stand inside its own expansion, in this text or in one that led to it?
bool isRecursive(const Parse &parse, const char *name) {
  for (const CommandSource *source = &parse; source; source = source->outer) {
    for (const Expansion *alias = source->aliases; alias; alias = alias->outer) {
      if (utSame(alias->name, name)) return true;
    }
  }
  return false;
}

int32_t expansionDepth(const Parse &parse) {
  int32_t depth = 0;
  for (const Expansion *alias = parse.aliases; alias; alias = alias->outer) ++depth;
  return depth;
}

// Parses `text`, an alias's and what followed its name, in place of the present one. Takes the text
// over. False: refused. May jump.
bool expand(Parse &parse, const char *name, size_t tail, char *text) {
  const bool recursive = isRecursive(parse, name);
  if (recursive || expansionDepth(parse) >= utCommandDepthMax) {
    Z_FREE(text, "alias text");
    if (recursive) utCommandFail<Msg::aliasRecursive>(Z_TRACE_LEVEL_INFO, name);
    else utCommandFail<Msg::parseTooDeep>(Z_TRACE_LEVEL_ERROR, utCommandDepthMax, name);
    return false;
  }
  Expansion *alias = utNew<Expansion>("expansion");
  utCopyCut(alias->name, sizeof alias->name, name);
  alias->tail = tail;
  alias->outer = parse.aliases;
  parse.aliases = alias;
  closeLexer(parse);
  Z_FREE(parse.owned, "alias text");
  parse.owned = text;
  openLexer(parse, text);
  return true;
}

enum class Admission { disabled, refused, granted };

// What the option enable_control_msgs says to a command.
Admission admissionOf(const char *command) {
  const ProcessGuard guard;
  const ZutStrList *listed = nullptr;
  ZutOptionGetEnumList(ZutOptionLookup("enable_control_msgs"), &listed);
  if (!listed) return Admission::disabled;
  for (; listed; listed = listed->next) {
    if (utSameWord(listed->string, command) || utSameWord(listed->string, "_all"))
      return Admission::granted;
  }
  return Admission::refused;
}

// May this command be run by a text from outside?
bool isAdmitted(const char *command, const char *text) {
  switch (admissionOf(command)) {
  case Admission::granted: return true;
  case Admission::disabled: utCommandFail<Msg::controlDisabled>(Z_TRACE_LEVEL_INFO, text); break;
  case Admission::refused: utCommandFail<Msg::controlRefused>(Z_TRACE_LEVEL_INFO, text); break;
  }
  return false;
}

// Runs the command whose name the lexer stands at. False: the rest of the text is not parsed. May
// jump.
bool runCommand(Parse &parse, const char *name) {
  ZutCommand command;
  if (!utCommandFind(name, command)) {
    utCommandFail<Msg::unknownCommand>(Z_TRACE_LEVEL_INFO, name);
    return false;
  }
  if (parse.control && !isAdmitted(command.name, parse.text)) return false;
  parse.command = command.name; // the name that it was typed by may be an old one
  utLexAcceptId(*parse.lexer);
  command.function(parse.lexer);
  const bool complete = utLexAtEnd(*parse.lexer);
  if (!complete)
    utCommandFail<Msg::parseErrorInside>(Z_TRACE_LEVEL_INFO, command.name, parse.lexer->text);
  return complete;
}

// May jump.
bool parseCommand(Parse &parse) {
  if (!utLexIsWord(*parse.lexer)) utLexAccept(*parse.lexer, Z_LEX_IDENTIFIER); // tells and jumps
  leaveFinished(parse);
  char name[Z_LEX_ID_SIZE];
  utCopyCut(name, sizeof name, parse.lexer->text);
  utLowerText(name);
  const char *rest = utLexRest(*parse.lexer) + parse.lexer->text_length;
  if (char *text = utAliasText(name, rest)) return expand(parse, name, std::strlen(rest), text);
  parse.command = name;
  const bool goesOn = runCommand(parse, name);
  parse.command = nullptr;
  return goesOn;
}

// May jump.
void parseText(Parse &parse, const char *text) {
  openLexer(parse, text);
  while (parse.lexer->token != Z_LEX_END && !utCommandStopped()) {
    if (parse.lexer->token == Z_LEX_SEMICOLON) utLexAccept(*parse.lexer, Z_LEX_SEMICOLON);
    else if (!parseCommand(parse)) return;
  }
}

void release(Parse &parse) {
  closeLexer(parse);
  while (parse.aliases) leaveExpansion(parse);
  while (Scratch *scratch = parse.scratch) {
    parse.scratch = scratch->next;
    Z_FREE(scratch, "scratch");
  }
  Z_FREE(parse.owned, "alias text");
  // A parse function may have jumped out of its own locked stretch.
  while (utProcessMutexDepth() > parse.locks) ZutProcessMutexUnlock();
}

// The arming frame. The record is its caller's, so that it is whole after a jump.
void run(Parse &parse, const char *text) {
  if (setjmp(parse.recover) == 0) parseText(parse, text); // NOLINT(cert-err52-cpp)
  release(parse);
}

} // namespace

void utCommandParse(const char *text, int32_t control, int32_t typed) {
  utCommandInit();
  ThreadBlock &thread = utThreadBlock();
  if (thread.depth >= utCommandDepthMax) {
    utCommandFail<Msg::parseTooDeep>(Z_TRACE_LEVEL_ERROR, utCommandDepthMax, text);
    return;
  }
  Parse parse;
  static_cast<CommandSource &>(parse) = {thread.source, nullptr, 0, nullptr, nullptr};
  parse.lexer = nullptr;
  parse.owned = nullptr;
  parse.scratch = nullptr;
  parse.control = control;
  parse.locks = utProcessMutexDepth();
  const int32_t typedBefore = std::exchange(thread.typed, typed);
  const int32_t depthBefore = std::exchange(thread.depth, thread.depth + 1);
  thread.source = &parse;
  run(parse, text);
  thread.source = parse.outer;
  thread.depth = depthBefore;
  thread.typed = typedBefore;
}

char *utCommandScratch(size_t size) {
  Parse &parse = innermostParse();
  const auto bytes = static_cast<int64_t>(sizeof(Scratch) + size);
  char *block = utNewArray<char>(bytes, "scratch");
  Scratch *scratch = reinterpret_cast<Scratch *>(block);
  scratch->next = parse.scratch;
  parse.scratch = scratch;
  return block + sizeof(Scratch);
}

extern "C" {

int32_t Z_CALL ZutCommandParseStr(const char *text) { return ZutCommandParseStrInternal(text, 0); }

int32_t Z_CALL ZutCommandParseStrInternal(const char *text, int32_t control) {
  if (!text) return utFail(Err::nullPointer);
  utCommandParse(text, control, 0);
  return 1;
}

int32_t Z_CALL ZutCommandParseTypedStr(const char *text) {
  return ZutCommandParseTypedStrInternal(text, 0);
}

int32_t Z_CALL ZutCommandParseTypedStrInternal(const char *text, int32_t) {
  if (!text) return utFail(Err::nullPointer);
  utCommandParse(text, 0, 1);
  return 1;
}

} // extern "C"
