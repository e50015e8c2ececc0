// Scanning: from characters to the look-ahead token. What lex.cpp needs of it.
#pragma once

#include "config/lex/lex.h"

#include <atomic>

// Publishes `p` as the place of the current character, reading more of a stream when it ends there.
void utLexMoveTo(Lexer &lex, const char *p);

// Drops the rest of the line and scans the next token.
bool utLexSkipLine(Lexer &lex);

// The kind of a reserved word, or Z_LEX_IDENTIFIER (lexword.cpp).
int32_t utLexReservedKind(const char *text);
// Calls the token callbacks for the token whose text the lexer now holds (lex.cpp). They cost
// nothing until the first one is made.
extern std::atomic<bool> utLexCallbacksFlag;
inline bool utLexHasCallbacks() { return utLexCallbacksFlag.load(std::memory_order_acquire); }
void utLexTellCallbacks(Lexer &lex, int32_t kind);
