/* ---- Lexer (lex) ----
 * Cuts a file, a stream or a string into tokens. The lexer holds one token of look-ahead; a parser
 * asks for the kind that it expects with the accept operations, which keep the token's value in
 * the record and scan the next one.
 *
 * White space and comments part tokens: (* ... *), / * ... * / written without the blanks, and two
 * slashes up to the line's end. So a network path or a name with a slash and a star must be quoted.
 *
 *   identifier   a letter or "_", then letters, digits, "_", "%"; at most 63 characters
 *   pattern      the same with exactly two "?" that do not touch; one, or more than two, of them
 *                make an error token
 *   number       digits, "." and digits, "e" with a sign and digits; signs are tokens of their own
 *   string       in double quotes; \" \\ \n \t stand for a quote, a backslash, a line end, a tab,
 *                a backslash at the line's end continues on the next line, any other backslash
 *                stands for itself
 *   operators    the longest that fits
 *
 * Classes are those of ASCII whatever the locale; every other character is an error token.
 *
 * Errors do not return. They go to the lexer's error function (or to the library-wide one), which
 * as a rule destroys the lexer and jumps back into the parser; if it returns, the lexer is
 * destroyed for it, and the parser must not touch it any more. Whatever a parse has collected
 * belongs to the lexer and is freed with it.
 *
 * Threads: a lexer belongs to one thread; the reserved words and the library-wide error function
 * may be used from any. */
/* Token kinds; a reserved word's kind is its own number, 1 or more. */
enum {
  Z_LEX_IDENTIFIER = 0,
  Z_LEX_PATTERN = -1,
  Z_LEX_PLUS = -2,
  Z_LEX_PLUS_PLUS = -3,
  Z_LEX_PLUS_EQUAL = -4,
  Z_LEX_MINUS = -5,
  Z_LEX_MINUS_MINUS = -6,
  Z_LEX_MINUS_EQUAL = -7,
  Z_LEX_STAR = -8,
  Z_LEX_STAR_EQUAL = -9,
  Z_LEX_SLASH = -10,
  Z_LEX_SLASH_EQUAL = -11,
  Z_LEX_EQUAL = -12,
  Z_LEX_NOT_EQUAL = -13,
  Z_LEX_LESS = -14,
  Z_LEX_LESS_EQUAL = -15,
  Z_LEX_GREATER = -16,
  Z_LEX_GREATER_EQUAL = -17,
  Z_LEX_ASSIGN = -18,
  Z_LEX_LEFT_PAREN = -19,
  Z_LEX_RIGHT_PAREN = -20,
  Z_LEX_LEFT_BRACKET = -21,
  Z_LEX_RIGHT_BRACKET = -22,
  Z_LEX_LEFT_BRACE = -23,
  Z_LEX_RIGHT_BRACE = -24,
  Z_LEX_COLON = -25,
  Z_LEX_DOT = -26,
  Z_LEX_COMMA = -27,
  Z_LEX_SEMICOLON = -28,
  Z_LEX_EXCLAMATION = -29,
  Z_LEX_DOLLAR = -30,
  Z_LEX_CARET = -31,
  Z_LEX_AT = -32,
  Z_LEX_HASH = -33,
  Z_LEX_PERCENT = -34,
  Z_LEX_AMPERSAND = -35,
  Z_LEX_TILDE = -36,
  Z_LEX_BAR = -37,
  Z_LEX_NUMBER = -38,
  Z_LEX_STRING = -39,
  Z_LEX_BACKSLASH = -40,
  Z_LEX_SPACE = -41,
  Z_LEX_END = -42,
  Z_LEX_ERROR = -43,
  Z_LEX_OCTETS = -44
};
/* Option numbers of ZutLexCreate. */
enum {
  Z_LEX_OPT_END = 0,
  Z_LEX_OPT_FILE_NAME = 1,
  Z_LEX_OPT_STREAM = 2,
  Z_LEX_OPT_STRING = 3,
  Z_LEX_OPT_ERROR_FUNC = 4,
  Z_LEX_OPT_ERROR_ARG = 5,
  Z_LEX_OPT_SPACES = 6,
  Z_LEX_OPT_KEEP_CASE = 7
};
#define Z_LEX_ID_SIZE 64
#define Z_LEX_BUFFER_SIZE 512
/* The value that the library's error functions jump with. */
#define Z_LEX_JUMP 42
typedef void(Z_CALL *ZutLexErrorFunc)(ZutLexer *lexer, const char *format, va_list args,
                                      void *argument);
