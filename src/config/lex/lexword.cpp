// Names of the token kinds, and the reserved words: one table for all lexers, guarded by the
// process mutex. It only grows.
#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/processlock.h"
#include "base/report.h"
#include "base/text.h"
#include "config/lex/lexscan.h"
#include "containers/hash.h"

namespace {

// By kind, counted down from 0.
// clang-format off
constexpr const char *kindNames[] = {
    "<identifier>", "<pattern>", "+",  "++", "+=", "-",  "--", "-=", "*", "*=", "/", "/=",
    "=",            "<>",        "<",  "<=", ">",  ">=", ":=", "(",  ")", "[",  "]", "{",
    "}",            ":",         ".",  ",",  ";",  "!",  "$",  "^",  "@", "#",  "%", "&",
    "~",            "|",         "<unsigned numeric constant>", "<string constant>", "\\",
    "<white space>", "<end of file>", "<error>", "<octet string>"};
// clang-format on
static_assert(std::size(kindNames) == 1 - Z_LEX_OCTETS);

struct ReservedWord {
  char *name;
  int32_t value;
};

ZutHashTable *reservedWords;          // null until the first; under the process mutex
std::atomic<bool> reservedWordsExist; // so that names are not looked up for nothing

ReservedWord *reservedFind(const char *name) {
  utCheck(reservedWords && (utProcessMutexHeld()));
  const ZutHashBucket *bucket = utHashFind(reservedWords, reinterpret_cast<ZutWord>(name));
  return bucket ? reinterpret_cast<ReservedWord *>(bucket->value) : nullptr;
}

struct ReservedSearch {
  int32_t value;
  char *buffer;
};

int32_t Z_CALL reservedMatch(ZutWord, ZutWord value, ZutWord argument) {
  const auto &word = *reinterpret_cast<ReservedWord *>(value);
  const auto &search = *reinterpret_cast<ReservedSearch *>(argument);
  utCheck(word.name && word.value >= 1);
  if (word.value != search.value) return 0;
  utCopyCut(search.buffer, Z_LEX_ID_SIZE, word.name);
  return 1;
}

// The reserved word with that value into `buffer`.
bool reservedName(int32_t value, char *buffer) {
  if (!reservedWordsExist.load(std::memory_order_acquire)) return false;
  ReservedSearch search{value, buffer};
  const ProcessGuard guard;
  return ZutHashTraverse(reservedWords, reservedMatch, reinterpret_cast<ZutWord>(&search)) != 0;
}

int32_t Z_CALL reservedPrint(ZutWord, ZutWord value, ZutWord argument) {
  const auto &word = *reinterpret_cast<ReservedWord *>(value);
  (*reinterpret_cast<ZutPrintFunc *>(argument))("Name %s, value %ld\n", word.name,
                                                static_cast<long>(word.value));
  return 0;
}

} // namespace

int32_t utLexReservedKind(const char *text) {
  if (!reservedWordsExist.load(std::memory_order_acquire)) return Z_LEX_IDENTIFIER;
  const ProcessGuard guard;
  const ReservedWord *word = reservedFind(text);
  return word ? word->value : Z_LEX_IDENTIFIER;
}

extern "C" {

char *Z_CALL ZutLexTokenToString(int32_t kind, char *buffer) {
  if (!buffer) return utFailNull(Err::nullPointer);
  if (kind <= 0 && kind >= Z_LEX_ERROR) { // the last kind, the octets, stays unknown
    utCopyCut(buffer, Z_LEX_ID_SIZE, kindNames[-kind]);
  } else if (kind <= 0 || !reservedName(kind, buffer)) {
    std::snprintf(buffer, Z_LEX_ID_SIZE, "<UNKNOWN TOKEN %ld>", static_cast<long>(kind));
    utReport<Msg::lexUnknownToken>(Z_TRACE_LEVEL_WARNING, kind);
  }
  return buffer;
}

int32_t Z_CALL ZutLexAddReservedWord(const char *name, int32_t value) {
  if (!name) return utFail(Err::nullPointer);
  if (value < 1) return utFail(Err::tooSmall);
  const ProcessGuard guard;
  if (!reservedWords) reservedWords = ZutHashCreateStri(64);
  if (reservedFind(name)) return utFail(Err::exists);
  auto *word = utNew<ReservedWord>("rw_ptr");
  word->name = utLowerText(utDup(name, "(rw_ptr->name)"));
  word->value = value;
  ZutHashInsert(reservedWords, reinterpret_cast<ZutWord>(word->name),
                reinterpret_cast<ZutWord>(word));
  reservedWordsExist.store(true, std::memory_order_release);
  return 1;
}

int32_t Z_CALL ZutLexPrintReservedWords(ZutPrintFunc out) {
  if (!out) return utFail(Err::nullPointer);
  if (!reservedWordsExist.load(std::memory_order_acquire)) return 0;
  const ProcessGuard guard;
  ZutHashTraverse(reservedWords, reservedPrint, reinterpret_cast<ZutWord>(&out));
  return 1;
}

} // extern "C"
