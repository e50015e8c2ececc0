// Lexers: making and destroying them, token callbacks, errors. Scanning is lexscan.cpp's, the
// accept operations are lexaccept.cpp's, reserved words lexword.cpp's.
//
// A lexer owns everything that its parse has made, since errors jump out of it: no frame that a
// jump may leave holds a lock or an object with a destructor. The records of finished lexers are
// kept for the next.
#include "config/lex/lex.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/print.h"
#include "base/processlock.h"
#include "base/report.h"
#include "base/spare.h"
#include "base/stop.h"
#include "config/lex/lexscan.h"
#include "containers/strlist.h"

#include <atomic>

std::atomic<bool> utLexCallbacksFlag;

namespace {

// At first; doubled when full. Never below Z_LEX_ID_SIZE.
constexpr int32_t textCapacity = 256;

// --- Records ---

constinit Spares<Lexer> spares;

Lexer *recordTake() {
  if (Lexer *lex = spares.take()) return lex;
  Lexer *lex = utNew<Lexer>("lexer");
  lex->text = utNewArray<char>(textCapacity, "((lexer)->token_buffer)");
  lex->text_capacity = textCapacity;
  ZutSafeStringCreate(&lex->string_value);
  return lex;
}

void recordFree(Lexer *lex) {
  utCheck(lex->text_capacity >= Z_LEX_ID_SIZE);
  Z_FREE(lex->text, "((lexer)->token_buffer)");
  ZutSafeStringDestroy(lex->string_value);
  Z_FREE(lex, "lexer");
}

void recordGive(Lexer *lex) {
  const bool small =
      lex->text_capacity <= utSpareSizeMax && lex->string_value.capacity <= utSpareSizeMax;
  if (!small || !spares.keep(lex)) recordFree(lex);
}

void readString(Lexer &lex, const char *text) {
  lex.string = text;
  lex.limit = nullptr;
  lex.read = text + 1;
}

// A lexer without input; its first token is not scanned yet.
Lexer *lexerNew() {
  Lexer *lex = recordTake();
  lex->token = Z_LEX_END;
  lex->id_value[0] = '\0';
  ZutSafeStringClear(&lex->string_value);
  lex->number_value = 0.0;
  lex->error_func = nullptr;
  lex->error_arg = nullptr;
  lex->file_name = nullptr;
  lex->stream = nullptr;
  lex->line = 1;
  readString(*lex, "");
  lex->return_spaces = lex->keep_case = lex->expect_octets = 0;
  lex->token_cbs = nullptr;
  lex->streamEnded = lex->ownsStream = false;
  lex->list = nullptr;
  lex->listEnd = &lex->list;
  lex->owned = nullptr;
  return lex;
}

void lexerFree(Lexer *lex) {
  utCheck(!lex->ownsStream || lex->stream);
  utCheck(lex->list ? lex->listEnd != &lex->list : lex->listEnd == &lex->list);
  utCheck(!lex->owned || lex->release);
  if (lex->token_cbs) ZutCbListDestroy(lex->token_cbs);
  if (lex->ownsStream) std::fclose(lex->stream);
  Z_FREE(lex->file_name, "(lexer->input_fname)");
  utStrListFree(lex->list);
  if (lex->owned) lex->release(lex->owned);
  recordGive(lex);
}

void readStream(Lexer &lex, FILE *stream) {
  lex.string = nullptr;
  lex.stream = stream;
  lex.buffer[0] = '\0';
  lex.limit = lex.buffer;
  lex.read = lex.buffer + 1;
}

void readFile(Lexer &lex) {
  // Carriage returns are white space to the lexer, and positions are exact: no text mode.
  FILE *stream = ZutFOpen(lex.file_name, "rb");
  if (!stream) {
    ZutFatalError("ZutLexCreate: cannot open file <%s> for reading.", lex.file_name);
    return;
  }
  readStream(lex, stream);
  lex.ownsStream = true;
}

// Notes the sources as they are given and opens the one that wins at the end.
struct Sources {
  const char *fileName;
  FILE *stream;
  const char *string;
  bool any() const { return fileName || stream || string; }
};

void takeFileName(Sources &sources, const char *name) {
  if (!sources.any()) {
    sources.fileName = name;
  } else if (sources.fileName) {
    utReport<Msg::lexSecondFile>(Z_TRACE_LEVEL_WARNING);
  } else {
    utReport<Msg::lexFileAndStream>(Z_TRACE_LEVEL_WARNING);
  }
}

void takeStream(Sources &sources, FILE *stream) {
  if (!sources.any()) {
    sources.stream = stream;
  } else if (sources.stream) {
    utReport<Msg::lexSecondStream>(Z_TRACE_LEVEL_WARNING);
  } else {
    utReport<Msg::lexStreamAndFile>(Z_TRACE_LEVEL_WARNING);
  }
}

void takeString(Sources &sources, const char *string) {
  if (sources.any()) utReport<Msg::lexSecondString>(Z_TRACE_LEVEL_WARNING);
  sources = {nullptr, nullptr, string};
}

void openSource(Lexer &lex, const Sources &sources) {
  utCheck(!!sources.fileName + !!sources.stream + !!sources.string <= 1);
  if (sources.string) readString(lex, sources.string);
  if (sources.stream) readStream(lex, sources.stream);
  if (sources.fileName) {
    lex.file_name = utDup(sources.fileName, "(lexer->input_fname)");
    readFile(lex);
  }
}

// Reads the options of ZutLexCreate. False for a null source.
bool takeOptions(Lexer &lex, Sources &sources, int32_t option, va_list args) {
  bool hasFunc = false, hasArg = false;
  for (; option != Z_LEX_OPT_END; option = va_arg(args, int)) {
    switch (option) {
    case Z_LEX_OPT_FILE_NAME: {
      const char *name = va_arg(args, const char *);
      if (!name) return false;
      takeFileName(sources, name);
      break;
    }
    case Z_LEX_OPT_STREAM: {
      FILE *stream = va_arg(args, FILE *);
      if (!stream) return false;
      takeStream(sources, stream);
      break;
    }
    case Z_LEX_OPT_STRING: {
      const char *string = va_arg(args, const char *);
      if (!string) return false;
      takeString(sources, string);
      break;
    }
    case Z_LEX_OPT_ERROR_FUNC:
      if (hasFunc) utReport<Msg::lexSecondErrorFunc>(Z_TRACE_LEVEL_WARNING);
      hasFunc = true;
      lex.error_func = va_arg(args, ZutLexErrorFunc);
      break;
    case Z_LEX_OPT_ERROR_ARG:
      if (hasArg) utReport<Msg::lexSecondErrorArg>(Z_TRACE_LEVEL_WARNING);
      hasArg = true;
      lex.error_arg = va_arg(args, void *);
      break;
    case Z_LEX_OPT_SPACES: lex.return_spaces = 1; break;
    case Z_LEX_OPT_KEEP_CASE: lex.keep_case = 1; break;
    default: utReport<Msg::lexUnknownOption>(Z_TRACE_LEVEL_WARNING, option); return true;
    }
  }
  return true;
}

// Scans the first token. May jump. Null: the error function returned.
Lexer *start(Lexer *lex) {
  utCheck(lex->token == Z_LEX_END);
  utLexMoveTo(*lex, utLexCursor(*lex));
  return utLexNext(*lex) ? lex : nullptr;
}

// --- Token callbacks ---

// The type, made by the first callback.
ZutCbType *callbackType() {
  static std::atomic<ZutCbType *> made;
  if (ZutCbType *type = made.load(std::memory_order_acquire)) return type;
  const ProcessGuard guard;
  ZutCbType *type = made.load(std::memory_order_relaxed);
  if (!type) {
    type = ZutCbTypeCreate(Z_CB_TYPE_LEXER_TOKEN, "lexer_token");
    ZutCbTypeSetLocalFlag(type, Z_CB_DIRECT);
    made.store(type, std::memory_order_release);
  }
  return type;
}

// --- Errors ---

void Z_CALL defaultError(ZutLexer *lexer, const char *format, va_list args) {
  ZutVOut(format, args);
  if (lexer->file_name) {
    ZutFatalError("\nLexer Error at line %ld of file %s", static_cast<long>(lexer->line),
                  lexer->file_name);
  } else {
    ZutFatalError("\nLexer Error at line %ld (no file name)", static_cast<long>(lexer->line));
  }
}

std::atomic<ZutLexUserErrorFunc> userError = defaultError;

[[noreturn]] void destroyAndJump(ZutLexer *lexer, void *buffer) {
  ZutLexDestroy(lexer);
  longjmp(*static_cast<jmp_buf *>(buffer), Z_LEX_JUMP); // NOLINT(cert-err52-cpp)
}

} // namespace