typedef void(Z_CALL *ZutLexUserErrorFunc)(ZutLexer *lexer, const char *format, va_list args);
/* What a parser may read of a lexer. It may also write return_spaces, keep_case and expect_octets:
 * they hold from the next token scanned, that is, from the one behind the look-ahead token.
 * `read - 1` is the place of the current character; at the end of input a NUL stands there. */
struct ZutLexer {
  int32_t token;         /* kind of the look-ahead token */
  char *text;            /* its characters, NUL-terminated */
  char *text_end;
  int32_t text_length;
  int32_t text_capacity;
  char id_value[Z_LEX_ID_SIZE]; /* last accepted identifier, reserved word or pattern */
  ZutSafeString string_value;   /* last accepted string, file name or slot name */
  double number_value;          /* last accepted numeric constant */
  ZutLexErrorFunc error_func;
  void *error_arg;
  char *file_name;
  FILE *stream;
  const char *string;
  int32_t line;
  int32_t character;     /* -1 at end of input */
  const char *read;      /* the next character not yet read */
  char buffer[Z_LEX_BUFFER_SIZE + 1];
  int32_t return_spaces;
  int32_t keep_case;
  int32_t expect_octets;
  ZutCbList *token_cbs;
};
/* Call data of the "lexer_token" callbacks; their owner is the lexer. */
typedef struct ZutLexTokenData {
  ZutCb *cb;
  int32_t token;
  const char *text;
} ZutLexTokenData;
/* Makes a lexer and scans its first token. Arguments: pairs of an option number and its value, then
 * 0. A file name (the file is read and closed by the lexer), a stream or a string (both stay the
 * caller's and must outlive the lexer) is the input; without one the first token is the end of
 * input. Options 6 and 7 have no value: white space and comments become tokens; identifiers are
 * not lower-cased when accepted.
 *   A second file name or stream is ignored; a string, an error function or an error argument
 * replaces what was there. An unknown option number ends the list, since nobody knows whether a
 * value follows.
 * Result   null with error 3 for a null file name, stream or string; null when the first token is
 *          wrong and the error function returned. A file that cannot be opened is fatal. */
Z_EXPORT ZutLexer *Z_CALL ZutLexCreate(int32_t option, ...);
Z_EXPORT int32_t Z_CALL ZutLexDestroy(ZutLexer *lexer);
/* The accept operations: if the look-ahead token is not what the name says, the lexer's error.
 * ZutLexAccept takes one kind and keeps a string in string_value, a number in number_value and any
 * other text, cut at 63 characters and lower-cased, in id_value. */
Z_EXPORT void Z_CALL ZutLexAccept(ZutLexer *lexer, int32_t kind);
/* An identifier or a reserved word; the second takes a pattern as well. */
Z_EXPORT void Z_CALL ZutLexAcceptId(ZutLexer *lexer);
Z_EXPORT void Z_CALL ZutLexAcceptPattern(ZutLexer *lexer);
/* The identifier true gives 1, false 0. */
Z_EXPORT int32_t Z_CALL ZutLexAcceptBool(ZutLexer *lexer);
/* Numbers, into number_value: with an optional sign, with an optional sign and integral, unsigned
 * and integral (2.0 is). */
Z_EXPORT void Z_CALL ZutLexAcceptSignedReal(ZutLexer *lexer);
Z_EXPORT void Z_CALL ZutLexAcceptSignedInt(ZutLexer *lexer);
Z_EXPORT void Z_CALL ZutLexAcceptUnsignedInt(ZutLexer *lexer);
/* A file name into string_value: a string constant as it is, else the tokens up to the next white
 * space, comment, "," or ";" joined as they were typed. A "$" with an identifier right behind it is
 * replaced by the value of that environment variable, if it is set. */
