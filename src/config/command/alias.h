// Aliases: names that stand for the beginning of a command.
#pragma once

#include "zut.h"

// Defines or replaces the alias of this name, which is in lower case.
void utAliasSet(const char *name, const char *text);
// A copy of an alias's text, to free under "(alias_ptr->value)"; null when there is no such alias.
char *utAliasText(const char *name);
// Prints an alias's text. False: there is no such alias.
bool utAliasPrintText(const char *name);
// False: there is no such alias.
bool utAliasRemove(const char *name);
// Lists all aliases, sorted by name.
void utAliasPrint();
