// Parsing one text: what command files, the prompt and the parse operations come down to.
#pragma once

#include "config/lex/lex.h"

// Parses a text as the program's own (typed 0) or a person's (typed 1); a control other than 0
// admits only what the option enable_control_msgs lists. Never jumps: every error ends the text.
void utCommandParse(const char *text, int32_t control, int32_t typed);

// Parses a text of the library's own, such as a default: in a thread that stops at failures, too,
// and without counting any.
void utCommandParseOwn(const char *text);

// `size` zeroed bytes that live until this thread's innermost text ends, by a jump too. For a parse
// function that has to keep something while it reads its arguments.
char *utCommandScratch(size_t size);
