// Option values as text: printing and reading them, legal values, real numbers.
//
// Reading runs under the lexer's jumps: what is being read hangs off the lexer until it is handed
// to the option. No frame that a jump may skip holds a lock or an object with a destructor.
#include "config/option/optvalue.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/print.h"
#include "base/processlock.h"
#include "base/report.h"
#include "base/text.h"
#include "base/threadblock.h"
#include "config/lex/lex.h"
#include "config/option/option.h"
#include "containers/strlist.h"
#include "format/textformat.h"

#include <csetjmp>
#include <cstring>

namespace {

// --- Printing ---

char *append(char *end, std::string_view text) {
  std::memcpy(end, text.data(), text.size());
  return end + text.size();
}

// Elements joined by ", ", each within `quote`.
const char *listText(const ZutStrList *list, std::string_view quote) {
  size_t size = 1;
  for (auto *node = list; node; node = node->next) {
    size += std::strlen(node->string) + 2 * quote.size() + 2;
  }
  char *text = utThreadText(TextSlot::optionValue, static_cast<int32_t>(size));
  char *end = text;
  for (auto *node = list; node; node = node->next) {
    end = append(end, node == list ? "" : ", ");
    end = append(append(append(end, quote), node->string), quote);
  }
  utCheck(static_cast<size_t>(end - text) < size);
  *end = '\0';
  return text;
}

constexpr std::string_view formatOverride = "OVERRIDE:";

char *realText(double value, char *buffer) {
  char format[formatOverride.size() + Z_REAL_TEXT_SIZE] = "%g"; // before the option exists
  utOptionText("real_number_format", format, sizeof format);
  const bool override = utBeginsWord(format, formatOverride);
  utFormatReal(buffer, Z_REAL_TEXT_SIZE, format + (override ? formatOverride.size() : 0), value);
  return buffer;
}

const char *oneText(const char *word, std::string_view quote) {
  const ZutStrList list{nullptr, const_cast<char *>(word)};
  return listText(&list, quote);
}

// Under the process mutex.
const char *valueText(const ZutOption &option) {
  utCheck(utProcessMutexHeld());
  if (!option.value) return oneText("UNKNOWN", "");
  const auto *text = static_cast<const char *>(option.value);
  const auto *list = static_cast<const ZutStrList *>(option.value);
  switch (option.type) {
  case Z_OPTION_BOOL: return oneText(option.boolean ? "TRUE" : "FALSE", "");
  case Z_OPTION_ENUM: return oneText(text, "");
  case Z_OPTION_NUM: return oneText(ZutRealToStr(option.number), "");
  case Z_OPTION_STR: return oneText(text, "\"");
  case Z_OPTION_ENUM_LIST: return listText(list, "");
  case Z_OPTION_STR_LIST: return listText(list, "\"");
  default:
    utReport<Msg::valueBadType>(Z_TRACE_LEVEL_WARNING, option.type, option.name);
    return oneText("", "");
  }
}

// --- Reading ---

bool isWord(const Lexer &lex, const char *word) {
  return utLexIsWord(lex) && utSameWord(lex.text, word);
}

int32_t Z_CALL printLegal(const char *, const char *word, ZutWord) {
  ZutOut(" %s", word);
  return 0;
}

int32_t parseBool(ZutOption &option, Lexer &lex) {
  if (!utLexAcceptId(lex)) return 0;
  if (utSameWord(lex.id_value, "true")) return ZutOptionSetBool(&option, 1);
  if (utSameWord(lex.id_value, "false")) return ZutOptionSetBool(&option, 0);
  utReport<Msg::boolBadWord>(Z_TRACE_LEVEL_WARNING, lex.id_value, option.name);
  return utFail(Err::invalid);
}

// The words are compared before the set, whose verify function may destroy the option.
int32_t parseEnum(ZutOption &option, Lexer &lex) {
  if (!utLexAcceptId(lex)) return 0;
  if (utOptionIsLegal(option, lex.id_value)) return ZutOptionSetEnum(&option, lex.id_value);
  utReport<Msg::notLegal>(Z_TRACE_LEVEL_INFO, lex.id_value, option.name);
  ZutOut("Legal values:");
  ZutOptionLegValTraverse(&option, printLegal, 0);
  ZutOut("\n");
  return utFail(Err::invalid);
}

// Reads elements parted by "," into the lexer's list: words, or else texts. May jump.
bool readList(Lexer &lex, bool words) {
  for (;;) {
    if (!(words ? utLexAcceptId(lex) : utLexAcceptFileName(lex))) return false;
    if (words) utLexListAdd(lex, lex.id_value, "enum_ptr");
    else utLexListAdd(lex, lex.string_value.str, "string_ptr");
    if (lex.token != Z_LEX_COMMA) return true;
    if (!utLexAccept(lex, Z_LEX_COMMA)) return false;
  }
}

int32_t parseList(ZutOption &option, Lexer &lex) {
  const bool words = option.type == Z_OPTION_ENUM_LIST;
  if (!readList(lex, words)) return 0;
  ZutStrList *list = utLexListTake(lex);
  utCheck(list);
  const int32_t set =
      words ? ZutOptionSetEnumList(&option, list) : ZutOptionSetStrList(&option, list);
  utStrListFree(list);
  return set;
}

int32_t parseValue(ZutOption &option, Lexer &lex) {
  if (isWord(lex, "unknown")) return utLexAcceptId(lex) && ZutOptionSetUnknown(&option);
  switch (option.type) {
  case Z_OPTION_BOOL: return parseBool(option, lex);
  case Z_OPTION_ENUM: return parseEnum(option, lex);
  case Z_OPTION_NUM:
    return utLexAcceptSignedReal(lex) && ZutOptionSetNum(&option, lex.number_value);
  case Z_OPTION_STR:
    return utLexAcceptFileName(lex) && ZutOptionSetStr(&option, lex.string_value.str);
  case Z_OPTION_ENUM_LIST:
  case Z_OPTION_STR_LIST: return parseList(option, lex);
  default:
    utReport<Msg::parseBadType>(Z_TRACE_LEVEL_WARNING, option.type, option.name);
    return utFail(Err::typeInvalid);
  }
}

struct TextParse {
  jmp_buf recover;
  ZutOption *option;
  bool done;
};
static_assert(std::is_trivially_destructible_v<TextParse>);

// May jump, without the lexer then. A callback may destroy the option, so its name is copied.
void parseWhole(TextParse &parse, const char *text) {
  char name[Z_LEX_ID_SIZE];
  utCopyCut(name, sizeof name, parse.option->name);
  Lexer &lex = *utLexOpenString(text, ZutLexQuietLongjmpErrorFunc, &parse.recover);
  parse.done = parseValue(*parse.option, lex);
  if (parse.done && lex.token != Z_LEX_END)
    utReport<Msg::setoptExtra>(Z_TRACE_LEVEL_INFO, static_cast<const char *>(name), lex.text);
  ZutLexDestroy(&lex);
}

// --- Making an option ---

// The type words in the order of the type numbers.
constexpr const char *typeWords[] = {"boolean",   "enum",         "numeric", "string",
                                     "enum_list", "numeric_list", "str_list"};
static_assert(std::size(typeWords) == Z_OPTION_STR_LIST + 1);

// Reads a type word; -1 with a message when it is missing or wrong. May jump.
int32_t parseType(const char *name, Lexer &lex) {
  if (utLexAtEnd(lex)) {
    utReport<Msg::createNoType>(Z_TRACE_LEVEL_WARNING, name);
    return utFail(Err::required) - 1;
  }
  if (!utLexAcceptId(lex)) return -1;
  for (int32_t type = 0; type < static_cast<int32_t>(std::size(typeWords)); ++type) {
    if (utSameWord(lex.id_value, typeWords[type])) return type;
  }
  utReport<Msg::createBadType>(Z_TRACE_LEVEL_WARNING, lex.id_value, name);
  return utFail(Err::typeInvalid) - 1;
}

// The values of an enumerated option: the legal ones, the first its value. May jump.
int32_t parseLegalValues(ZutOption &option, Lexer &lex) {
  if (!readList(lex, false)) return 0;
  utCheck(lex.list);
  for (const ZutStrList *node = lex.list; node; node = node->next) {
    const bool added = ZutOptionLegValAdd(&option, node->string);
    if (!added && utErrGet() != Err::exists) return 0;
  }
  // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): at least one was read
  const int32_t set = ZutOptionSetEnum(&option, lex.list->string);
  utStrListFree(utLexListTake(lex));
  return set;
}

void destroyOption(void *option) { ZutOptionDestroy(static_cast<ZutOption *>(option)); }

int32_t createFromLexer(const char *name, Lexer &lex) {
  const bool protect = isWord(lex, "protect");
  if (protect && !utLexAcceptId(lex)) return 0;
  const int32_t type = parseType(name, lex);
  if (type < 0) return 0;
  ZutOption *option = ZutOptionCreate(name, type);
  if (!option) return 0;
  option->required = 1;
  option->isProtected = protect;
  if (utLexAtEnd(lex)) return 1;
  utLexOwn(lex, option, destroyOption); // until its value is read
  if (type == Z_OPTION_ENUM ? parseLegalValues(*option, lex) : parseValue(*option, lex)) {
    utLexOwn(lex, nullptr, nullptr);
    return 1;
  }
  const Err reason = utErrGet();
  if (ZutOptionLookup(name) == option) { // else the lexer is gone, and the option with it
    utLexOwn(lex, nullptr, nullptr);
    ZutOptionDestroy(option);
  }
  return utFail(reason);
}

// --- Dumps and traversals ---

int32_t Z_CALL isListed(ZutWord key, ZutWord value) {
  return *reinterpret_cast<const char *>(key) != '_' &&
         !reinterpret_cast<ZutOption *>(value)->isProtected;
}

struct LegalVisit {
  ZutOptionLegValFunc function;
  ZutWord argument;
};

int32_t Z_CALL visitLegal(ZutWord key, ZutWord value, ZutWord argument) {
  const auto &visit = *reinterpret_cast<LegalVisit *>(argument);
  return visit.function(reinterpret_cast<const char *>(key), reinterpret_cast<const char *>(value),
                        visit.argument);
}

// --- The format of real numbers ---

const char *passAny(const char *text, std::string_view set) {
  while (*text && set.find(*text) != set.npos) ++text;
  return text;
}

int32_t checkFormat(const ZutOption &option, const char *text) {
  constexpr std::string_view digits = "0123456789", conversions = "efgEG";
  if (utBeginsWord(text, formatOverride)) {
    text += formatOverride.size();
    utReport<Msg::realFormatOverride>(Z_TRACE_LEVEL_INFO, option.name, text);
    return 1;
  }
  if (*text != '%') {
    utReport<Msg::realFormatPercent>(Z_TRACE_LEVEL_INFO, option.name);
    return utFail(Err::invalid);
  }
  text = passAny(passAny(text + 1, "-+ #0"), digits);
  if (*text == '.') text = passAny(text + 1, digits);
  if (*text == 'l') ++text;
  if (!*text || conversions.find(*text) == conversions.npos) {
    utReport<Msg::realFormatConversion>(Z_TRACE_LEVEL_INFO, *text ? *text : ' ', option.name);
    return utFail(Err::invalid);
  }
  if (text[1]) {
    utReport<Msg::realFormatExtra>(Z_TRACE_LEVEL_INFO, text[1], option.name);
    return utFail(Err::invalid);
  }
  return 1;
}

} // namespace

