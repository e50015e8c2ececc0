/* ---- Start-up, identity, locks (util) ----
 *
 * A program calls ZutInit once, early, from main; one that has threads calls ZutInitThreads as
 * well, before it starts the second one. One recursive process mutex guards every registry of the
 * library; a resource lock is a mutex known by a number alone. */

/* Names the kind of program, opens its debug file (see ZutDebugOpen) and arms the jump buffer of
 * ZutErrGetJumpBufferPtr. `process_type` is kept, not copied, and not checked.
 * Result   0. A report that ends the program prints message 5242 and exits with code 2. */
Z_EXPORT int32_t Z_CALL ZutInit(const char *process_type);
/* Makes locks lock and gives each thread its own error number, for the rest of the process.
 * Result   1, also when called again. */
Z_EXPORT int32_t Z_CALL ZutInitThreads(void);
/* The process mutex; a thread may take it again, one unlock each.
 * Errors   7 for an unlock by a thread that does not hold it. */
Z_EXPORT int32_t Z_CALL ZutProcessMutexLock(void);
Z_EXPORT int32_t Z_CALL ZutProcessMutexUnlock(void);
/* The lock of a number, made when first wanted and destroyed when nobody holds or waits for it; a
 * thread may take it again.
 * Errors   7 for an unlock by a thread that does not hold it. */
Z_EXPORT int32_t Z_CALL ZutResourceLock(ZutWord resource);
Z_EXPORT int32_t Z_CALL ZutResourceUnlock(ZutWord resource);
/* What ZutInit was given; "unknown" before. */
Z_EXPORT const char *Z_CALL ZutGetProcessType(void);
/* The user's name, cut to fit `buffer`, which has room for 256 bytes. The system is asked once; a
 * set VN_FORCE_USER_NAME at that moment replaces its answer for good.
 * Result   `buffer`. When the system does not know, messages 5245 and 5246 and "UNKNOWN". */
Z_EXPORT char *Z_CALL ZutGetUserName(char *buffer);
/* The name of this machine, cut to fit `buffer`, which has room for 256 bytes; VN_FORCE_NODE_NAME
 * replaces it. Asked anew at each call; starts the socket layer.
 * Result   `buffer`, an empty text with error 29 when the system does not know. */
Z_EXPORT char *Z_CALL ZutGetNodeName(char *buffer);
/* A text by which the program identifies itself; the pointer is kept. Null before the first set. */
Z_EXPORT int32_t Z_CALL ZutGetIdentStr(const char **out);
Z_EXPORT int32_t Z_CALL ZutSetIdentStr(const char *ident);

/* ---- Memory ----
 *
 * The allocator of the library and of its callers. Sizes are in bytes; a size of 0 gives a block of
 * one byte. A block is never null: when the heap is exhausted, or the size negative, the program
 * ends with a fatal report that names what was to be allocated and where. Where that report is told
 * to continue, the process aborts all the same. Blocks of every form are freed by ZutFree or
 * Z_FREE; freeing null does nothing. */
Z_EXPORT void *Z_CALL ZutMalloc(int32_t size);
/* Zero-filled. */
Z_EXPORT void *Z_CALL ZutCalloc(int32_t size);
/* Changes a block's size, keeping what fits; a null block is a new one. */
Z_EXPORT void *Z_CALL ZutRealloc(void *block, int32_t size);
Z_EXPORT void Z_CALL ZutFree(void *block);
/* The same with the names that the report prints; the macros fill in the place. A ZutReallocCheck
 * of a null block names a place of the library instead. */
Z_EXPORT void *Z_CALL ZutMallocCheck(int32_t size, const char *what, const char *file,
                                     int32_t line);
Z_EXPORT void *Z_CALL ZutCallocCheck(int32_t size, const char *what, const char *file,
                                     int32_t line);
Z_EXPORT void *Z_CALL ZutReallocCheck(void *block, int32_t size, const char *what,
                                      const char *file, int32_t line);