Z_EXPORT void Z_CALL ZutLexAcceptFileName(ZutLexer *lexer);
/* A slot name into string_value: identifiers and dots, with a dot inside but at neither end. */
Z_EXPORT void Z_CALL ZutLexAcceptSlot(ZutLexer *lexer);
Z_EXPORT void Z_CALL ZutLexAcceptSlotOrAlias(ZutLexer *lexer);
/* {8-4-4-4-12} hexadecimal digits; string_value gets the whole text with its braces. */
Z_EXPORT void Z_CALL ZutLexAcceptGuidStr(ZutLexer *lexer);
/* Drops the look-ahead token and the rest of the line that it ends on. */
Z_EXPORT void Z_CALL ZutLexSkipToEoln(ZutLexer *lexer);
Z_EXPORT void Z_CALL ZutLexGobbleWhitespace(ZutLexer *lexer);
/* Bytes of the input stream read so far; -1 when there is none or its position cannot be told. */
Z_EXPORT int32_t Z_CALL ZutLexGetCurrentPositionInFile(ZutLexer *lexer);
/* The display name of a kind into `buffer`, which has room for 64 characters. The octet string has
 * a name that this operation does not give: its kind is an unknown token here. */
Z_EXPORT char *Z_CALL ZutLexTokenToString(int32_t kind, char *buffer);
/* Makes `name` (case does not count) a token kind of its own for every lexer.
 * Errors   4 for a value below 1; 6 for a word that is there already. */
Z_EXPORT int32_t Z_CALL ZutLexAddReservedWord(const char *name, int32_t value);
/* One line for each word. Result 0 when there never was one. `out` runs under the process mutex. */
Z_EXPORT int32_t Z_CALL ZutLexPrintReservedWords(ZutPrintFunc out);
/* Callbacks told of each token that is accepted, before its value is kept, and of each run of white
 * space and each comment that is skipped. A null lexer: of every lexer. */
Z_EXPORT ZutCb *Z_CALL ZutLexTokenCbCreate(ZutLexer *lexer, ZutCbFunc function, ZutWord argument);
Z_EXPORT ZutCb *Z_CALL ZutLexTokenCbLookup(ZutLexer *lexer, ZutCbFunc function, ZutWord argument);
/* Raises an error from a parser. The lexer is gone afterwards. */
Z_EXPORT void Z_CALL ZutLexError(ZutLexer *lexer, const char *format, ...) Z_PRINTF(2, 3);
/* Replaces the function for lexers that have none of their own. At first it prints the message and
 * ends the program with the fatal report of file and line. */
Z_EXPORT void Z_CALL ZutLexSetUserErrorFunc(ZutLexUserErrorFunc function);
/* Error functions that destroy the lexer and jump to the jmp_buf given as the error argument, with
 * the value Z_LEX_JUMP. The first prints the message, the file and the line before. */
Z_EXPORT void Z_CALL ZutLexLongjmpErrorFunc(ZutLexer *lexer, const char *format, va_list args,
                                            void *argument);
Z_EXPORT void Z_CALL ZutLexQuietLongjmpErrorFunc(ZutLexer *lexer, const char *format, va_list args,
                                                 void *argument);

/* ---- Options (option) ----
 * Named, typed settings of the process. An option without a value is unknown. The table of all
 * options, with the library's standard set in it, is made by the first operation that needs it.
 * Names ignore case; three old names still work: application (project), datagroups (subjects) and
 * unique_datagroup (unique_subject).
 *
 * Setting an option: a read-only one refuses with error 28. The verify function, which still sees
 * the old value in the option, may refuse with an error number of its own (otherwise 17). Then the
 * value is replaced and the "option_change" callbacks are called, in the thread that sets. A
 * refused set changes nothing.
 *
 * A value belongs to its option: setters copy, getters hand out the inner pointer, which holds
 * until the option is set again. While callbacks run, the value that they were told of stays valid
 * even if one of them sets the option anew.
 *
 * Threads: table and records may be used from any thread; who sets and reads the same option from
 * several threads agrees on that himself. Traversals run under the process mutex; verify functions
 * and callbacks run without any lock of the library's own table. */
#define Z_OPTION_BOOL 0
#define Z_OPTION_ENUM 1
#define Z_OPTION_NUM 2
#define Z_OPTION_STR 3
#define Z_OPTION_ENUM_LIST 4
#define Z_OPTION_NUM_LIST 5
#define Z_OPTION_STR_LIST 6
/* Call data of the "option_change" callbacks; their owner is the option. */
typedef struct ZutOptionChangeData {
  ZutCb *cb;
  void *value; /* int32_t *, char *, double * or ZutStrList * by the option's type; null: unknown */
} ZutOptionChangeData;
/* Told of a new value (as in the call data, null when the option becomes unknown) before it is
 * stored: 1 accepts, 0 refuses. */