// The arming frame.
bool utOptionParseText(ZutOption &option, const char *text) {
  TextParse parse;
  parse.option = &option;
  parse.done = false;
  if (setjmp(parse.recover) == 0) parseWhole(parse, text); // NOLINT(cert-err52-cpp)
  return parse.done;
}

const char *utOptionValueText(const char *name) {
  const ProcessGuard guard;
  return ZutOptionValToStr(ZutOptionLookup(name));
}

void utOptionDumpOne(const ZutOption &option, const char *tableName, ZutPrintFunc out) {
  const char *value = valueText(option);
  if (tableName) {
    out("%s/%s %s\n", tableName, option.name, value);
  } else {
    out("%s %s\n", option.name, value);
  }
}

void utOptionDumpAll(ZutHashTable *table, const char *tableName, ZutPrintFunc out) {
  int32_t count = 0;
  ZutWord *sorted = ZutHashSort(table, &count, nullptr, isListed);
  for (int32_t i = 0; i < count; ++i) {
    utOptionDumpOne(*reinterpret_cast<ZutOption *>(sorted[i]), tableName, out);
  }
  Z_FREE(sorted, "sorted_options");
}

extern "C" {

const char *Z_CALL ZutOptionValToStr(ZutOption *option) {
  if (!option) return utFailNull(Err::nullPointer);
  const ProcessGuard guard;
  return valueText(*option);
}

int32_t Z_CALL ZutOptionParseValue(ZutOption *option, ZutLexer *lexer) {
  if (!option || !lexer) return utFail(Err::nullPointer);
  return parseValue(*option, utLexer(lexer));
}

int32_t Z_CALL ZutOptionCreateFromLexer(const char *name, ZutLexer *lexer) {
  if (!name || !lexer) return utFail(Err::nullPointer);
  return createFromLexer(name, utLexer(lexer));
}

int32_t Z_CALL ZutOptionLegValAdd(ZutOption *option, const char *word) {
  if (!option || !word) return utFail(Err::nullPointer);
  if (option->type != Z_OPTION_ENUM) return utFail(Err::typeInvalid);
  const ProcessGuard guard;
  if (option->legal && utOptionIsLegal(*option, word)) return utFail(Err::exists);
  if (utSameWord(word, "unknown")) return utFail(Err::invalid);
  if (!option->legal) {
    option->legal = utNew<LegalValues>("legal");
    *option->legal = {ZutHashCreateStri(5), 1};
  }
  utCheck(option->legal->words && option->legal->users > 0);
  const auto kept = reinterpret_cast<ZutWord>(utLowerText(utDup(word, "(new_val)")));
  ZutHashInsert(option->legal->words, kept, kept);
  return 1;
}

int32_t Z_CALL ZutOptionLegValTraverse(ZutOption *option, ZutOptionLegValFunc function,
                                       ZutWord argument) {
  if (!option || !function) return utFail(Err::nullPointer);
  LegalVisit visit{function, argument};
  const ProcessGuard guard;
  if (!option->legal) return 0;
  return ZutHashTraverse(option->legal->words, visitLegal, reinterpret_cast<ZutWord>(&visit));
}

int32_t Z_CALL ZutOptionDump(const char *name, ZutPrintFunc out) {
  if (!out) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  if (!name) {
    utOptionDumpAll(utOptionTable(), nullptr, out);
  } else if (const ZutOption *option = ZutOptionLookup(name)) {
    utOptionDumpOne(*option, nullptr, out);
  } else {
    out("No option named <%s>\n", name);
    return utFail(Err::notFound);
  }
  return 1;
}

const char *Z_CALL ZutRealToStr(double value) {
  return realText(value, utThreadText(TextSlot::realNumber, Z_REAL_TEXT_SIZE));
}

char *Z_CALL ZutRealToStrCopy(double value, char *buffer) {
  return buffer ? realText(value, buffer) : utFailNull(Err::nullPointer);
}

int32_t Z_CALL ZutOptionRealNumberFormatVf(ZutOption *option, void *value, ZutWord) {
  if (!option) return utFail(Err::nullPointer);
  return !value || checkFormat(*option, static_cast<const char *>(value));
}

} // extern "C"