Z_EXPORT void Z_CALL ZutFreeCheck(void *block, const char *what, const char *file, int32_t line);
#define Z_MALLOC(size, what) ZutMallocCheck((size), (what), __FILE__, __LINE__)
#define Z_CALLOC(size, what) ZutCallocCheck((size), (what), __FILE__, __LINE__)
#define Z_REALLOC(block, size, what) ZutReallocCheck((block), (size), (what), __FILE__, __LINE__)
#define Z_FREE(block, what) ZutFreeCheck((block), (what), __FILE__, __LINE__)
/* Rough measures of the heap's growth: the highest address, modulo 2^32, that this operation has
 * seen the heap give, and what it was at the first call of either of the other two. */
Z_EXPORT uint32_t Z_CALL ZutGetCurrentSbrk(void);
Z_EXPORT void Z_CALL ZutSetInitialSbrk(void);
Z_EXPORT uint32_t Z_CALL ZutGetInitialSbrk(void);

/* ---- Stopping ----
 *
 * A fatal error prints a report and ends the program, whatever locks are held; it is meant for
 * exhausted memory and broken invariants. Exit handlers run at ZutExit. */
typedef void(Z_CALL *ZutExitFunc)(void);
/* A fatal error unless `condition` holds. */
Z_EXPORT void Z_CALL ZutAssert(int32_t condition, const char *text, const char *file, int32_t line);
/* Unless `condition` holds, prints messages 5250 and 5251 and the last error codes at level 2.
 * Result   `condition`. The error state stays as it is. */
Z_EXPORT int32_t Z_CALL ZutExpect(int32_t condition, const char *text, const char *file,
                                  int32_t line);
#define Z_ASSERT(condition) ZutAssert((condition) ? 1 : 0, #condition, __FILE__, __LINE__)
#define Z_EXPECT(condition) ZutExpect((condition) ? 1 : 0, #condition, __FILE__, __LINE__)
/* Where the report goes beside the debug file; null until set or first used: standard output. */
Z_EXPORT int32_t Z_CALL ZutGetFatalErrorFile(FILE **out);
Z_EXPORT int32_t Z_CALL ZutSetFatalErrorFile(FILE *stream);
/* Prints the report, waits 5 seconds and exits with code 2. The presence of a variable changes the
 * end: VN_FATAL_ERROR_CONTINUE returns to the caller, VN_FATAL_ERROR_ABORT aborts at once,
 * VN_FATAL_ERROR_SLEEP returns after an hour. A fatal error during a report aborts without one.
 * Threads  any; waits for no lock of the library. */
Z_EXPORT void Z_CALL ZutFatalError(const char *format, ...) Z_PRINTF(1, 2);
/* Adds a function for ZutExit to call. */
Z_EXPORT int32_t Z_CALL ZutAtExit(ZutExitFunc function);
/* Calls the exit handlers, each once and the newest first, those that a handler adds too, and ends
 * the process. Never returns; a second thread that calls it waits for the first to end the
 * process. Handlers run without a lock of the library. */
Z_EXPORT void Z_CALL ZutExit(int32_t code);

/* ---- Random numbers, environment, frames, notices ---- */
/* 0 to 32767, the same sequence in every process with the same seed, which is 1 at first. Not for
 * names, keys or secrets. */
Z_EXPORT int32_t Z_CALL ZutRandom(void);
Z_EXPORT void Z_CALL ZutRandomSeed(int32_t seed);
/* Reads a variable of the environment into this operation's buffer; `*out` is null when it is not
 * set. In a process with more rights than its user, variables that begin with VN are not set. */
Z_EXPORT int32_t Z_CALL ZutGetenv(const char *name, const char **out);
/* Sets a variable from "NAME=value"; "NAME=" removes it.
 * Errors   7 without "="; 0, with message 5076, when the system refuses. */
Z_EXPORT int32_t Z_CALL ZutPutenv(const char *assignment);
/* A counter that the program advances and the built-in commands show and set. */
Z_EXPORT int32_t *Z_CALL ZutFrameCountGetPtr(void);
/* Keeps a loop at the rate of the option frame_interval (seconds), called once a turn; mode 1
 * sleeps for the rest of the interval, mode 0 does not. For one thread.
 * Errors   9, with message 5241, when the turn took longer than the interval. */
Z_EXPORT int32_t Z_CALL ZutFrameCheck(int32_t mode);
/* The next ZutFrameCheck is a first one again. */
Z_EXPORT void Z_CALL ZutFrameReset(void);
/* Appends the file standard/support.txt below VNHOME to `notice`.
 * Errors   3 when VNHOME is not set; message 5252 when the file cannot be opened. */