typedef int32_t(Z_CALL *ZutOptionVerifyFunc)(ZutOption *option, void *value, ZutWord argument);
typedef int32_t(Z_CALL *ZutOptionTraverseFunc)(const char *name, ZutOption *option,
                                               ZutWord argument);
typedef int32_t(Z_CALL *ZutOptionLegValFunc)(const char *key, const char *word, ZutWord argument);
/* A new option: unknown, not required, not read-only, not protected. The name is lower-cased.
 * Errors   7 for a type outside 0 to 6; 6 for a name that is taken. */
Z_EXPORT ZutOption *Z_CALL ZutOptionCreate(const char *name, int32_t type);
/* Errors   8 for an option that is not in the table (a member of a named table). */
Z_EXPORT int32_t Z_CALL ZutOptionDestroy(ZutOption *option);
Z_EXPORT ZutOption *Z_CALL ZutOptionLookup(const char *name);
/* All options by name; the array is freed by the caller. */
Z_EXPORT ZutOption **Z_CALL ZutOptionSort(int32_t *count);
Z_EXPORT int32_t Z_CALL ZutOptionTraverse(ZutOptionTraverseFunc function, ZutWord argument);
Z_EXPORT const char *Z_CALL ZutOptionGetName(ZutOption *option);
/* Errors of the typed getters and setters: 14 for an option of another type, 12 for reading an
 * unknown one. Two options are let through: ...Enum works on unique_subject, a string, and
 * ...EnumList on subjects, a string list. */
Z_EXPORT int32_t Z_CALL ZutOptionGetBool(ZutOption *option, int32_t *out);
Z_EXPORT int32_t Z_CALL ZutOptionGetEnum(ZutOption *option, const char **out);
Z_EXPORT int32_t Z_CALL ZutOptionGetNum(ZutOption *option, double *out);
Z_EXPORT int32_t Z_CALL ZutOptionGetStr(ZutOption *option, const char **out);
Z_EXPORT int32_t Z_CALL ZutOptionGetEnumList(ZutOption *option, const ZutStrList **out);
Z_EXPORT int32_t Z_CALL ZutOptionGetStrList(ZutOption *option, const ZutStrList **out);
/* Errors   7 for a value other than 0 and 1. */
Z_EXPORT int32_t Z_CALL ZutOptionSetBool(ZutOption *option, int32_t value);
/* Errors   7 for a word that is not one of the option's legal values, if it has any. */
Z_EXPORT int32_t Z_CALL ZutOptionSetEnum(ZutOption *option, const char *word);
Z_EXPORT int32_t Z_CALL ZutOptionSetNum(ZutOption *option, double value);
Z_EXPORT int32_t Z_CALL ZutOptionSetStr(ZutOption *option, const char *text);
/* Lists are copied; legal values are not looked at. */
Z_EXPORT int32_t Z_CALL ZutOptionSetEnumList(ZutOption *option, const ZutStrList *list);
Z_EXPORT int32_t Z_CALL ZutOptionSetStrList(ZutOption *option, const ZutStrList *list);
/* Errors   13 for a required option. */
Z_EXPORT int32_t Z_CALL ZutOptionSetUnknown(ZutOption *option);
Z_EXPORT int32_t Z_CALL ZutOptionGetKnown(ZutOption *option, int32_t *out);
/* Flags: required, the option cannot become unknown; read-only, every set is refused; protected, it
 * is left out of the dump of all options. */
Z_EXPORT int32_t Z_CALL ZutOptionSetRequired(ZutOption *option, int32_t flag);
Z_EXPORT int32_t Z_CALL ZutOptionGetRequired(ZutOption *option, int32_t *out);
Z_EXPORT int32_t Z_CALL ZutOptionSetReadOnly(ZutOption *option, int32_t flag);
Z_EXPORT int32_t Z_CALL ZutOptionGetReadOnly(ZutOption *option, int32_t *out);
Z_EXPORT int32_t Z_CALL ZutOptionSetProtected(ZutOption *option, int32_t flag);
Z_EXPORT int32_t Z_CALL ZutOptionGetProtected(ZutOption *option, int32_t *out);
/* A null function takes the check away. */
Z_EXPORT int32_t Z_CALL ZutOptionSetVerifyFunc(ZutOption *option, ZutOptionVerifyFunc function,
                                               ZutWord argument);
