// The accept operations: what parsers read with. Everything here may jump; see lex.h for what false
// means.
#include "base/check.h"
#include "base/env.h"
#include "base/errword.h"
#include "base/text.h"
#include "config/lex/lexscan.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace {

// Byte by byte, as it was written: a wider read of bytes just stored would fail store forwarding.
void keepName(Lexer &lex) {
  const int32_t length = std::min(lex.text_length, Z_LEX_ID_SIZE - 1);
  const char *text = lex.text;
  const bool keepCase = lex.keep_case != 0;
  for (int32_t i = 0; i < length; ++i) lex.id_value[i] = keepCase ? text[i] : utLower(text[i]);
  lex.id_value[length] = '\0';
}

void keepValue(Lexer &lex) {
  switch (lex.token) {
  case Z_LEX_STRING: ZutSafeStringCopy(&lex.string_value, lex.text); break;
  case Z_LEX_NUMBER: lex.number_value = utParseReal(lex.text); break;
  default: keepName(lex);
  }
}

// The look-ahead token is accepted whatever it is. May jump.
bool take(Lexer &lex) {
  utCheck(lex.text[lex.text_length] == '\0');
  if (utLexHasCallbacks()) utLexTellCallbacks(lex, lex.token);
  keepValue(lex);
  return utLexNext(lex);
}

// May jump.
bool failExpected(Lexer &lex, const char *expected, const char *end = "") {
  char found[Z_LEX_ID_SIZE];
  ZutLexError(&lex, "ERROR: Expected: %s,  Found: %s <%s>%s", expected,
              ZutLexTokenToString(lex.token, found), lex.text, end);
  return false;
}

bool failKind(Lexer &lex, int32_t kind) {
  char expected[Z_LEX_ID_SIZE];
  return failExpected(lex, ZutLexTokenToString(kind, expected));
}

bool skipSpaces(Lexer &lex) {
  while (lex.token == Z_LEX_SPACE) {
    if (!take(lex)) return false;
  }
  return true;
}

bool acceptBool(Lexer &lex, int32_t &value) {
  if (!utLexAccept(lex, Z_LEX_IDENTIFIER)) return false;
  value = utSame(lex.id_value, "true");
  if (value || utSame(lex.id_value, "false")) return true;
  ZutLexError(&lex, "ERROR: Expected: boolean constant,  Found: <identifier> <%s>", lex.id_value);
  return false;
}

bool acceptSign(Lexer &lex, bool &negative) {
  negative = lex.token == Z_LEX_MINUS;
  return (negative || lex.token == Z_LEX_PLUS) ? take(lex) : true;
}

bool checkIntegral(Lexer &lex, const char *expected) {
  const double value = lex.number_value;
  if (value == std::floor(value)) return true;
  char text[32]; // room for the shortest text of any double
  *std::to_chars(text, text + sizeof text - 1, value).ptr = '\0';
  ZutLexError(&lex, "ERROR: Expected: %s,  Found: signed real <%s>", expected, text);
  return false;
}

void joinToken(Lexer &lex) { ZutSafeStringAppend(&lex.string_value, lex.text); }

void joinVariable(Lexer &lex) {
  utCheck(utLexIsWord(lex));
  char *value = utEnvDup(lex.text);
  if (!value) ZutSafeStringAppend(&lex.string_value, "$");
  ZutSafeStringAppend(&lex.string_value, value ? value : lex.text);
  Z_FREE(value, "value");
}

// Joins one token of a file name, a "$" together with the name that directly follows. May jump.
bool joinFileName(Lexer &lex) {
  if (lex.token != Z_LEX_DOLLAR) {
    joinToken(lex);
    return take(lex);
  }
  if (!take(lex)) return false;
  if (lex.spaceBefore || !utLexIsWord(lex)) {
    ZutSafeStringAppend(&lex.string_value, "$");
    return true;
  }
  joinVariable(lex);
  return take(lex);
}

bool endsFileName(const Lexer &lex) {
  return lex.token == Z_LEX_SPACE || lex.token == Z_LEX_COMMA || utLexAtEnd(lex);
}

bool endsSlot(const Lexer &lex) { return !utLexIsWord(lex) && lex.token != Z_LEX_DOT; }

bool acceptSlot(Lexer &lex) {
  if (!skipSpaces(lex)) return false;
  if (endsSlot(lex)) return failExpected(lex, "slot name");
  ZutSafeStringClear(&lex.string_value);
  do {
    joinToken(lex);
    if (!take(lex)) return false;
  } while (!lex.spaceBefore && !endsSlot(lex));
  const std::string_view name = lex.string_value.str;
  utCheck(!name.empty());
  const bool dots = name.find('.') != name.npos;
  if (dots && !name.ends_with('.') && !name.starts_with('.')) return skipSpaces(lex);
  ZutLexError(&lex,
              !dots                 ? "ERROR: slot name <%s> does not contain any dots"
              : name.ends_with('.') ? "ERROR: slot name <%s> cannot end with a dot"
                                    : "ERROR: slot name <%s> cannot start with a dot",
              lex.string_value.str);
  return false;
}