Z_EXPORT int32_t Z_CALL ZutGetSupportNotice(ZutSafeString *notice);
/* Prints message 5253 about an operation that the platform does not have.
 * Result   `result`. */
Z_EXPORT int32_t Z_CALL ZutNoSupport(int32_t feature, const char *file, int32_t line,
                                     int32_t result);
Z_EXPORT void Z_CALL ZutFlushStdout(void);

/* ---- Process operations, libraries, system ---- */
/* Runs a line in the system's command processor, null the processor itself, and waits for its end.
 * Result   its exit code, or -1 when it could not be run. */
Z_EXPORT int32_t Z_CALL ZutSystem(const char *command);
/* Loads a library by an absolute name or a file name; a file name without a "." gets the platform's
 * suffix. A file name is looked for where the system keeps libraries, with flag 1 first in the
 * directory "drivers" beside this library; never in the current directory. It stays loaded.
 * Errors   8 when there is none. */
Z_EXPORT ZutLibrary *Z_CALL ZutLibraryLoad(const char *name, int32_t flag);
/* Errors   8 when the library exports no such symbol. */
Z_EXPORT void *Z_CALL ZutLibrarySymbolLookup(ZutLibrary *library, const char *symbol);
/* The system's family, 2 for the NT family and everything that is not Windows, and its version. */
Z_EXPORT int32_t Z_CALL ZutWinVersionInfo(int32_t *platform, int32_t *major, int32_t *minor);
/* Both wait at least that many seconds, not at all for 0 and less. */
Z_EXPORT void Z_CALL ZutWinSleep(double seconds);
Z_EXPORT void Z_CALL ZutSleep(double seconds);

/* ---- Keyed objects ----
 *
 * A table of counted objects: one is made when its key is first asked for and destroyed when it has
 * been given back as often as it was asked for. Tables live until the process ends. Both functions
 * are called with the process mutex held, so that threads that ask for one key get one object. */
typedef void *(Z_CALL *ZutDSMMCreateFunc)(ZutWord key, void *argument);
typedef void(Z_CALL *ZutDSMMDestroyFunc)(void *object, void *argument);
Z_EXPORT ZutDSMM *Z_CALL ZutDSMMCreate(int32_t buckets, ZutDSMMCreateFunc create,
                                       ZutDSMMDestroyFunc destroy, void *argument);
/* Result   the key's object, counted once more; null, uncounted, when the create function gave
 *          null. */
Z_EXPORT void *Z_CALL ZutDSMMObjectCreate(ZutDSMM *table, ZutWord key);
/* Errors   8 when the key has no object. */
Z_EXPORT int32_t Z_CALL ZutDSMMObjectDestroy(ZutDSMM *table, ZutWord key);

/* ---- Character format, small strings (strutil) ---- */
/* The current character format is a number that ZutInitThreads sets to the system's, the number of
 * its code page (65001 is UTF-8). */
Z_EXPORT int32_t Z_CALL ZutSetCharFormat(int32_t format);
Z_EXPORT int32_t Z_CALL ZutGetCharFormatSystemDefault(void);
/* Compares ignoring the case of ASCII letters.
 * Result   below, equal to or above 0, as for strcmp; null, with error 3, comes before any text. */
Z_EXPORT int32_t Z_CALL ZutStrCmpi(const char *a, const char *b);
/* Replaces the string `*dest`, which it frees, by a copy of `text`; null becomes null. The caller
 * frees the last one with ZutFree.
 * Result   the copy. */
Z_EXPORT char *Z_CALL ZutStringCopy(char **dest, const char *text);
/* Is this an identifier: a letter or "_", then letters, digits, "_", "%" and "?", at most 63
 * characters? If not, error 7. */
Z_EXPORT int32_t Z_CALL ZutIdIsValid(const char *text);