/* By name, in the representation of the call data. An unknown name prints a message; ZutOptionSet
 * gives the stored value, or null. Legal values hold here too. */
Z_EXPORT void *Z_CALL ZutOptionGetValue(const char *name);
Z_EXPORT void *Z_CALL ZutOptionSet(const char *name, const void *value);
Z_EXPORT int32_t Z_CALL ZutOptionUnset(const char *name);
/* 0.0 when there is no such numeric option (with a message) or its value is unknown. */
Z_EXPORT double Z_CALL ZutOptionGetNumValue(const char *name);
Z_EXPORT int32_t Z_CALL ZutOptionSetNumValue(const char *name, double value);
/* A null option: told of every option. */
Z_EXPORT ZutCb *Z_CALL ZutOptionChangeCbCreate(ZutOption *option, ZutCbFunc function,
                                               ZutWord argument);
Z_EXPORT ZutCb *Z_CALL ZutOptionChangeCbLookup(ZutOption *option, ZutCbFunc function,
                                               ZutWord argument);
/* Change callbacks that keep an int32_t variable, whose address is the argument, equal to a boolean
 * or to a number without its fraction (kept within 32 bits); 0 when the option becomes unknown.
 * The second of each pair lets one option feed two variables. */
Z_EXPORT void Z_CALL ZutCbOptionCopyBool(void *option, void *call_data, ZutWord argument);
Z_EXPORT void Z_CALL ZutCbOptionCopyBool2(void *option, void *call_data, ZutWord argument);
Z_EXPORT void Z_CALL ZutCbOptionCopyInt4(void *option, void *call_data, ZutWord argument);
Z_EXPORT void Z_CALL ZutCbOptionCopyInt42(void *option, void *call_data, ZutWord argument);
/* Verify functions. NonNeg: 0 or more, else error 4. Int2: an integer of 16 bits, else error 7.
 * LogFile: opens the file named by the value with ZutOpenFile, truncating it or, with a leading
 * "@", appending to it, and closes the file of the old value; its argument is a const char * with
 * the log's name for the message, or 0 for the option's name. All accept an unknown value. */
Z_EXPORT int32_t Z_CALL ZutOptionVerifyNonNeg(ZutOption *option, void *value, ZutWord argument);
Z_EXPORT int32_t Z_CALL ZutOptionVerifyInt2(ZutOption *option, void *value, ZutWord argument);
Z_EXPORT int32_t Z_CALL ZutOptionVerifyLogFile(ZutOption *option, void *value, ZutWord argument);
Z_EXPORT const char *Z_CALL ZutOptionTypeToStr(int32_t type);

/* ---- Option values and named tables (optvalue) ----
 * How values are read from the command language and printed, the legal values of enumerated
 * options, the text of real numbers, and named tables: private copies of the whole option set, each
 * made by the first operation that names it. Setting a copy does not touch the global option or
 * call its callbacks; only the legal values are shared with it. */
/* The value as text: UNKNOWN; TRUE or FALSE; a word; a number; strings in double quotes; lists
 * joined by ", ". The text is one buffer of the thread, overwritten by its next call. */
Z_EXPORT const char *Z_CALL ZutOptionValToStr(ZutOption *option);
/* Reads one value and sets the option. The word unknown makes it unknown. Wrong tokens are the
 * lexer's error; a value that the option refuses prints a message and gives 0.
 * Errors   7 for a word that the option does not take; 14 for a type without values; those of the
 *          setters. */
Z_EXPORT int32_t Z_CALL ZutOptionParseValue(ZutOption *option, ZutLexer *lexer);
/* Reads [protect] TYPE [VALUE] and makes a required option of it. TYPE: boolean enum numeric string
 * enum_list numeric_list str_list. The values behind enum, parted by ",", are its legal values, the
 * first is its value. When the value is wrong the option is not made. */
Z_EXPORT int32_t Z_CALL ZutOptionCreateFromLexer(const char *name, ZutLexer *lexer);
/* Errors   14 for an option that is not enumerated; 6 for a word that is there already in any case;
 *          7 for the word unknown. */
Z_EXPORT int32_t Z_CALL ZutOptionLegValAdd(ZutOption *option, const char *word);
/* The function runs under the process mutex. */
Z_EXPORT int32_t Z_CALL ZutOptionLegValTraverse(ZutOption *option, ZutOptionLegValFunc function,
                                                ZutWord argument);