Lexer *utLexOpenString(const char *text, ZutLexErrorFunc errorFunc, void *errorArg) {
  Lexer *lex = lexerNew();
  lex->error_func = errorFunc;
  lex->error_arg = errorArg;
  readString(*lex, text);
  return start(lex);
}

void utLexListAdd(Lexer &lex, const char *text, const char *label) {
  utCheck(!*lex.listEnd);
  ZutStrList *node = utNew<ZutStrList>(label);
  node->string = utDup(text, "string");
  *lex.listEnd = node;
  lex.listEnd = &node->next;
}

ZutStrList *utLexListTake(Lexer &lex) {
  ZutStrList *list = lex.list;
  lex.list = nullptr;
  lex.listEnd = &lex.list;
  return list;
}

void utLexTellCallbacks(Lexer &lex, int32_t kind) {
  utCheck(lex.text[lex.text_length] == '\0');
  ZutLexTokenData data{nullptr, kind, lex.text};
  ZutCbList *all = nullptr;
  ZutCbTypeGetCbList(callbackType(), nullptr, &all);
  if (lex.token_cbs && all) {
    ZutCbMergeCall(lex.token_cbs, all, &lex, &data);
  } else if (lex.token_cbs || all) {
    ZutCbListCall(lex.token_cbs ? lex.token_cbs : all, &lex, &data);
  }
}

