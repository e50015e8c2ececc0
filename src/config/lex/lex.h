// The lexer's record, and what the command interpreter and the option values use of it.
//
// Errors: an operation that returns bool may jump (the lexer's error function does). If it returns
// false, the error function returned and the lexer is destroyed: return at once.
#pragma once

#include "zut.h"

#include <type_traits>

struct Lexer : ZutLexer {
  const char *tokenStart; // string input: where the look-ahead token begins
  const char *limit;      // stream input: the end of the buffer's contents, a NUL
  bool streamEnded;
  bool ownsStream;
  bool spaceBefore;     // white space or a comment was skipped before the look-ahead token
  ZutStrList *list;     // what the parse has collected and not handed on yet, freed with the
  ZutStrList **listEnd; // lexer: a list of strings,
  void *owned;          // and a thing that is being made
  void (*release)(void *thing);
};
static_assert(std::is_trivially_destructible_v<Lexer>);

inline Lexer &utLexer(ZutLexer *lexer) { return *static_cast<Lexer *>(lexer); }

// A lexer over a string, as ZutLexCreate makes it. The records of finished lexers are kept for the
// next, so that one for each line costs little.
Lexer *utLexOpenString(const char *text, ZutLexErrorFunc errorFunc, void *errorArg);

// Scans the next token (lexscan.cpp).
bool utLexNext(Lexer &lex);

// The exported operations of these names.
bool utLexAccept(Lexer &lex, int32_t kind);
bool utLexAcceptId(Lexer &lex);
bool utLexAcceptSignedReal(Lexer &lex);
bool utLexAcceptFileName(Lexer &lex);

inline bool utLexIsWord(const ZutLexer &lex) { return lex.token >= Z_LEX_IDENTIFIER; }
// At the end of a command: at the end of input or at a separator?
inline bool utLexAtEnd(const ZutLexer &lex) {
  return lex.token == Z_LEX_END || lex.token == Z_LEX_SEMICOLON;
}
// Drops tokens up to the end of the command.
bool utLexSkipCommand(Lexer &lex);
// The input from the look-ahead token on, as it was typed. For string input alone.
inline const char *utLexRest(const Lexer &lex) { return lex.tokenStart; }
// The current character, the first one after the look-ahead token; a NUL at the end of input.
inline const char *utLexCursor(const ZutLexer &lex) { return lex.read - 1; }

// The lexer's destruction releases `thing`, which a jump may leave half made. Null: no longer.
inline void utLexOwn(Lexer &lex, void *thing, void (*release)(void *thing)) {
  lex.owned = thing;
  lex.release = release;
}

// Adds `text` to the list being read; takes the list away from the lexer.
void utLexListAdd(Lexer &lex, const char *text, const char *label);
ZutStrList *utLexListTake(Lexer &lex);