/* One line with name and value, or with a null name one for each option by name, without those
 * that begin with "_" or are protected. `out` runs under the process mutex.
 * Errors   8 for an option that is not there (after the line that says so). */
Z_EXPORT int32_t Z_CALL ZutOptionDump(const char *name, ZutPrintFunc out);
/* A number as the option real_number_format prints it. What follows its prefix OVERRIDE: is any
 * text with one conversion: e f g E G take the number, d i u x X o the number cut to an integer of
 * 32 bits, everything else is copied. Widths and precisions end at 255, the text at 319 characters;
 * the decimal point is a point in every locale.
 *   The first gives one buffer of the thread, overwritten by its next call; the second fills the
 * caller's, of Z_REAL_TEXT_SIZE bytes. */
Z_EXPORT const char *Z_CALL ZutRealToStr(double value);
Z_EXPORT char *Z_CALL ZutRealToStrCopy(double value, char *buffer);
#define Z_REAL_TEXT_SIZE 320
/* The verify function of real_number_format: "%", flags of "-+ #0", width, "." and precision, "l",
 * one of e f g E G, and nothing more, else error 7; OVERRIDE: (in any case) lets any text pass. */
Z_EXPORT int32_t Z_CALL ZutOptionRealNumberFormatVf(ZutOption *option, void *value,
                                                    ZutWord argument);
/* The options of a named table, by name. Options made since the last call are added, each with a
 * line of output. The table is the library's: read it, do not change it. */
Z_EXPORT ZutHashTable *Z_CALL ZutGetNamedOptionTable(const char *name);
/* One option of a named table; a global option that it lacks is added silently. */
Z_EXPORT ZutOption *Z_CALL ZutOptionNamedLookup(const char *table_name, const char *option_name);
/* As ZutOptionDump, with the names written as table/option. Adds nothing to the table. */
Z_EXPORT int32_t Z_CALL ZutOptionNamedDump(const char *table_name, const char *option_name,
                                           ZutPrintFunc out);
/* The default of unique_subject, into a buffer of 300 bytes. */
Z_EXPORT char *Z_CALL ZutOptionGetUniqueSubjectDefault(char *buffer);

/* ---- Command interpreter (command) ----
 *
 * A text is a sequence of commands separated by ";". Each begins with a name, looked up among the
 * aliases and then among the commands; the command's parse function reads its own arguments from
 * the lexer up to the separator or the end. A problem is told by a catalog message and ends the
 * text, never the caller: the parse operations say nothing of it in their result. Who must know
 * asks the thread's count of failed commands.
 *
 * Any thread may parse. No lock is held while a parse function runs, and one that finds bad
 * arguments leaves through ZutLexError: hold nothing then that somebody would have to release.
 * Parses and sourced files nest 32 deep in a thread; a deeper one is refused with message 5402.
 */
typedef void(Z_CALL *ZutCommandFunc)(ZutLexer *lexer);
/* Told of each failing command before its message: the file now being parsed (null outside a
 * file), the line in it, the command's name or "". */
typedef void(Z_CALL *ZutCommandFailureFunc)(const char *file, int32_t line, const char *command);

/* Registers a command. The name's pointer is kept, so the text must live as long as the command;
 * typed names arrive in lower case. Error 6 when the name is taken. */
Z_EXPORT ZutCommand *Z_CALL ZutCommandCreate(const char *name, ZutCommandFunc function);
/* Finds a command. "join_dg", "leave_dg" and "retrieve_dg" (in any case) are found as "subscribe",
 * "unsubscribe" and "retrieve". Null with error 8 when there is none. */
Z_EXPORT ZutCommand *Z_CALL ZutCommandLookup(const char *name);
/* Takes a command from the registry and frees it. */
Z_EXPORT int32_t Z_CALL ZutCommandDestroy(ZutCommand *command);
Z_EXPORT int32_t Z_CALL ZutCommandSetParseFunc(ZutCommand *command, ZutCommandFunc function);
/* Hidden commands (flag 1) are left out of the listing that "help" prints. */
Z_EXPORT int32_t Z_CALL ZutCommandSetHidden(ZutCommand *command, int32_t flag);
/* Prints the full help of a command from the help files. 0 when they know none. */
Z_EXPORT int32_t Z_CALL ZutCommandHelpPrint(const char *name);