/* ---- Error numbers (errnum) ----
 *
 * What made the last failing operation of this thread fail: the library's number and, for the
 * numbers 1, 2 and 29, a reason of the C runtime (errno), of the system or of the socket layer.
 * Socket reasons are Windows Sockets codes on every platform. Before ZutInitThreads the number
 * belongs to the process. Setting the number disturbs none of the three reasons.
 *
 *   1 C, 2 OS, 3 null pointer, 4 too small, 5 too large, 6 exists, 7 invalid, 8 does not exist,
 *   9 timeout, 10 end of file, 11 same value, 12 value unknown, 13 value required, 14 type invalid,
 *   15 type mismatch, 16 interrupted, 17 verify failed, 18 end of traversal, 19 empty, 20 value
 *   mismatch, 21 type unknown, 24 file corrupt, 25 would block, 28 read only, 29 socket, 30 no
 *   memory, 31 unsupported, 32 object in use; from 500 up the messaging programs' own. */
/* Result   1; before ZutInitThreads the number itself. */
Z_EXPORT int32_t Z_CALL ZutErrNumSet(int32_t number);
Z_EXPORT int32_t Z_CALL ZutErrNumGet(void);
/* Where the calling thread's number stands. */
Z_EXPORT int32_t *Z_CALL ZutErrNumGetPtr(void);
/* These set the number (1, 2, 29) and its reason; a code of 0 leaves the reason as it is. */
Z_EXPORT int32_t Z_CALL ZutErrNumSetC(int32_t code);
Z_EXPORT int32_t Z_CALL ZutErrNumGetC(void);
Z_EXPORT int32_t Z_CALL ZutErrNumSetOs(int32_t code);
Z_EXPORT int32_t Z_CALL ZutErrNumGetOs(void);
Z_EXPORT int32_t Z_CALL ZutErrNumSetSocket(int32_t code);
Z_EXPORT int32_t Z_CALL ZutErrNumGetSocket(void);
/* Sets 2 and errno; `second` is not used. */
Z_EXPORT int32_t Z_CALL ZutErrNumSetVms(int32_t code, int32_t second);
/* Keep and bring back all four words around work that must not change what the caller reads. A
 * reason that was 0 is not brought back by ZutErrNumRestore. */
Z_EXPORT int32_t Z_CALL ZutErrNumSave(ZutErrState *state);
Z_EXPORT int32_t Z_CALL ZutErrNumRestore(const ZutErrState *state);
/* The cheap pair: the second takes what the first returned, and brings back every reason. */
Z_EXPORT void *Z_CALL ZutErrNumSaveTsd(ZutErrState *state);
Z_EXPORT int32_t Z_CALL ZutErrNumRestoreTsd(const ZutErrState *state, void *tsd);
/* The text of a number, "unknown error N" in this operation's buffer where it has none; never null,
 * and the error state stays as it is. */
Z_EXPORT const char *Z_CALL ZutErrNumToStr(int32_t number);
/* The text of the thread's number. */
Z_EXPORT const char *Z_CALL ZutErrStrGet(void);
/* Adds or replaces the text of a number; the pointer is kept. */
Z_EXPORT int32_t Z_CALL ZutErrStrCreate(int32_t number, const char *text);
/* Does ZutPerror print? 0 at first. */
Z_EXPORT int32_t Z_CALL ZutPerrorSetEnable(int32_t flag);
Z_EXPORT int32_t Z_CALL ZutPerrorGetEnable(int32_t *out);
/* Prints "PREFIX: REASON" through ZutOutDebug when the number is 1, 2 or 29 and this is enabled.
 * Result   1; the error state stays as it is. */
Z_EXPORT int32_t Z_CALL ZutPerror(const char *prefix);
/* Two words that error reports read: feedback 0 novice, 1 expert, 2 no output; severity 0 warning,
 * 1 severe, 2 fatal. Not checked; setting returns the value. */
Z_EXPORT int32_t Z_CALL ZutErrFeedbackSet(int32_t level);
Z_EXPORT int32_t Z_CALL ZutErrFeedbackGet(void);
Z_EXPORT int32_t Z_CALL ZutErrSeveritySet(int32_t severity);
Z_EXPORT int32_t Z_CALL ZutErrSeverityGet(void);
/* Where a report that jumps goes when it is given no buffer of its own. ZutInit arms it for the
 * program's end; a program that arms it again, in a frame that stays, gets control there. */
Z_EXPORT jmp_buf *Z_CALL ZutErrGetJumpBufferPtr(void);
/* One byte for each debugging flag, set and cleared by the commands _debug_on and _debug_off. */
Z_EXPORT uint8_t *Z_CALL ZutGetDebugFlags(void);
#define Z_DEBUG_FLAG_COUNT 256