// A token that introduces hexadecimal digits, and the group of digits that follows it.
bool acceptOctets(Lexer &lex, int32_t introduction, int32_t digits) {
  if (lex.token != introduction) return failKind(lex, introduction);
  joinToken(lex);
  lex.expect_octets = 1;
  if (!take(lex)) return false;
  if (lex.token != Z_LEX_OCTETS) return failKind(lex, Z_LEX_OCTETS);
  if (lex.text_length != digits) {
    ZutLexError(&lex, "ERROR: Malformed GUID string\n");
    return false;
  }
  joinToken(lex);
  return take(lex);
}

bool acceptGuid(Lexer &lex) {
  if (!skipSpaces(lex)) return false;
  ZutSafeStringClear(&lex.string_value);
  if (!acceptOctets(lex, Z_LEX_LEFT_BRACE, 8)) return false;
  for (const int32_t digits : {4, 4, 4, 12}) {
    if (!acceptOctets(lex, Z_LEX_MINUS, digits)) return false;
  }
  if (lex.token == Z_LEX_RIGHT_BRACE) joinToken(lex);
  return utLexAccept(lex, Z_LEX_RIGHT_BRACE);
}

} // namespace

bool utLexAccept(Lexer &lex, int32_t kind) {
  return lex.token == kind ? take(lex) : failKind(lex, kind);
}

bool utLexAcceptId(Lexer &lex) {
  return utLexIsWord(lex) ? take(lex) : failKind(lex, Z_LEX_IDENTIFIER);
}

bool utLexAcceptSignedReal(Lexer &lex) {
  bool negative;
  if (!acceptSign(lex, negative) || !utLexAccept(lex, Z_LEX_NUMBER)) return false;
  if (negative) lex.number_value = -lex.number_value;
  return true;
}

bool utLexAcceptFileName(Lexer &lex) {
  if (!skipSpaces(lex)) return false;
  if (lex.token == Z_LEX_STRING) return take(lex) && skipSpaces(lex);
  if (endsFileName(lex)) return failExpected(lex, "flexible string", "\n");
  ZutSafeStringClear(&lex.string_value);
  do {
    if (!joinFileName(lex)) return false;
  } while (!lex.spaceBefore && !endsFileName(lex));
  return skipSpaces(lex);
}

bool utLexSkipCommand(Lexer &lex) {
  while (!utLexAtEnd(lex)) {
    if (!utLexNext(lex)) return false;
  }
  return true;
}

extern "C" {

void Z_CALL ZutLexAccept(ZutLexer *lexer, int32_t kind) {
  if (!lexer) return utErrSet(Err::nullPointer);
  utLexAccept(utLexer(lexer), kind);
}

void Z_CALL ZutLexAcceptId(ZutLexer *lexer) {
  if (!lexer) return utErrSet(Err::nullPointer);
  utLexAcceptId(utLexer(lexer));
}

void Z_CALL ZutLexAcceptPattern(ZutLexer *lexer) {
  if (!lexer) return utErrSet(Err::nullPointer);
  if (utLexIsWord(*lexer)) {
    take(utLexer(lexer));
  } else {
    utLexAccept(utLexer(lexer), Z_LEX_PATTERN);
  }
}

int32_t Z_CALL ZutLexAcceptBool(ZutLexer *lexer) {
  if (!lexer) return utFail(Err::nullPointer);
  int32_t value = 0;
  return acceptBool(utLexer(lexer), value) ? value : 0;
}

void Z_CALL ZutLexAcceptSignedReal(ZutLexer *lexer) {
  if (!lexer) return utErrSet(Err::nullPointer);
  utLexAcceptSignedReal(utLexer(lexer));
}

void Z_CALL ZutLexAcceptSignedInt(ZutLexer *lexer) {
  if (!lexer) return utErrSet(Err::nullPointer);
  if (utLexAcceptSignedReal(utLexer(lexer))) checkIntegral(utLexer(lexer), "signed integer");
}

void Z_CALL ZutLexAcceptUnsignedInt(ZutLexer *lexer) {
  if (!lexer) return utErrSet(Err::nullPointer);
  // The message says "signed real" here too: callers' texts are matched against it.
  if (utLexAccept(utLexer(lexer), Z_LEX_NUMBER)) checkIntegral(utLexer(lexer), "unsigned integer");
}

void Z_CALL ZutLexAcceptFileName(ZutLexer *lexer) {
  if (!lexer) return utErrSet(Err::nullPointer);
  utLexAcceptFileName(utLexer(lexer));
}

void Z_CALL ZutLexAcceptSlot(ZutLexer *lexer) {
  if (!lexer) return utErrSet(Err::nullPointer);
  acceptSlot(utLexer(lexer));
}

void Z_CALL ZutLexAcceptSlotOrAlias(ZutLexer *lexer) { ZutLexAcceptSlot(lexer); }

void Z_CALL ZutLexAcceptGuidStr(ZutLexer *lexer) {
  if (!lexer) return utErrSet(Err::nullPointer);
  acceptGuid(utLexer(lexer));
}

void Z_CALL ZutLexGobbleWhitespace(ZutLexer *lexer) {
  if (!lexer) return utErrSet(Err::nullPointer);
  skipSpaces(utLexer(lexer));
}

} // extern "C"