/* Run a text as the program's own (the built-in commands report nothing in the feedback mode
 * "interactive") or as typed by a person. With a control other than 0 the text came from outside
 * the process: only commands that the option enable_control_msgs lists are run, and that holds for
 * what aliases expand to. A typed text is never checked: ZutCommandParseTypedStrInternal takes the
 * argument and does not use it. */
Z_EXPORT int32_t Z_CALL ZutCommandParseStr(const char *text);
Z_EXPORT int32_t Z_CALL ZutCommandParseStrInternal(const char *text, int32_t control);
Z_EXPORT int32_t Z_CALL ZutCommandParseTypedStr(const char *text);
Z_EXPORT int32_t Z_CALL ZutCommandParseTypedStrInternal(const char *text, int32_t control);
/* Runs a file line by line, each line a text of its own. 0 when the file cannot be opened, or is
 * given up because it is not text; a line of more than 4095 characters is skipped and reported. */
Z_EXPORT int32_t Z_CALL ZutCommandParseFile(const char *file_name);

/* Read a program's start-up files: in the directory "standard" of the data directory and then in
 * HOME the first that exists of base.cm and base.cmd (and the same of the second base name, when
 * given); then the command file: x.cm or else x.cmd, whichever of the two is named, and the same
 * of the second file. Others that exist too are named by message 5087 and not read.
 * Arguments  flags is 0 or 1 and has no effect. must_exist 1 (always so but in ...Std2): message
 *            5070 and result 0 with error 8 when there is no command file, unless it is base.cm. */
Z_EXPORT int32_t Z_CALL ZutCommandParseStd(const char *base_name, int32_t flags,
                                           const char *command_file);
Z_EXPORT int32_t Z_CALL ZutCommandParseStd2(const char *base_name, int32_t flags,
                                            const char *command_file, int32_t must_exist);
Z_EXPORT int32_t Z_CALL ZutCommandParseStdInternal(const char *base_name, int32_t flags,
                                                   const char *command_file,
                                                   const char *second_base_name,
                                                   const char *second_file);

/* Prompts for lines on standard input and runs them as typed until the input ends; result 0.
 * "!!" runs the newest line of the history again, "!be" the newest that begins with "be". An
 * interrupt gives up the line and goes on. A line of more than 4095 characters is not run. */
Z_EXPORT int32_t Z_CALL ZutCommandMainLoop(void);
/* Adds a line to the history, where it stays; blank lines are not recorded (result 1). */
Z_EXPORT int32_t Z_CALL ZutCommandRecordString(const char *text);
/* Asks on standard output and reads standard input until the answer is yes or y (1), no or n (0).
 * The end of the input and an answer that cannot be read are 0. */
Z_EXPORT int32_t Z_CALL ZutCommandGetYesOrNo(const char *prompt);

/* What the option command_feedback does: "always", "never" or "interactive" (typed lines only). */
Z_EXPORT void Z_CALL ZutCbCommandSetFeedback(void *option, void *call_data, ZutWord argument);
/* Prints what a command did, when the feedback mode asks for it. */
Z_EXPORT int32_t Z_CALL ZutCommandPrintFeedback(const char *format, ...) Z_PRINTF(1, 2);

/* How many commands of this thread failed: unknown, refused, with bad arguments, of a file that
 * was not found. The count starts at 0 and is the program's to set back. */
Z_EXPORT int32_t Z_CALL ZutCommandGetFailures(void);
Z_EXPORT int32_t Z_CALL ZutCommandSetFailures(int32_t count);
/* For parse functions: counts a failure and tells the failure function. Call it before printing
 * the message. Syntax errors are counted without it. */
Z_EXPORT void Z_CALL ZutCommandFailed(void);
/* The innermost file that this thread now parses, and the line in it, from 1. Outside a file null
 * and 0, result 0 with error 8. The name lives until the file's parse ends. */
Z_EXPORT int32_t Z_CALL ZutCommandGetPosition(const char **file, int32_t *line);
/* One function for the process; null for none. It is called without any lock held. */
Z_EXPORT void Z_CALL ZutCommandSetFailureFunc(ZutCommandFailureFunc function);
/* With 1 a thread in which a command has failed runs no further command of a text, a file or the
 * main loop until its count of failures is set back. 0, as at the start: it goes on. */
Z_EXPORT int32_t Z_CALL ZutCommandSetStopAtFailure(int32_t flag);
