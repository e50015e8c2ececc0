// The commands that every program has from the start. All of them may jump.
#pragma once

#include "zut.h"

#include <span>

struct BuiltIn {
  const char *name;
  ZutCommandFunc function;
  int32_t hidden;
};

// In the order of registration.
std::span<const BuiltIn> utBuiltIns();

// diagnostics.cpp: what looks at the process or disturbs it.
void Z_CALL utCommandAbort(ZutLexer *lexer);
void Z_CALL utCommandAlarm(ZutLexer *lexer);
void Z_CALL utCommandDebugOn(ZutLexer *lexer);
void Z_CALL utCommandDebugOff(ZutLexer *lexer);
void Z_CALL utCommandDebugSet(ZutLexer *lexer);
void Z_CALL utCommandPrintSbrk(ZutLexer *lexer);
void Z_CALL utCommandSetFdLimit(ZutLexer *lexer);
void Z_CALL utCommandSetFrameCount(ZutLexer *lexer);
void Z_CALL utCommandSetTime(ZutLexer *lexer);
void Z_CALL utCommandSigint(ZutLexer *lexer);
void Z_CALL utCommandSleep(ZutLexer *lexer);
void Z_CALL utCommandPutenv(ZutLexer *lexer);
void Z_CALL utCommandStats(ZutLexer *lexer);

// optioncommands.cpp
void Z_CALL utCommandHelpopt(ZutLexer *lexer);
void Z_CALL utCommandSetopt(ZutLexer *lexer);
void Z_CALL utCommandSetnopt(ZutLexer *lexer);
void Z_CALL utCommandUnsetopt(ZutLexer *lexer);
void Z_CALL utCommandCreateopt(ZutLexer *lexer);