extern "C" {

ZutLexer *Z_CALL ZutLexCreate(int32_t option, ...) {
  Lexer *lex = lexerNew();
  Sources sources{};
  va_list args;
  va_start(args, option);
  const bool good = takeOptions(*lex, sources, option, args);
  va_end(args);
  if (!good) {
    lexerFree(lex);
    return utFailNull(Err::nullPointer);
  }
  openSource(*lex, sources);
  return start(lex);
}

int32_t Z_CALL ZutLexDestroy(ZutLexer *lexer) {
  if (!lexer) return utFail(Err::nullPointer);
  lexerFree(&utLexer(lexer));
  return 1;
}

void Z_CALL ZutLexSkipToEoln(ZutLexer *lexer) {
  if (!lexer) return utErrSet(Err::nullPointer);
  if (lexer->token == Z_LEX_END) return;
  utLexSkipLine(utLexer(lexer));
}

int32_t Z_CALL ZutLexGetCurrentPositionInFile(ZutLexer *lexer) {
  if (!lexer) {
    utErrSet(Err::nullPointer);
    return -1;
  }
  const long position = lexer->stream ? std::ftell(lexer->stream) : -1;
  if (position < 0) {
    utReport<Msg::lexPosition>(Z_TRACE_LEVEL_WARNING);
    return -1;
  }
  const char *limit = utLexer(lexer).limit;
  return static_cast<int32_t>(position - (lexer->read < limit ? limit - lexer->read : 0));
}

ZutCb *Z_CALL ZutLexTokenCbCreate(ZutLexer *lexer, ZutCbFunc function, ZutWord argument) {
  if (!function) return utFailNull(Err::nullPointer);
  ZutCbType *type = callbackType();
  utLexCallbacksFlag.store(true, std::memory_order_release);
  if (!lexer) return ZutCbCreateGlobal(type, function, argument);
  if (!lexer->token_cbs) lexer->token_cbs = ZutCbListCreate(type, lexer);
  return ZutCbListCbCreate(lexer->token_cbs, function, argument);
}

ZutCb *Z_CALL ZutLexTokenCbLookup(ZutLexer *lexer, ZutCbFunc function, ZutWord argument) {
  if (!function) return utFailNull(Err::nullPointer);
  if (!lexer) return ZutCbTypeCbLookup(callbackType(), nullptr, function, argument);
  if (!lexer->token_cbs) return utFailNull(Err::notFound);
  return ZutCbListCbLookup(lexer->token_cbs, function, argument);
}

void Z_CALL ZutLexError(ZutLexer *lexer, const char *format, ...) {
  if (!lexer || !format) return utErrSet(Err::nullPointer);
  va_list args;
  va_start(args, format);
  // Not under the process mutex: the function jumps as a rule and would leave it locked.
  if (lexer->error_func) {
    lexer->error_func(lexer, format, args, lexer->error_arg);
  } else {
    userError.load(std::memory_order_acquire)(lexer, format, args);
  }
  va_end(args);
  ZutLexDestroy(lexer);
}

void Z_CALL ZutLexSetUserErrorFunc(ZutLexUserErrorFunc function) {
  if (!function) return utErrSet(Err::nullPointer);
  userError.store(function, std::memory_order_release);
}

void Z_CALL ZutLexLongjmpErrorFunc(ZutLexer *lexer, const char *format, va_list args,
                                   void *argument) {
  ZutVOut(format, args);
  const char *file = lexer->file_name ? lexer->file_name : "<NONE>";
  utReport<Msg::lexError>(Z_TRACE_LEVEL_INFO, file, lexer->line);
  destroyAndJump(lexer, argument);
}

void Z_CALL ZutLexQuietLongjmpErrorFunc(ZutLexer *lexer, const char *, va_list, void *argument) {
  destroyAndJump(lexer, argument);
}

} // extern "C"
