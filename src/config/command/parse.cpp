// The parse of one text.
//
// `run` is the arming frame: the lexer and the parse functions jump back into it on any error.
// Between it and them no lock is held and nothing has a destructor; what a parse owns hangs off its
// Parse record and is released with it. An alias does not nest: its expansion
// replaces the text up to and with its name, so a line may use any number of them and is never
// copied for one.
#include "config/command/parse.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/processlock.h"
#include "base/spare.h"
#include "base/text.h"
#include "base/threadblock.h"
#include "config/command/alias.h"
#include "config/command/command.h"
#include "config/command/help.h"
#include "config/command/source.h"

#include <algorithm>
#include <csetjmp>
#include <utility>

namespace {

struct Scratch {
  Scratch *next;
};

struct Parse : CommandSource {
  jmp_buf recover;
  Lexer *lexer;
  char *buffer; // ends with what is parsed
  size_t size;
  char *text; // what is parsed: all of it, or from the latest expansion on
  char *end;  // its NUL
  Scratch *scratch;
  int32_t control;
  int32_t locks;            // how often this thread held the process mutex before
  char name[Z_LEX_ID_SIZE]; // of the command: the registry's may be gone before the command ends
};
static_assert(std::is_trivially_destructible_v<Parse>);

constinit Spares<Parse> spares;

void closeLexer(Parse &parse) {
  if (parse.lexer) ZutLexDestroy(parse.lexer);
  parse.lexer = nullptr;
}

void leaveExpansion(CommandSource &source) {
  utCheck(source.aliases);
  Expansion *gone = source.aliases;
  source.aliases = gone->outer;
  Z_FREE(gone, "expansion");
}

// The lexer's error function. Jumps.
void Z_CALL syntaxError(ZutLexer *lexer, const char *format, va_list args, void *argument) {
  Parse &parse = *static_cast<Parse *>(argument);
  utSourceSettle(parse);
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
void openLexer(Parse &parse) {
  utCheck(!parse.lexer && *parse.end == '\0');
  parse.lexer = utLexOpenString(parse.text, syntaxError, &parse);
}

// Drops the expansions that end before the name that is the look-ahead token.
void leaveFinished(Parse &parse) {
  if (!parse.aliases) return;
  utCheck(utLexRest(*parse.lexer) >= parse.text && utLexRest(*parse.lexer) <= parse.end);
  const auto left = static_cast<size_t>(parse.end - utLexRest(*parse.lexer));
  while (parse.aliases && left <= parse.aliases->tail) leaveExpansion(parse);
}

// Does the name stand inside its own expansion, in this text or in one that led to it?
bool isRecursive(const Parse &parse, const char *name) {
  for (const CommandSource *source = &parse; source; source = utSourceOuter(*source)) {
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

// Makes another buffer of the size, with the last `left` characters of what is parsed.
void resize(Parse &parse, size_t size, size_t left) {
  utCheck(left < size && left <= parse.size);
  char *buffer = utNewArray<char>(static_cast<int64_t>(size), "parse text");
  char *end = buffer + size - 1;
  if (left > 0) std::memcpy(end - left, parse.end - left, left);
  Z_FREE(parse.buffer, "parse text");
  parse.buffer = buffer;
  parse.size = size;
  parse.end = end;
}

// Has `beginning` and the last `left` characters parsed in place of what was parsed so far.
void replaceText(Parse &parse, std::string_view beginning, size_t left) {
  const size_t blank = left > 0 ? 1 : 0;
  const size_t needed = beginning.size() + blank + left + 1;
  if (parse.size < needed) resize(parse, 2 * needed, left);
  char *rest = parse.end - left;
  if (blank) *--rest = ' ';
  parse.text = rest - beginning.size();
  utCheck(parse.text >= parse.buffer);
  beginning.copy(parse.text, beginning.size());
}

// Parses an alias's text and the `tail` characters that follow its name. Frees the text. False:
// refused. May jump.
bool expand(Parse &parse, const char *name, size_t tail, char *text) {
  utCheck(tail <= static_cast<size_t>(parse.end - parse.text));
  const bool recursive = isRecursive(parse, name);
  if (recursive || expansionDepth(parse) >= utCommandDepthMax) {
    Z_FREE(text, "(alias_ptr->value)");
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
  replaceText(parse, text, tail);
  Z_FREE(text, "(alias_ptr->value)");
  openLexer(parse);
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

// Runs the command whose name is the look-ahead token. False: the rest of the text is not parsed.
// May jump.
bool runCommand(Parse &parse) {
  utCheck(parse.command == parse.name);
  const ZutCommandFunc function = utCommandFind(parse.command);
  if (!function) {
    utCommandFail<Msg::unknownCommand>(Z_TRACE_LEVEL_INFO, parse.command);
    return false;
  }
  if (parse.control && !isAdmitted(parse.command, parse.text)) return false;
  utLexAcceptId(*parse.lexer);
  function(parse.lexer);
  utSourceSettle(parse);
  const bool complete = utLexAtEnd(*parse.lexer);
  if (!complete)
    utCommandFail<Msg::parseErrorInside>(Z_TRACE_LEVEL_INFO, parse.command, parse.lexer->text);
  return complete;
}

// May jump.
bool parseCommand(Parse &parse) {
  if (!utLexIsWord(*parse.lexer)) utLexAccept(*parse.lexer, Z_LEX_IDENTIFIER); // reports and jumps
  leaveFinished(parse);
  char *name = parse.name;
  utCopyCut(name, sizeof parse.name, parse.lexer->text);
  utLowerText(name);
  const char *rest = utLexRest(*parse.lexer) + parse.lexer->text_length;
  if (char *text = utAliasText(name))
    return expand(parse, name, static_cast<size_t>(parse.end - rest), text);
  parse.command = name;
  const bool goesOn = runCommand(parse);
  parse.command = nullptr;
  return goesOn;
}

// May jump.
void parseText(Parse &parse) {
  openLexer(parse);
  while (parse.lexer->token != Z_LEX_END && !utCommandStopped()) {
    if (parse.lexer->token == Z_LEX_SEMICOLON) utLexAccept(*parse.lexer, Z_LEX_SEMICOLON);
    else if (!parseCommand(parse)) return;
  }
}

void release(CommandSource &source) {
  Parse &parse = static_cast<Parse &>(source);
  closeLexer(parse);
  while (parse.aliases) leaveExpansion(parse);
  while (Scratch *scratch = parse.scratch) {
    parse.scratch = scratch->next;
    Z_FREE(scratch, "scratch");
  }
  parse.command = nullptr;
  if (parse.size <= utSpareSizeMax && spares.keep(&parse)) return;
  Z_FREE(parse.buffer, "parse text");
  Z_FREE(&parse, "parse");
}

// With a copy of the text: a command may change or free the caller's, which may be the value of the
// option that the command sets.
Parse &makeParse(const char *text, int32_t control) {
  const size_t length = std::strlen(text);
  Parse *parse = spares.take();
  if (!parse) parse = utNew<Parse>("parse");
  utCheck(!parse->lexer && !parse->aliases && !parse->scratch && !parse->command);
  if (parse->size <= length) resize(*parse, std::max<size_t>(length + 1, 256), 0);
  parse->release = release;
  parse->text = parse->end - length;
  utCheck(parse->text >= parse->buffer);
  std::memcpy(parse->text, text, length);
  parse->control = control;
  parse->locks = utProcessMutexDepth();
  return *parse;
}

// The arming frame.
void run(Parse &parse) {
  if (setjmp(parse.recover) == 0) parseText(parse); // NOLINT(cert-err52-cpp)
  // A parse function may have jumped out of its own locked stretch.
  while (utProcessMutexDepth() > parse.locks) ZutProcessMutexUnlock();
}

} // namespace

[[gnu::noinline]] void utCommandParse(const char *text, int32_t control, int32_t typed) {
  utCommandInit();
  const void *frame = __builtin_frame_address(0);
  if (!utSourceFits(frame, text)) return;
  Parse &parse = makeParse(text, control);
  CommandSource *volatile mark;
  utSourceEnter(parse, frame, mark);
  utThreadBlock().typed = typed;
  run(parse);
  utSourceLeave(parse);
}

void utCommandParseOwn(const char *text) {
  CommandThread &thread = utCommandThread();
  const int32_t failures = std::exchange(thread.failures, 0);
  utCommandParse(text, 0, 0);
  thread.failures = failures;
}

// Commands run inside a parse, so the innermost source is one and not a file.
[[gnu::noinline]] char *utCommandScratch(size_t size) {
  CommandSource *source = utSourceInnermost(__builtin_frame_address(0));
  utCheck(source && !source->file);
  Parse &parse = *static_cast<Parse *>(source);
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
