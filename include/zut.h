#ifndef ZUT_H
#define ZUT_H
/* The whole library: conventions, tables and records that every family uses, then the families.
 *
 * Results    A boolean is an int32_t, 1 for true and 0 for false. An operation that fails returns 0
 *            or a null pointer and sets the thread's error number (ZutErrNumGet); one that succeeds
 *            leaves the number alone. Exhausted memory is no result: it ends the program with a
 *            fatal report.
 * Arguments  They are checked in order. A null handle or pointer is error 3, a size below its
 *            minimum 4, a flag outside 0 and 1 error 7; locks report a null handle with 7. An
 *            operation's own comment names what else can fail.
 * Handles    Pointers to records that callers do not see. A handle belongs to the caller that
 *            created it until it is given to the Destroy operation of its family. The public
 *            records are those whose fields stand in this header.
 * Strings    8-bit, ended by NUL. Text handed to the library is copied, unless the operation says
 *            that the pointer is kept. Text that the library hands out is the library's, except
 *            where an operation says that the caller frees it, with ZutFree.
 * Buffers    An operation that returns text in a buffer of its own has one buffer per thread; the
 *            thread's next call of that operation overwrites it. Copy what is to be kept.
 * Times      Seconds as a double, since 1970-01-01 00:00 UTC or as a length. A timeout of -1.0
 *            waits for ever; any other negative number, or NaN, is error 7.
 * Traversal  A function is called for each element until it returns non-zero, which is then the
 *            result; a traversal that runs to its end returns 0 with error 18.
 * Threads    After ZutInitThreads every operation may be called by any thread; what one thread
 *            destroys no other may use at the same time. Containers (hash tables, lists, buffers,
 *            strings, queues) have no lock of their own. Before ZutInitThreads a program has one
 *            thread and no lock does anything. The library's functions may call a caller's function
 *            with the process mutex held only where the operation says so.
 * Integers   Counts, sizes, levels and error numbers are 32 bits wide on every platform.
 * Numbers    What a program numbers itself, and which numbers are taken or will be:
 *              callback types   below 0 the library's, from 0 up a program's
 *              lobes            the same numbers: each callback type has the lobe of its number
 *              error numbers    up to 29999 the library's and the messaging programs', from 30000
 *                               up a program's (ZutErrStrCreate sets their texts)
 *              messages         5000 to 5999 the library's in the catalog of the option
 *                               catalog_file; any number in a catalog of the program's own
 *              resource locks   any; the library's own are addresses of its objects
 *              reserved words   1 and up a program's, for all lexers of the process together
 */

/* The families, in the order of this file; their names begin their sections.
 *
 *   Start-up, identity, locks       ZutInit, ZutInitThreads, ZutProcessMutex..., ZutResource...
 *   Memory                          ZutMalloc, ZutFree, Z_MALLOC, Z_FREE
 *   Stopping                        ZutAtExit, ZutExit, ZutFatalError, Z_ASSERT, Z_EXPECT
 *   Random numbers, environment     ZutRandom, ZutGetenv, ZutPutenv, ZutFrame...
 *   Process operations, libraries   ZutSystem, ZutLibrary..., ZutSleep
 *   Keyed objects                   ZutDSMM...
 *   Character format, small strings ZutStrCmpi, ZutStringCopy, ZutIdIsValid
 *   Error numbers                   ZutErrNum..., ZutErrStr..., ZutPerror
 *   Error reports                   ZutErrReportParams, ZutErrParamSet
 *   Output, debug and dump streams  ZutOut..., ZutDebug..., ZutDump..., ZutWarning
 *   Hash tables                     ZutHash...
 *   Safe strings                    ZutSafeString...
 *   Linked lists                    ZutDq..., ZutQueue..., ZutStack..., ZutList..., ZutPq...
 *   Lobe tables                     ZutLobe...
 *   Callback types and lists        ZutCbType..., ZutCbList..., ZutCb..., ZutQuitCb...
 *   Pointer arrays                  ZutPtrAry...
 *   Growable buffers                ZutBuf...
 *   Fibonacci heap                  ZutFHeap...
 *   Weighted graph                  ZutGraph...
 *   Property lists                  ZutProperties...
 *   Lexer                           ZutLex...
 *   Options                         ZutOption...
 *   Option values and named tables  ZutOptionValToStr, ZutOptionNamed..., ZutRealToStr
 *   Command interpreter             ZutCommand...
 *   Message catalogs                ZutCat... (but ZutCatFile is of "Files")
 *   Trace objects                   ZutTrace...
 *   Byte order and real numbers     ZutSwap..., ZutGetIntFormat
 *   UTF-8 and UCS-2                 ZutConvert..., ZutStrLenByte
 *   Clocks                          ZutGetWallTime..., ZutGetCurrentTime..., ZutTimeChangeCb...
 *   Time converters                 ZutTimeCvt..., ZutTimeNumToStr, ZutTimeStrToNum
 *   Threads, thread-specific data   ZutThread..., ZutTsd...
 *   Mutexes, conditions, spinlocks  ZutMutex..., ZutCond..., ZutSpinlock...
 *   Reader-writer mutex             ZutRwMutex...
 *   Interrupt counter               ZutInterrupt...
 *   Files                           ZutOpenFile, ZutFOpen, ZutBuildFileName, ZutEditFile
 *   Atomic read and write           ZutReadAtomic, ZutWriteAtomic
 *   Search paths and directories    ZutPath..., ZutOpenDir, ZutMkdir, ZutFileGetSize
 *   Sockets                         ZutSocket..., ZutWinStartWinsock, ZutCompareNodeNames
 *   Compressor                      ZutCompress..., ZutUncompress
 */

/* Results that do not follow the convention:
 *
 *   success is 0          ZutInit, ZutDeletePdqNode, ZutDeleteFile, ZutUnlinkAtomic,
 *                         ZutFsyncAtomic, ZutWinCloseSocket, ZutCommandMainLoop
 *   failure is -1         ZutSystem, ZutDeletePdqNode, ZutListPos, ZutDeleteFile, the operations of
 *                         "Atomic read and write", ZutLexGetCurrentPositionInFile (without a file),
 *                         and those of "Sockets" that return a socket or a count
 *   0 although done       ZutLobeDelete, ZutCbListSetStartThresh and the three like it
 *   0 or null for "none", the look-ups and tops that say so: ZutFHeapTop, ZutGraphVertexLookup,
 *   without a number      ZutGraphEdgeLookup, ZutPropertiesGet, ZutBufNextAligned, ZutCatLookup;
 *                         also ZutCbTypeCreate, ZutTimeCvtCreate and ZutCbSetFunction for what is
 *                         there already, and what reads a text: ZutTimeStrToNum,
 *                         ZutTraceLevelStrToVal, ZutCatSeverityStrToVal, ZutConvertUtf8ToUcs2
 *   1 although not found  ZutCbTypeNumCbCall, ZutPropertiesSet of null, the operations of catalogs
 *                         and trace objects that bind and unbind options
 *   the argument          ZutExpect, ZutNoSupport, ZutErrFeedbackSet, ZutErrSeveritySet,
 *                         ZutInterruptSet, the byte swaps, and what fills a caller's buffer
 *   below, at, above 0    ZutStrCmpi
 *   traversal without 18  ZutCbListTraverse, ZutHashSortTraverse, ZutFHeapTraverse,
 *                         ZutPathForEachDir, ZutFileTraverse (sets the number to 0)
 *
 * Null is not checked for in these, which must have valid pointers:
 *
 *   everything of "Safe strings" and "Linked lists"; the insertion, replacement, sorting, dump,
 *   reset, destruction and getters of "Hash tables"; ZutPtrAryGetArray, ZutBufAllocAligned,
 *   ZutBufNextAligned; of "Trace objects" the setters and getters of level, flags and prefix,
 *   ZutTraceAddref, ZutTraceCatalogBind and ZutTraceCatalogUnbind; ZutTimeCvtNumToStr,
 *   ZutTimeCvtStrToNum, ZutTimeCvtSetCurrent; formats and argument lists of what prints; functions
 *   that are there to be registered: ZutLex...ErrorFunc, ZutCbOption..., ZutOptionVerify... */

/* Environment variables. "Set" means that the value does not matter. In a process with more rights
 * than its user those that begin with VN are not read.
 *
 *   VNHOME                     directory of the data files (catalog, help, start-up files, error
 *                              texts); unset: share/zut beside the library
 *   VNERRDIR                   instead of VNHOME for the error texts
 *   VNDEBUGFILENAME            name of the debug file (ZutDebugOpen)
 *   VNTIMESTAMPOUTPUT          set: the time before each text of ZutOut, and in trace objects
 *   VNTIMESTAMPOUTPUTSUPPRESS  set: no time before catalog messages
 *   VNTRACEPREFIXSUPPRESS      set: no identifier before catalog messages
 *   VNFULLFORMAT               format of the seconds' fraction in the time converter "full"
 *   VN_DEFAULT_PROTOCOLS, VN_CONN_INIT_TIMEOUT, VN_SOCKET_LINGER, VN_SOCKET_LINGER_TIME,
 *   VN_SOCKET_TCP_KEEPALIVE, VN_SOCKET_TCP_NODELAY
 *                              first values of the options default_protocols, _conn_init_timeout,
 *                              _socket_linger and so on
 *   VN_FATAL_ERROR_CONTINUE, VN_FATAL_ERROR_ABORT, VN_FATAL_ERROR_SLEEP
 *                              set: another end of a fatal error (ZutFatalError)
 *   VN_WARNING_ABORT           set: ZutWarning ends the process
 *   VN_ABORT_NATIVE            set: the command that aborts the process uses abort()
 *   VN_FORCE_USER_NAME, VN_FORCE_NODE_NAME
 *                              instead of what the system answers
 *   VN_FORCE_SHORT_NODE_NAME   set: unique_subject begins with the node's name without its domain
 *   VN_INTERRUPT_MAX           limit of the interrupt counter
 *   VN_MAX_BASE_NAME           longest base name that is short (ZutBuildBaseName)
 *   HASH_INSERT_VERBOSE_ERROR, HASH_INSERT_FATAL_ERROR
 *                              set: what a key that is inserted twice does (ZutHashInsert)
 *   TRANSLATE_NODE_NAME        set: variables named like nodes replace their names
 *   EDITOR                     the editor when the option "editor" has no value
 *   HOME, TEMP                 directories for start-up files and for temporary files
 *   TMP, TEMP, windir, TMPDIR  the directory of local sockets (ZutGetSocketDir)
 *   TZ                         the time zone */
#include <setjmp.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>

/* The calling convention of every exported operation and of every function given to one. */
#define Z_CALL

#if defined(_WIN32)
#  if defined(Z_BUILDING)
#    define Z_EXPORT __declspec(dllexport)
#  else
#    define Z_EXPORT __declspec(dllimport)
#  endif
#else
#  define Z_EXPORT __attribute__((visibility("default")))
#endif

#if defined(__MINGW32__) && !defined(__clang__)
#  define Z_PRINTF(text, args) __attribute__((format(gnu_printf, text, args)))
#elif defined(__GNUC__)
#  define Z_PRINTF(text, args) __attribute__((format(printf, text, args)))
#else
#  define Z_PRINTF(text, args)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* A word that carries a number or a pointer: hash keys and values, list items, callback and
 * thread arguments. As wide as a pointer. */
typedef intptr_t ZutWord;

/* Saved error state: see ZutErrNumSave. */
typedef struct ZutErrState {
  int32_t number;
  int32_t c;
  int32_t os;
  int32_t socket;
} ZutErrState;

/* Seconds and microseconds since 1970-01-01 00:00:00 UTC. */
typedef struct ZutTimePair {
  int32_t seconds;
  int32_t microseconds;
} ZutTimePair;

/* A growing string; the record is the caller's. See "Safe strings". */
typedef struct ZutSafeString {
  char *str;
  int32_t capacity;
  int32_t length;
} ZutSafeString;

/* One element of a list of strings: the value of list options. */
typedef struct ZutStrList {
  struct ZutStrList *next;
  char *string;
} ZutStrList;

typedef struct ZutHashTable ZutHashTable;
typedef struct ZutLobe ZutLobe;
typedef struct ZutCbType ZutCbType;
typedef struct ZutCbList ZutCbList;
typedef struct ZutCb ZutCb;
typedef struct ZutLexer ZutLexer;
typedef struct ZutOption ZutOption;
typedef struct ZutCommand ZutCommand;
typedef struct ZutCatalog ZutCatalog;
typedef struct ZutCatalogFile ZutCatalogFile;
typedef struct ZutTimeCvt ZutTimeCvt;
typedef struct ZutMutex ZutMutex;
typedef struct ZutCond ZutCond;
typedef struct ZutSpinlock ZutSpinlock;
typedef struct ZutRwMutex ZutRwMutex;
typedef struct ZutPath ZutPath;
typedef struct ZutDir ZutDir;
typedef struct ZutLibrary ZutLibrary;
typedef struct ZutDSMM ZutDSMM;
/* A trace object is `struct ZutTrace`: the function ZutTrace has taken the plain name. */
struct ZutTrace;

/* Dumps and listings write through a function like printf. */
typedef int32_t(Z_CALL *ZutPrintFunc)(const char *format, ...);
/* The output function and the output-flush function: like vprintf. */
typedef int32_t(Z_CALL *ZutVPrintFunc)(const char *format, va_list args);

/* ---- Start-up, identity, locks (util) ----
 *
 * A program calls ZutInit once, early, from main; one that has threads calls ZutInitThreads as
 * well, before it starts the second one. One recursive process mutex guards every registry of the
 * library; a resource lock is a mutex known by a number alone. */

/* Names the kind of program, opens its debug file (see ZutDebugOpen) and arms the jump buffer of
 * ZutErrGetJumpBufferPtr. On Linux a write to a file that has reached the limit of its size fails
 * from here on, or from the first file that the library opens to write, where the program has left
 * SIGXFSZ as it was. `process_type` is kept, not copied, and not checked.
 * Result   0. A report that ends the program prints message 5242 and exits with code 2. */
Z_EXPORT int32_t Z_CALL ZutInit(const char *process_type);
/* From here on locks lock and each thread has an error number of its own, for the rest of the
 * process.
 * Result   1, also when called again. */
Z_EXPORT int32_t Z_CALL ZutInitThreads(void);
/* Takes the process mutex; a thread may take it again, one unlock each. */
Z_EXPORT int32_t Z_CALL ZutProcessMutexLock(void);
/* Gives one lock back.
 * Errors   7 when the thread does not hold it. */
Z_EXPORT int32_t Z_CALL ZutProcessMutexUnlock(void);
/* Takes the lock of a number, which is made by its first lock and destroyed when no thread holds
 * it or waits for it; a thread may take it again. */
Z_EXPORT int32_t Z_CALL ZutResourceLock(ZutWord resource);
/* Gives one lock back.
 * Errors   7 when the thread does not hold it. */
Z_EXPORT int32_t Z_CALL ZutResourceUnlock(ZutWord resource);
/* What ZutInit was given; "unknown" before. */
Z_EXPORT const char *Z_CALL ZutGetProcessType(void);
/* The user's name, cut to fit `buffer`, which has room for 256 bytes. The system is asked once; a
 * set VN_FORCE_USER_NAME at that moment replaces its answer for good.
 * Result   `buffer`. When the system does not know, messages 5245 and 5246 and "UNKNOWN". */
Z_EXPORT char *Z_CALL ZutGetUserName(char *buffer);
/* The name of this machine, cut to fit `buffer`, which has room for 256 bytes; VN_FORCE_NODE_NAME
 * replaces it. Asked again at each call; starts the socket layer.
 * Result   `buffer`, an empty text with error 29 when the system does not know. */
Z_EXPORT char *Z_CALL ZutGetNodeName(char *buffer);
/* The text by which the program identifies itself; null before the first set. */
Z_EXPORT int32_t Z_CALL ZutGetIdentStr(const char **out);
/* Sets it; the pointer is kept. */
Z_EXPORT int32_t Z_CALL ZutSetIdentStr(const char *ident);

/* ---- Memory ----
 *
 * The allocator of the library and of its callers. Sizes are in bytes; a size of 0 is a block of
 * one byte. A block is never null: when the heap is exhausted, or the size negative, the program
 * ends with a fatal report that names what was to be allocated and where. The process aborts even
 * where VN_FATAL_ERROR_CONTINUE is set. Blocks of every form are freed by ZutFree or Z_FREE;
 * freeing null does nothing. */
/* A block of `size` bytes, not initialised. */
Z_EXPORT void *Z_CALL ZutMalloc(int32_t size);
/* Zero-filled. */
Z_EXPORT void *Z_CALL ZutCalloc(int32_t size);
/* Changes a block's size, keeping what fits; a null block is a new one. */
Z_EXPORT void *Z_CALL ZutRealloc(void *block, int32_t size);
/* Frees a block of any form. */
Z_EXPORT void Z_CALL ZutFree(void *block);
/* ZutMalloc with the names that the report prints; use Z_MALLOC, which fills in the place. */
Z_EXPORT void *Z_CALL ZutMallocCheck(int32_t size, const char *what, const char *file,
                                     int32_t line);
/* ZutCalloc with the names of the report; use Z_CALLOC. */
Z_EXPORT void *Z_CALL ZutCallocCheck(int32_t size, const char *what, const char *file,
                                     int32_t line);
/* ZutRealloc with the names of the report; use Z_REALLOC. For a null block the report names a
 * place of the library instead. */
Z_EXPORT void *Z_CALL ZutReallocCheck(void *block, int32_t size, const char *what, const char *file,
                                      int32_t line);
/* ZutFree; the names are not used. Use Z_FREE. */
Z_EXPORT void Z_CALL ZutFreeCheck(void *block, const char *what, const char *file, int32_t line);
#define Z_MALLOC(size, what) ZutMallocCheck((size), (what), __FILE__, __LINE__)
#define Z_CALLOC(size, what) ZutCallocCheck((size), (what), __FILE__, __LINE__)
#define Z_REALLOC(block, size, what) ZutReallocCheck((block), (size), (what), __FILE__, __LINE__)
#define Z_FREE(block, what) ZutFreeCheck((block), (what), __FILE__, __LINE__)
/* A rough measure of the heap's growth: the highest address, modulo 2^32, that this operation has
 * seen the heap return. */
Z_EXPORT uint32_t Z_CALL ZutGetCurrentSbrk(void);
/* Keeps what ZutGetCurrentSbrk returns now, if nothing is kept yet. */
Z_EXPORT void Z_CALL ZutSetInitialSbrk(void);
/* What ZutGetCurrentSbrk returned at the first call of this operation or of ZutSetInitialSbrk. */
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
/* Where the report goes beside the debug file; null until it is set or first used: standard
 * output. */
Z_EXPORT int32_t Z_CALL ZutGetFatalErrorFile(FILE **out);
/* Sets that stream, which stays the caller's. */
Z_EXPORT int32_t Z_CALL ZutSetFatalErrorFile(FILE *stream);
/* Prints the report, waits 5 seconds and exits with code 2. The presence of a variable changes the
 * end: VN_FATAL_ERROR_CONTINUE returns to the caller, VN_FATAL_ERROR_ABORT aborts at once,
 * VN_FATAL_ERROR_SLEEP returns after an hour, and the next fatal error aborts. A fatal error of the
 * same thread during its report aborts without another one; later, in an exit handler, it only ends
 * that handler.
 * Threads  any; waits for no lock of the library. While another thread reports and ends the
 *          process, the caller releases the process mutex and waits for that end. */
Z_EXPORT void Z_CALL ZutFatalError(const char *format, ...) Z_PRINTF(1, 2);
/* Adds a function for ZutExit to call. */
Z_EXPORT int32_t Z_CALL ZutAtExit(ZutExitFunc function);
/* Calls the exit handlers, each once and the newest first, those that a handler adds too, and ends
 * the process. Never returns; a second thread that calls it waits for the first to end the
 * process. Handlers run without a lock of the library: the caller's locks of the process mutex are
 * given back before. */
Z_EXPORT void Z_CALL ZutExit(int32_t code);

/* ---- Random numbers, environment, frames, notices ---- */
/* A number from 0 to 32767, the same sequence in every process with the same seed, which is 1 at
 * first. Not for names, keys or secrets. */
Z_EXPORT int32_t Z_CALL ZutRandom(void);
/* Begins the sequence of a seed. */
Z_EXPORT void Z_CALL ZutRandomSeed(int32_t seed);
/* Reads a variable of the environment; `*out` is null when it is not set. The text stays until the
 * thread reads the same variable again or ends. In a process with more rights than its user,
 * variables that begin with VN are not set. */
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
/* Flushes standard output. */
Z_EXPORT void Z_CALL ZutFlushStdout(void);

/* ---- Process operations, libraries, system ---- */
/* Runs a line in the system's command processor, null the processor itself, and waits for its end.
 * On Linux the process ignores SIGINT and SIGQUIT in that time, the command does not.
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
/* The same as ZutSleep. */
Z_EXPORT void Z_CALL ZutWinSleep(double seconds);
/* Waits at least that many seconds, not at all for 0 and less. */
Z_EXPORT void Z_CALL ZutSleep(double seconds);

/* ---- Keyed objects ----
 *
 * A table of counted objects: one is made when its key is first asked for and destroyed when it has
 * been given back as often as it was asked for. Tables live until the process ends. Both functions
 * are called with the process mutex held, so that threads that ask for one key get one object. */
typedef void *(Z_CALL *ZutDSMMCreateFunc)(ZutWord key, void *argument);
typedef void(Z_CALL *ZutDSMMDestroyFunc)(void *object, void *argument);
/* A table; `argument` is handed to both functions. More buckets make look-ups faster.
 * Errors   4 for less than one bucket. */
Z_EXPORT ZutDSMM *Z_CALL ZutDSMMCreate(int32_t buckets, ZutDSMMCreateFunc create,
                                       ZutDSMMDestroyFunc destroy, void *argument);
/* Result   the key's object, counted once more; null, uncounted, when the create function returned
 *          null. */
Z_EXPORT void *Z_CALL ZutDSMMObjectCreate(ZutDSMM *table, ZutWord key);
/* Errors   8 when the key has no object. */
Z_EXPORT int32_t Z_CALL ZutDSMMObjectDestroy(ZutDSMM *table, ZutWord key);

/* ---- Character format, small strings (strutil) ---- */
/* Sets the current character format, a number that ZutInitThreads sets to the system's: the number
 * of its code page (65001 is UTF-8). */
Z_EXPORT int32_t Z_CALL ZutSetCharFormat(int32_t format);
/* The system's character format. */
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
 * belongs to the process, then to the thread that called it. Setting the number disturbs none of
 * the three reasons.
 *
 *   1 C, 2 OS, 3 null pointer, 4 too small, 5 too large, 6 exists, 7 invalid, 8 does not exist,
 *   9 timeout, 10 end of file, 11 same value, 12 value unknown, 13 value required, 14 type invalid,
 *   15 type mismatch, 16 interrupted, 17 verify failed, 18 end of traversal, 19 empty, 20 value
 *   mismatch, 21 type unknown, 24 file corrupt, 25 would block, 28 read only, 29 socket, 30 no
 *   memory, 31 unsupported, 32 object in use; 500 to 29999 the messaging programs' own. */
/* Sets the number.
 * Result   1; before ZutInitThreads the number itself. */
Z_EXPORT int32_t Z_CALL ZutErrNumSet(int32_t number);
/* The calling thread's error number. */
Z_EXPORT int32_t Z_CALL ZutErrNumGet(void);
/* Where the calling thread's number stands. */
Z_EXPORT int32_t *Z_CALL ZutErrNumGetPtr(void);
/* Sets the number 1 and the C runtime's reason; a code of 0 leaves the reason as it is. */
Z_EXPORT int32_t Z_CALL ZutErrNumSetC(int32_t code);
/* The C runtime's reason, an errno. */
Z_EXPORT int32_t Z_CALL ZutErrNumGetC(void);
/* Sets the number 2 and the system's reason; a code of 0 leaves the reason as it is. */
Z_EXPORT int32_t Z_CALL ZutErrNumSetOs(int32_t code);
/* The system's reason. */
Z_EXPORT int32_t Z_CALL ZutErrNumGetOs(void);
/* Sets the number 29 and the socket reason; a code of 0 leaves the reason as it is. */
Z_EXPORT int32_t Z_CALL ZutErrNumSetSocket(int32_t code);
/* The socket reason, a Windows Sockets code. */
Z_EXPORT int32_t Z_CALL ZutErrNumGetSocket(void);
/* Sets 2 and errno; `second` is not used. */
Z_EXPORT int32_t Z_CALL ZutErrNumSetVms(int32_t code, int32_t second);
/* Keeps all four words around work that must not change what the caller reads. */
Z_EXPORT int32_t Z_CALL ZutErrNumSave(ZutErrState *state);
/* Brings them back, except a reason that was 0: the present one stays. */
Z_EXPORT int32_t Z_CALL ZutErrNumRestore(const ZutErrState *state);
/* The cheap form of ZutErrNumSave.
 * Result   a word for ZutErrNumRestoreTsd. */
Z_EXPORT void *Z_CALL ZutErrNumSaveTsd(ZutErrState *state);
/* Brings all four words back, every reason included; takes what ZutErrNumSaveTsd returned. */
Z_EXPORT int32_t Z_CALL ZutErrNumRestoreTsd(const ZutErrState *state, void *tsd);
/* The text of a number, "unknown error N" in this operation's buffer where it has none; never null,
 * and the error state stays as it is. */
Z_EXPORT const char *Z_CALL ZutErrNumToStr(int32_t number);
/* The text of the thread's number. */
Z_EXPORT const char *Z_CALL ZutErrStrGet(void);
/* Adds or replaces the text of a number; the pointer is kept. */
Z_EXPORT int32_t Z_CALL ZutErrStrCreate(int32_t number, const char *text);
/* With 1 ZutPerror prints; 0 at first. */
Z_EXPORT int32_t Z_CALL ZutPerrorSetEnable(int32_t flag);
/* Whether ZutPerror prints. */
Z_EXPORT int32_t Z_CALL ZutPerrorGetEnable(int32_t *out);
/* Prints "PREFIX: REASON" through ZutOutDebug when the number is 1, 2 or 29 and this is enabled.
 * Result   1; the error state stays as it is. */
Z_EXPORT int32_t Z_CALL ZutPerror(const char *prefix);
/* The words of error reports: 0 for novices, 1 for experts, 2 no output. Not checked.
 * Result   `level`. */
Z_EXPORT int32_t Z_CALL ZutErrFeedbackSet(int32_t level);
/* The feedback level. */
Z_EXPORT int32_t Z_CALL ZutErrFeedbackGet(void);
/* The threshold of error reports: 0 warning, 1 severe, 2 fatal. Not checked.
 * Result   `severity`. */
Z_EXPORT int32_t Z_CALL ZutErrSeveritySet(int32_t severity);
/* The threshold. */
Z_EXPORT int32_t Z_CALL ZutErrSeverityGet(void);
/* Where a report that jumps goes when it is given no buffer of its own. ZutInit arms it for the
 * program's end; a program that arms it again, in a frame that stays, gets control there. */
Z_EXPORT jmp_buf *Z_CALL ZutErrGetJumpBufferPtr(void);
/* One byte for each debugging flag, set and cleared by the commands _debug_on and _debug_off. */
Z_EXPORT uint8_t *Z_CALL ZutGetDebugFlags(void);
#define Z_DEBUG_FLAG_COUNT 256

/* ---- Error reports (errreport) ----
 *
 * An error report explains an error number to a person, in words chosen by ZutErrFeedbackSet. The
 * texts stand in the error-message file, "errors.txt" in the directory "error" below VNERRDIR, or
 * below the directory of the data files (VNHOME) when that is not set. share/error/errors.txt shows
 * the form: a line that begins with "-----", the number, the severity ("warning", "severe" or
 * "fatal"), the number of parameters and their names, one a line, then a line "expert" and the text
 * for experts, and a line "novice" and the text for novices, which ends at the next "-----".
 * Feedback level 2 wants the text after a line "no_output".
 *
 * In a text "$NAME" is replaced by a parameter's value. NAME need only be the beginning of what
 * stands there, the first parameter in the file's order that fits is taken, and what follows it
 * stays. A "$" with a word that fits none is printed as it stands.
 *
 * Reports are printed with printf, and so are complaints: a complaint is a printed line and sets no
 * error number. Parameters belong to the process and have no lock: one thread at a time makes
 * reports. */

/* Sets parameter `number`, 1 to 10, to a copy of what `value` points at: one number, one character,
 * or for %s a text. `format` has one conversion; what else looks like one is text.
 *   e E f g G   a double          d i o u x X n   an int, with h a short, with l a long
 *   s           a text            c               a character, which no report can print
 * %n prints nothing and never writes. Flags, a width and a precision of at most 255 may stand
 * before the letter.
 * Result   0 after a complaint about the number or the format, which leaves the parameter as it
 *          was; a null value is error 3, without a complaint. */
Z_EXPORT int32_t Z_CALL ZutErrParamSet(int32_t number, const char *format, const void *value);
/* Sets the error number, prints its report and forgets all parameters. The arguments are pairs of a
 * format and a pointer to a value, set as parameters 1, 2 and so on before, at most 10, ended by a
 * null format. A report prints "Error message not available for error number <N>." when the file
 * has no entry of the number, or one below the threshold of ZutErrSeveritySet.
 * Result   0 when the file cannot be opened or the entry's parameters cannot be read. */
Z_EXPORT int32_t Z_CALL ZutErrReportParams(const char *function_name, int32_t error_number, ...);
/* ZutErrReportParams with an argument list. */
Z_EXPORT int32_t Z_CALL ZutErrVReportParams(const char *function_name, int32_t error_number,
                                            va_list args);
/* ZutErrReportParams, then a jump to `jump_buffer` with the value 1. Null stands for the buffer of
 * ZutErrGetJumpBufferPtr: unless the program has armed that one itself, the program ends then,
 * with message 5242 and exit code 2. Never returns. */
Z_EXPORT void Z_CALL ZutErrReportParamsJmp(const char *function_name, int32_t error_number,
                                           jmp_buf *jump_buffer, ...);
/* Forgets all parameters. */
Z_EXPORT void Z_CALL ZutErrClearParams(void);
/* Opens the error-message file, which the first report opens otherwise; it stays open. Nothing to
 * do when it is open.
 * Result   0 after a complaint. */
Z_EXPORT int32_t Z_CALL ZutErrOpenFile(void);
/* Closes it; nothing to do when it is closed.
 * Result   0 after a complaint. */
Z_EXPORT int32_t Z_CALL ZutErrCloseFile(void);

/* ---- Output, debug and dump streams (utout) ----
 *
 * Everything that a person reads goes through here: to the program's output function when it has
 * set one, else to standard output by way of a trace object. The output function runs with the
 * process mutex held, so it must not wait for another thread that prints, and it must return: a
 * jump out of it leaves the mutex held. What it prints itself comes back to it at most eight deep,
 * then goes to standard output.
 *
 * Printing keeps the caller's error state. VNTIMESTAMPOUTPUT (any value) puts the time before each
 * text of ZutOut and ZutVOut; VNTIMESTAMPOUTPUTSUPPRESS takes the time from catalog messages. */

/* Sets the output function, which prints like vprintf; null for none. */
Z_EXPORT void Z_CALL ZutSetOutputFunc(ZutVPrintFunc function);
/* The output function. Where there is none, standard output's becomes the set one. */
Z_EXPORT ZutVPrintFunc Z_CALL ZutGetOutputFunc(void);
/* Sets the function that ZutOutFlush calls: it prints and makes sure that the text is seen. */
Z_EXPORT int32_t Z_CALL ZutSetOutFlushFunc(ZutVPrintFunc function);
/* That function. */
Z_EXPORT ZutVPrintFunc Z_CALL ZutGetOutFlushFunc(void);
/* Prints through the output-flush function; the first use without one sets one that prints with
 * ZutVOut and flushes standard output.
 * Result   what that function returns. */
Z_EXPORT int32_t Z_CALL ZutOutFlush(const char *format, ...) Z_PRINTF(1, 2);
/* Prints through the output function or to standard output, whatever the level. When the program
 * has set an output function, the time of VNTIMESTAMPOUTPUT goes to the default trace object and
 * not to that function.
 * Result   what the output function returns. */
Z_EXPORT int32_t Z_CALL ZutVOut(const char *format, va_list args) Z_PRINTF(1, 0);
/* Prints whatever the level. Without an output function the text goes to the trace object "utout",
 * which flushes it.
 * Result   1. */
Z_EXPORT int32_t Z_CALL ZutOut(const char *format, ...) Z_PRINTF(1, 2);
/* Prints at a trace level: an output function gets every text, the default trace object those that
 * its level admits. */
Z_EXPORT int32_t Z_CALL ZutOutStr(int32_t level, const char *format, ...) Z_PRINTF(2, 3);
/* ZutOutStr with an argument list. */
Z_EXPORT int32_t Z_CALL ZutVOutStr(int32_t level, const char *format, va_list args) Z_PRINTF(2, 0);
/* ZutOutStr at the default trace object's own level. */
Z_EXPORT int32_t Z_CALL ZutOutStrDefault(const char *format, ...) Z_PRINTF(1, 2);
/* The same with an argument list. */
Z_EXPORT int32_t Z_CALL ZutVOutStrDefault(const char *format, va_list args) Z_PRINTF(1, 0);
/* Prints the catalog's message of that number with the arguments that follow, at `level`, or at
 * the level of the message's severity for Z_TRACE_LEVEL_DEFAULT. Result: 0 when the catalog has no
 * such message; nothing but a line that says so is printed then.
 * The text comes from a file, so its conversions are examined before the arguments are read: one
 * whose conversions are not plain ones of printf of moderate width is printed as it stands. In what
 * the library prints itself the conversions must be those of its arguments; a text in which they
 * differ is printed as it stands, then the arguments. */
Z_EXPORT int32_t Z_CALL ZutOutCat(int32_t level, int32_t number, ...);
/* Makes the options catalog_file, catalog_flags and _trace_{level,file,flags}_catalog, the default
 * catalog and the default trace object, and binds them to one another. Only the first call does
 * anything. It is made by the first catalog message, the first output by level, the first
 * ZutTraceCreateWithCatalog, and by the first binding or command that names one of those options.
 * What is made by a thread that holds the process mutex follows the options only from the next such
 * use on by one that does not. */
Z_EXPORT int32_t Z_CALL ZutOutInit(void);
/* While the option verbose is true: prints to the debug stream and to the output. */
Z_EXPORT int32_t Z_CALL ZutVerbose(const char *format, ...) Z_PRINTF(1, 2);

/* Opens the debug file unless one is open: VNDEBUGFILENAME as it stands, else `name` with the
 * extension .dbg. It is standard error for "stderr" in any case and for a file that cannot be
 * created. ZutInit calls it with the process type. The command _debug_set ignores the variable. */
Z_EXPORT int32_t Z_CALL ZutDebugOpen(const char *name);
/* Closes the debug file; its name is kept for ZutDebugReopen. A stream that is still open then
 * stays open and is the caller's. */
Z_EXPORT int32_t Z_CALL ZutDebugClose(void);
/* Opens the file of the kept name again, at its end. */
Z_EXPORT FILE *Z_CALL ZutDebugReopen(void);
/* Renames the debug file, on disk as well; "stderr" leaves it for standard error, and any other
 * name leaves standard error for a new file.
 * Errors   8 with no debug stream open; 6 for the name it has; 1 when the system refuses. */
Z_EXPORT int32_t Z_CALL ZutDebugRename(const char *name);
/* The debug file's name, null before the first open. */
Z_EXPORT const char *Z_CALL ZutDebugFileName(void);
/* The debug stream; opens it on standard error when there is none. */
Z_EXPORT FILE *Z_CALL ZutDebugFilePtr(void);
/* ZutDebug with an argument list. */
Z_EXPORT int32_t Z_CALL ZutVDebug(const char *format, va_list args) Z_PRINTF(1, 0);
/* Prints to the debug stream and flushes it. */
Z_EXPORT int32_t Z_CALL ZutDebug(const char *format, ...) Z_PRINTF(1, 2);
/* Prints to the output and keeps a record in the debug file. */
Z_EXPORT int32_t Z_CALL ZutOutDebug(const char *format, ...) Z_PRINTF(1, 2);
/* Prints "WARNING: " and the text as ZutOutDebug does; ends the process with abort() when
 * VN_WARNING_ABORT is set. */
Z_EXPORT int32_t Z_CALL ZutWarning(const char *format, ...) Z_PRINTF(1, 2);

/* Opens the dump file, "dump<process id>.dmp" in the directory for temporary files, for a long
 * report that a person then views. It is made anew: a file or link of that name is removed, never
 * followed.
 * Errors   6 when it is open; 8 when there is no writable directory. */
Z_EXPORT FILE *Z_CALL ZutDumpOpen(void);
/* The same, but keeps what is in the file; refuses a link. */
Z_EXPORT FILE *Z_CALL ZutDumpOpenAppend(void);
/* Writes to the dump file, opened when it is not; to the output when it cannot be opened. */
Z_EXPORT int32_t Z_CALL ZutDumpOut(const char *format, ...) Z_PRINTF(1, 2);
/* ZutDumpOut with an argument list. */
Z_EXPORT int32_t Z_CALL ZutDumpOutVa(const char *format, va_list args) Z_PRINTF(1, 0);
/* Closes the dump file.
 * Errors   8 when it is not open. */
Z_EXPORT int32_t Z_CALL ZutDumpClose(void);
/* Closes the dump file and shows it in the editor.
 * Errors   8 when there never was one. */
Z_EXPORT int32_t Z_CALL ZutDumpView(void);
/* Deletes the dump file.
 * Errors   8 when there never was one, 6 while it is open, 1 when the system refuses. */
Z_EXPORT int32_t Z_CALL ZutDumpRemove(void);
/* The dump file's name, the library's own text.
 * Errors   8 when there never was one. */
Z_EXPORT int32_t Z_CALL ZutDumpGetName(const char **out);

/* Kind 0: the percentage, 0 to 100, of the machine's processors that the process used since the
 * call before; 0.0 the first time. Error 7 for any other kind. */
Z_EXPORT int32_t Z_CALL ZutProcInfo(int32_t kind, double *out);

/* ---- Hash tables (hash) ----
 * A table from keys to values, both words of the caller's that are never copied. Order of visits:
 * chains by index, in each chain the newest entry first. No lock: one thread at a time.
 * Insert, replace, resize, reset, destroy, dump, sorts and getters do not check for null. */
/* One entry. Callers may read the key and follow next. */
typedef struct ZutHashBucket {
  struct ZutHashBucket *next;
  ZutWord key;
  ZutWord value;
  int32_t ref_count;
} ZutHashBucket;

/* The functions of a table: `hash` returns the hash value of a key, `test` is 1 when two keys are
 * equal. The others are called with each entry; see the operations that take them. */
typedef uint32_t(Z_CALL *ZutHashFunc)(ZutWord key);
typedef int32_t(Z_CALL *ZutHashTestFunc)(ZutWord sought, ZutWord stored);
typedef int32_t(Z_CALL *ZutHashTraverseFunc)(ZutWord key, ZutWord value, ZutWord argument);
typedef void(Z_CALL *ZutHashDestroyFunc)(ZutWord key, ZutWord value, ZutWord argument);
typedef int32_t(Z_CALL *ZutHashCompareFunc)(ZutWord key_a, ZutWord key_b);
typedef int32_t(Z_CALL *ZutHashFilterFunc)(ZutWord key, ZutWord value);
typedef int32_t(Z_CALL *ZutHashSortFunc)(ZutWord value, ZutWord argument);

/* A new table for about `expected` entries with the caller's functions. It grows by itself. */
Z_EXPORT ZutHashTable *Z_CALL ZutHashCreate(int32_t expected, ZutHashFunc hash,
                                            ZutHashTestFunc test);

/* A table of numbers. This and the next three have ready-made functions, which are also the
 * fastest. */
Z_EXPORT ZutHashTable *Z_CALL ZutHashCreateInt(int32_t expected);
/* A table of texts: a key is the text's address, and the text must stay as it is while its entry
 * lives. */
Z_EXPORT ZutHashTable *Z_CALL ZutHashCreateStr(int32_t expected);
/* The same, ignoring the case of ASCII letters. */
Z_EXPORT ZutHashTable *Z_CALL ZutHashCreateStri(int32_t expected);
/* A table of addresses. */
Z_EXPORT ZutHashTable *Z_CALL ZutHashCreatePtr(int32_t expected);

/* The smallest power of two that is at least 2 and at least `n`. Above 2^30 there is none in 32
 * bits: message 5121, result 2. */
Z_EXPORT int32_t Z_CALL ZutRoundUpToPowerOf2(int32_t n);

/* The number of entries. */
Z_EXPORT int32_t Z_CALL ZutHashGetSize(const ZutHashTable *table);
/* The number of insertions that met a chain in use: a hint, since a deletion gives back a
 * collision only where the entry was not the first of its chain. */
Z_EXPORT int32_t Z_CALL ZutHashGetCollisions(const ZutHashTable *table);

/* Is the table counted? */
Z_EXPORT int32_t Z_CALL ZutHashGetReferenceCounted(const ZutHashTable *table);
/* A counted table (flag 1) counts the insertions of a key, and an entry goes with the last of as
 * many deletions.
 * Errors   7 when the table is not empty. */
Z_EXPORT int32_t Z_CALL ZutHashSetReferenceCounted(ZutHashTable *table, int32_t flag);
/* The table's hash function. */
Z_EXPORT ZutHashFunc Z_CALL ZutHashGetHashFunc(const ZutHashTable *table);
/* The table's test function. */
Z_EXPORT ZutHashTestFunc Z_CALL ZutHashGetTestFunc(const ZutHashTable *table);

/* The value of a key.
 * Result   0 with error 8 when the key is absent. An entry whose value is 0 returns 0 and leaves
 *          the error number alone: use ZutHashLookupBucket where values may be 0. */
Z_EXPORT ZutWord Z_CALL ZutHashLookup(ZutHashTable *table, ZutWord key);
/* The same as ZutHashLookup, for tables of every kind. */
Z_EXPORT ZutWord Z_CALL ZutHashLookupInt(ZutHashTable *table, ZutWord key);

/* The entry of a key, the table's own record. It stays where it is until it is deleted.
 * Errors   8 when absent. */
Z_EXPORT ZutHashBucket *Z_CALL ZutHashLookupBucket(ZutHashTable *table, ZutWord key);

/* The first entry in the order of traversal.
 * Errors   8 when the table is empty. */
Z_EXPORT ZutHashBucket *Z_CALL ZutHashGetFirstBucket(ZutHashTable *table);

/* Adds an entry. A key that is present counts one more in a counted table, which keeps the first
 * value; in any other table nothing changes and a warning line is printed. With the variable
 * HASH_INSERT_VERBOSE_ERROR set the table is dumped as well, with HASH_INSERT_FATAL_ERROR the
 * process ends. */
Z_EXPORT void Z_CALL ZutHashInsert(ZutHashTable *table, ZutWord key, ZutWord value);

/* Sets the value of a key, and the key itself to the equal one that is given; adds the entry when
 * it is absent.
 * Result   the previous value, 0 when there was none. */
Z_EXPORT ZutWord Z_CALL ZutHashReplace(ZutHashTable *table, ZutWord key, ZutWord value);
/* The entry's value. */
Z_EXPORT ZutWord Z_CALL ZutHashBucketGetValue(const ZutHashBucket *bucket);
/* Sets the entry's value.
 * Result   the previous one. */
Z_EXPORT ZutWord Z_CALL ZutHashBucketSetValue(ZutHashBucket *bucket, ZutWord value);

/* Takes an entry out of the table (in a counted table: one insertion of it).
 * Result   the entry: while its ref_count is above 0 it is still the table's; at 0 it is a block
 *          that the caller frees with ZutFree, at another address than the entry had.
 * Errors   8 when absent. */
Z_EXPORT ZutHashBucket *Z_CALL ZutHashDeleteBucket(ZutHashTable *table, ZutWord key);

/* ZutHashDeleteBucket without the entry.
 * Result   its value, 0 with error 8 when the key is absent. */
Z_EXPORT ZutWord Z_CALL ZutHashDelete(ZutHashTable *table, ZutWord key);

/* Calls `function` for every entry: chains in order, in each the newest entry first. A result
 * other than 0 stops it and is the result; at the end the result is 0 with error 18. The
 * function may look up, insert, replace and delete any key: what it deletes is not visited any
 * more, what it inserts may be visited or not, and the table grows when the traversal ends. It must
 * return: a table whose traversal was left by a jump neither grows nor frees entries any more. */
Z_EXPORT int32_t Z_CALL ZutHashTraverse(ZutHashTable *table, ZutHashTraverseFunc function,
                                        ZutWord argument);

/* Removes every entry, after calling `function` (may be null) with it; the table is not counted
 * any more. */
Z_EXPORT void Z_CALL ZutHashReset(ZutHashTable *table, ZutHashDestroyFunc function,
                                  ZutWord argument);
/* Removes every entry and frees its key with ZutFree. */
Z_EXPORT void Z_CALL ZutHashResetFreeKey(ZutHashTable *table);
/* The same with the values. */
Z_EXPORT void Z_CALL ZutHashResetFreeValue(ZutHashTable *table);
/* The same with keys and values. */
Z_EXPORT void Z_CALL ZutHashResetFreeKeyValue(ZutHashTable *table);

/* ZutHashReset, and the table is gone. None of these inside a traversal of the table. */
Z_EXPORT void Z_CALL ZutHashDestroy(ZutHashTable *table, ZutHashDestroyFunc function,
                                    ZutWord argument);
/* ZutHashResetFreeKey, and the table is gone. */
Z_EXPORT void Z_CALL ZutHashDestroyFreeKey(ZutHashTable *table);
/* ZutHashResetFreeValue, and the table is gone. */
Z_EXPORT void Z_CALL ZutHashDestroyFreeValue(ZutHashTable *table);
/* ZutHashResetFreeKeyValue, and the table is gone. */
Z_EXPORT void Z_CALL ZutHashDestroyFreeKeyValue(ZutHashTable *table);

/* Makes the table as large as ZutHashCreate would for `n` entries; it never shrinks. */
Z_EXPORT void Z_CALL ZutHashResize(ZutHashTable *table, int32_t n);

/* The values in ascending order of the keys, in an array that the caller frees. `compare` null
 * compares texts ignoring case; `filter`, if given, keeps the entries for which it is not 0. Equal
 * keys come in any order.
 * Result   null with count 0 when there is nothing. */
Z_EXPORT ZutWord *Z_CALL ZutHashSort(ZutHashTable *table, int32_t *count,
                                     ZutHashCompareFunc compare, ZutHashFilterFunc filter);
/* The keys in that order. */
Z_EXPORT ZutWord *Z_CALL ZutHashSortKeys(ZutHashTable *table, int32_t *count,
                                         ZutHashCompareFunc compare, ZutHashFilterFunc filter);

/* Calls `function` with each value of ZutHashSort until a result is not 0. Result  the last one;
 * 0 without an error number when there was nothing. */
Z_EXPORT int32_t Z_CALL ZutHashSortTraverse(ZutHashTable *table, ZutHashSortFunc function,
                                            ZutWord argument, ZutHashCompareFunc compare,
                                            ZutHashFilterFunc filter);

/* Prints sizes, the spread over the chains and all entries through `out`, null for ZutDebug. The
 * printed deviations are roots of sums over the chains, not divided by their number. */
Z_EXPORT void Z_CALL ZutHashDump(ZutHashTable *table, ZutPrintFunc out);

/* ---- Safe strings (safestr) ----
 * A text that grows, always terminated. The record ZutSafeString is the caller's: storage, bytes
 * allocated, characters in use. No operation checks for null pointers. No lock. */

/* Makes an empty string in the record `out`.
 * Result   the record. */
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringCreate(ZutSafeString *out);
/* The same with `size` bytes of storage, at least 1. */
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringQCreate(ZutSafeString *out, int32_t size);

/* Frees the storage. The record is passed by value and keeps a stale pointer. */
Z_EXPORT void Z_CALL ZutSafeStringDestroy(ZutSafeString string);

/* Appends a text, which may lie in the string itself.
 * Result   the record. */
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringAppend(ZutSafeString *string, const char *text);
/* The same; the storage grows in steps of `step` bytes, at least 1. */
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringQAppend(ZutSafeString *string, const char *text,
                                                    int32_t step);
/* Appends a character. */
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringAppendChar(ZutSafeString *string, char character);
/* Appends a character; the storage grows in steps of `step` bytes. */
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringQAppendChar(ZutSafeString *string, char character,
                                                        int32_t step);
/* Appends a number in decimal. */
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringAppendInt4(ZutSafeString *string, int32_t number);

/* Puts a text before the contents, in a new storage. Result  the new text. */
Z_EXPORT char *Z_CALL ZutSafeStringPrepend(ZutSafeString *string, const char *text);

/* Empties the string. A record whose `str` is null is created. */
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringClear(ZutSafeString *string);

/* The text replaces the contents; it may lie in the string itself. */
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringCopy(ZutSafeString *string, const char *text);
/* The same; the storage grows in steps of `step` bytes. */
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringQCopy(ZutSafeString *string, const char *text,
                                                  int32_t step);

/* Makes room for at least `size` bytes in all.
 * Result   0 when there was room already. */
Z_EXPORT int32_t Z_CALL ZutSafeStringResize(ZutSafeString *string, int32_t size);

/* Cuts the last `count` characters off. Result  0, nothing cut, when there are fewer or `count`
 * is negative. */
Z_EXPORT int32_t Z_CALL ZutSafeStringShorten(ZutSafeString *string, int32_t count);

/* ---- Linked lists (deque ptrdeque queue stack ptrqueue ptrstack) ----
 * Links between records of the caller's, or between nodes that the library allocates to carry one
 * item each. Nothing is checked and nothing is locked. A node that is taken out has null links. */
/* Intrusive nodes: the caller's record begins with these links. */
typedef struct ZutDqNode {
  struct ZutDqNode *left;
  struct ZutDqNode *right;
} ZutDqNode;
typedef struct ZutListNode {
  struct ZutListNode *next;
} ZutListNode;
/* Nodes that the library allocates. */
typedef struct ZutPdqNode {
  ZutDqNode links;
  ZutWord item;
} ZutPdqNode;
typedef struct ZutPqNode {
  struct ZutPqNode *next;
  ZutWord item;
} ZutPqNode;
typedef struct ZutPq {
  ZutPqNode *head;
  ZutPqNode *tail;
} ZutPq;
typedef struct ZutPstNode {
  struct ZutPstNode *next;
  ZutWord item;
} ZutPstNode;
typedef int32_t(Z_CALL *ZutListFunc)(ZutListNode *node, ZutWord argument);
typedef int32_t(Z_CALL *ZutListOrderFunc)(ZutListNode *node, ZutListNode *other);
typedef int32_t(Z_CALL *ZutPqOrderFunc)(ZutWord item, ZutWord other);

/* Makes an empty deque: a ring of nodes closed by a sentinel, which is its handle. The sentinel's
 * right neighbour is the first node, its left one the last. */
Z_EXPORT void Z_CALL ZutDqOpen(ZutDqNode **deque);
/* Frees the deque and its nodes with ZutFree. */
Z_EXPORT void Z_CALL ZutDqClose(ZutDqNode **deque);

/* Links `node` to the right of `position`; to append, `position` is the sentinel's left
 * neighbour. */
Z_EXPORT void Z_CALL ZutDqRightInsert(ZutDqNode *node, ZutDqNode *position);

/* Unlinks a node. Result  the node; null when it is the sentinel. */
Z_EXPORT ZutDqNode *Z_CALL ZutDqDetach(ZutDqNode *deque, ZutDqNode *node);

/* Unlinks the first node; null when the deque is empty. */
Z_EXPORT ZutDqNode *Z_CALL ZutDqPop(ZutDqNode *deque);
/* The first node, left in place; null when the deque is empty. */
Z_EXPORT ZutDqNode *Z_CALL ZutDqFirst(ZutDqNode *deque);
/* The last node, left in place; null when the deque is empty. */
Z_EXPORT ZutDqNode *Z_CALL ZutDqLast(ZutDqNode *deque);

/* Adds an item at the front of a deque of items. */
Z_EXPORT ZutPdqNode *Z_CALL ZutAddPdqNode(ZutDqNode *deque, ZutWord item);
/* The first node with the item, or null. */
Z_EXPORT ZutPdqNode *Z_CALL ZutFindPdqNode(ZutDqNode *deque, ZutWord item);
/* Deletes the first node with the item.
 * Result   0, or -1 when there is none. */
Z_EXPORT int32_t Z_CALL ZutDeletePdqNode(ZutDqNode *deque, ZutWord item);

/* Adds a node of the caller's at the end of a queue, which is a head and a tail word. */
Z_EXPORT void Z_CALL ZutQueueAppend(ZutListNode **head, ZutListNode **tail, ZutListNode *node);
/* Adds a node at the front. */
Z_EXPORT void Z_CALL ZutQueuePush(ZutListNode **head, ZutListNode **tail, ZutListNode *node);
/* Unlinks the first node; null when the queue is empty. */
Z_EXPORT ZutListNode *Z_CALL ZutQueuePop(ZutListNode **head, ZutListNode **tail);

/* Puts the node where the link word `after` points: the head word, or the next word of a node. */
Z_EXPORT void Z_CALL ZutQueueRightInsert(ZutListNode **head, ZutListNode **tail, ZutListNode *node,
                                         ZutListNode **after);
/* Unlinks the node that the link word points to; null when there is none. */
Z_EXPORT ZutListNode *Z_CALL ZutQueueRightDetach(ZutListNode **head, ZutListNode **tail,
                                                 ZutListNode **link);
/* The link word that points to the first node for which function(node, argument) is not 0, or
 * null. */
Z_EXPORT ZutListNode **Z_CALL ZutQueueLeftFind(ZutListNode **head, ZutListNode **tail,
                                               ZutWord argument, ZutListFunc function);

/* Inserts before the first node x for which function(node, x) is not 0, else at the end: with a
 * function that says "strictly before", equal nodes keep the order of arrival. */
Z_EXPORT void Z_CALL ZutQueueInsert(ZutListNode **head, ZutListNode **tail, ZutListNode *node,
                                    ZutListOrderFunc function);

/* Removes a node wherever it is; null when it is not in the queue. */
Z_EXPORT ZutListNode *Z_CALL ZutQueueDelete(ZutListNode **head, ZutListNode **tail,
                                            ZutListNode *node);

/* Frees all nodes with ZutFree. */
Z_EXPORT void Z_CALL ZutQueueClose(ZutListNode **head, ZutListNode **tail);

/* Puts a node of the caller's on a stack, which is one head word. */
Z_EXPORT void Z_CALL ZutStackPush(ZutListNode **head, ZutListNode *node);
/* Unlinks the node on top; null when the stack is empty. */
Z_EXPORT ZutListNode *Z_CALL ZutStackPop(ZutListNode **head);
/* Frees all nodes with ZutFree. */
Z_EXPORT void Z_CALL ZutStackClose(ZutListNode **head);

/* The number of nodes from this one on. */
Z_EXPORT int32_t Z_CALL ZutListLength(const ZutListNode *first);
/* The chain's last node; null for none. */
Z_EXPORT ZutListNode *Z_CALL ZutListEnd(ZutListNode *first);
/* The place of a node counted from 0.
 * Result   -1 with message 5144 when it is not there. */
Z_EXPORT int32_t Z_CALL ZutListPos(const ZutListNode *first, const ZutListNode *node);

/* Removes a node; null when it is not there. */
Z_EXPORT ZutListNode *Z_CALL ZutListDelete(ZutListNode **head, ZutListNode *node);

/* Calls function(node, argument) for every node; a node for which it is not 0 is unlinked and
 * the function's to keep or free. The function leaves the list and its other nodes alone.
 * Result   the last one of the function, 0 for an empty list. */
Z_EXPORT int32_t Z_CALL ZutListTravDel(ZutListNode **head, ZutListFunc function, ZutWord argument);

/* Adds an item at the end of a queue of items.
 * Result   the node. */
Z_EXPORT ZutPqNode *Z_CALL ZutPqAdd(ZutPq *queue, ZutWord item);
/* Adds an item at the front.
 * Result   the node. */
Z_EXPORT ZutPqNode *Z_CALL ZutPqPush(ZutPq *queue, ZutWord item);
/* Removes the first item; 0 when the queue is empty. */
Z_EXPORT ZutWord Z_CALL ZutPqPop(ZutPq *queue);

/* Inserts the item where `link`, the head word or a node's next word, points.
 * Result   the node. */
Z_EXPORT ZutPqNode *Z_CALL ZutPqRInsert(ZutPq *queue, ZutWord item, ZutPqNode **link);

/* Inserts before the first item x for which function(item, x) is not 0, else at the end.
 * Result   the place, counted from 1, at which the item now stands. */
Z_EXPORT int32_t Z_CALL ZutPqInsert(ZutPq *queue, ZutWord item, ZutPqOrderFunc function);

/* Removes the first node with the item.
 * Result   the item, 0 when it is absent. */
Z_EXPORT ZutWord Z_CALL ZutPqDelete(ZutPq *queue, ZutWord item);
/* The item when it is in the queue, else 0. */
Z_EXPORT ZutWord Z_CALL ZutPqFind(const ZutPq *queue, ZutWord item);
/* The number of items. */
Z_EXPORT int32_t Z_CALL ZutPqCount(const ZutPq *queue);
/* Removes all items. */
Z_EXPORT void Z_CALL ZutPqClose(ZutPq *queue);

/* Puts an item on a stack of items.
 * Result   the new node. */
Z_EXPORT ZutPstNode *Z_CALL ZutPushPstNode(ZutPstNode **head, ZutWord item);
/* Removes the item on top; 0 when the stack is empty. */
Z_EXPORT ZutWord Z_CALL ZutPopPstNode(ZutPstNode **head);
/* The first node with the item, or null. */
Z_EXPORT ZutPstNode *Z_CALL ZutFindPstNode(ZutPstNode *first, ZutWord item);

/* ---- Lobe tables (lobe) ----
 * A lobe is one more slot of any object, known by the object's address: a process-wide table from
 * objects to copies of a value. Each lobe has a mutex of its own, taken once threads are
 * initialised; any thread may use any lobe. A null lobe is error 3. */
typedef int32_t(Z_CALL *ZutLobeTraverseFunc)(ZutWord object, void *value, ZutWord argument);

/* The lobe of a number, made when it is new, for values of `size` bytes or, with a size of -1, for
 * texts. A lobe that was declared with another size is returned as it is, with message 5410. */
Z_EXPORT ZutLobe *Z_CALL ZutLobeDeclare(int32_t number, int32_t size);
/* The same for texts. */
Z_EXPORT ZutLobe *Z_CALL ZutLobeStringDeclare(int32_t number);

/* Result  null when no lobe has the number, with error 8 if any was ever declared. */
Z_EXPORT ZutLobe *Z_CALL ZutLobeLookup(int32_t number);

/* The size of a value, -1 for texts, 0 for a null lobe. */
Z_EXPORT int32_t Z_CALL ZutLobeGetSize(const ZutLobe *lobe);

/* The table of all lobes by number, null before the first. Hold the process mutex while using
 * it. */
Z_EXPORT ZutHashTable *Z_CALL ZutLobeTable(void);

/* The object's value, the lobe's own block, or null. Another thread may delete it at any time. */
Z_EXPORT void *Z_CALL ZutLobeFindValue(const void *object, ZutLobe *lobe);

/* Copies the object's value to `out`: the size's bytes, or the text with its terminator.
 * Result   0 when the object has none. */
Z_EXPORT int32_t Z_CALL ZutLobeGet(const void *object, ZutLobe *lobe, void *out);

/* Stores a copy of a value for the object. A value of fixed size that it has already is
 * overwritten where it stands. */
Z_EXPORT int32_t Z_CALL ZutLobeSet(const void *object, ZutLobe *lobe, const void *value);
/* ZutLobeSet unless the object has a value: then 0, and nothing changes. Two threads that check at
 * once may both set. */
Z_EXPORT int32_t Z_CALL ZutLobeCheckSet(const void *object, ZutLobe *lobe, const void *value);

/* Removes the object's value.
 * Result   always 0. */
Z_EXPORT int32_t Z_CALL ZutLobeDelete(const void *object, ZutLobe *lobe);

/* Removes the object's values in every lobe: for use when the object is destroyed. */
Z_EXPORT void Z_CALL ZutLobeClear(const void *object);

/* Calls `function` with each object and its value, under the lobe's mutex; results as
 * ZutHashTraverse, 0 when no lobe was ever declared. The function may print; therefore do not use
 * the lobe while you hold the process mutex. */
Z_EXPORT int32_t Z_CALL ZutLobeTraverse(ZutLobe *lobe, ZutLobeTraverseFunc function,
                                        ZutWord argument);

/* ---- Callback types and callback lists (callback) ----
 * An event is a numbered type. Its callbacks stand in lists: one global list and one for each
 * owner, any object of the caller's. Lists are ordered by priority, highest first, then by age; no
 * two callbacks of a list have the same function and argument.
 * Threads  any, once threads are initialised. A list is locked for reading while its callbacks
 *          are called, traversed, looked up or printed, for writing while it is changed. A callback
 *          may change, clear or call the list that is calling it: the change waits until no other
 *          thread is inside a call of that list. A thread that has to wait lets others change the
 *          lists that it is calling itself, so calls and changes never wait for each other in a
 *          ring. A callback that waits so may still run when a change of its list is done; only
 *          ZutCbDestroy waits until it has returned. Hold no lock that a callback takes while you
 *          change its list. A callback must return or end the process: left by a jump, it leaves
 *          its list locked.
 * Errors   5 when some 8000 calls, traversals and dumps of one list are going on, in all threads
 *          together, nested ones included: the next one calls nothing and returns 0. */
/* The event's record begins with this field: the list sets it before each call. */
typedef struct ZutCbCallData {
  ZutCb *cb;
} ZutCbCallData;
#define Z_CB_CHANGE_FUNCTION 1
#define Z_CB_CHANGE_ARGUMENT 2
#define Z_CB_CHANGE_DESTROY 3
#define Z_CB_CHANGE_PRIORITY 4
typedef struct ZutCbChangeData {
  ZutCb *cb;
  int32_t kind;
} ZutCbChangeData;
#define Z_CB_GLOBAL_ONLY 0
#define Z_CB_NO_GLOBALS 1
#define Z_CB_GLOBALS_OK 2
#define Z_CB_INDIRECT 0
#define Z_CB_DIRECT 1
/* The library's own types. */
#define Z_CB_TYPE_TIME_CHANGE (-101)
#define Z_CB_TYPE_OPTION_CHANGE (-102)
#define Z_CB_TYPE_LEXER_TOKEN (-104)
#define Z_CB_TYPE_QUIT (-106)
typedef void(Z_CALL *ZutCbFunc)(void *owner, void *call_data, ZutWord argument);
typedef void(Z_CALL *ZutCbChangeFunc)(ZutCb *cb, ZutCbChangeData *data, ZutWord argument);
typedef int32_t(Z_CALL *ZutCbTypeTraverseFunc)(ZutWord number, ZutCbType *type, ZutWord argument);
typedef int32_t(Z_CALL *ZutCbListTraverseFunc)(ZutCbList *list, ZutCb *cb, ZutWord argument);

/* A new type; the name, which may be null, is copied. Result  null when the number is taken.
 * Callback type numbers are lobe numbers as well: a type whose number is that of a lobe with
 * another size has no owner lists (message 5005). */
Z_EXPORT ZutCbType *Z_CALL ZutCbTypeCreate(int32_t number, const char *name);

/* The type of a name, ignoring case.
 * Errors   18 when there is none. */
Z_EXPORT ZutCbType *Z_CALL ZutCbTypeLookup(const char *name);
/* The type of a number.
 * Errors   8 when there is none, no error number before the first type. */
Z_EXPORT ZutCbType *Z_CALL ZutCbTypeNumLookup(int32_t number);

/* Calls `function` with each type, the process mutex held; results as ZutHashTraverse. */
Z_EXPORT int32_t Z_CALL ZutCbTypeTraverse(ZutCbTypeTraverseFunc function, ZutWord argument);

/* What an event calls: Z_CB_GLOBAL_ONLY, Z_CB_NO_GLOBALS (the owner's callbacks only) or
 * Z_CB_GLOBALS_OK (both, merged by priority), the value at first. Any value is stored. */
Z_EXPORT int32_t Z_CALL ZutCbTypeSetGlobFlag(ZutCbType *type, int32_t flag);
/* What an event calls. */
Z_EXPORT int32_t Z_CALL ZutCbTypeGetGlobFlag(ZutCbType *type, int32_t *out);

/* Where owners' lists are: Z_CB_INDIRECT, the library finds them; Z_CB_DIRECT, owners keep them.
 * Errors   7 for another flag. */
Z_EXPORT int32_t Z_CALL ZutCbTypeSetLocalFlag(ZutCbType *type, int32_t flag);
/* Where owners' lists are. */
Z_EXPORT int32_t Z_CALL ZutCbTypeGetLocalFlag(ZutCbType *type, int32_t *out);

/* The type's name, null when it has none. */
Z_EXPORT int32_t Z_CALL ZutCbTypeGetName(ZutCbType *type, const char **out);
/* The type's number. */
Z_EXPORT int32_t Z_CALL ZutCbTypeGetNum(ZutCbType *type, int32_t *out);

/* The list of an owner, or for a null owner the global one. Result  0 when there is none; for an
 * owner of a direct type with message 5006. */
Z_EXPORT int32_t Z_CALL ZutCbTypeGetCbList(ZutCbType *type, void *owner, ZutCbList **out);

/* A list that becomes the owner's. Result  null for a direct type. */
Z_EXPORT ZutCbList *Z_CALL ZutCbTypeCbListCreate(ZutCbType *type, void *owner);

/* A callback with priority 0 in the owner's list, or for a null owner in the global one, made when
 * it is missing. Result  null for an owner of a direct type.
 * Errors   6 when the pair of function and argument is there; 15 for a global callback of a type
 *          with Z_CB_NO_GLOBALS. */
Z_EXPORT ZutCb *Z_CALL ZutCbTypeCbCreate(ZutCbType *type, void *owner, ZutCbFunc function,
                                         ZutWord argument);

/* The callback with that function and argument. Errors  8 when there is none; 15 with message
 * 5007 for an owner of a direct type. */
Z_EXPORT ZutCb *Z_CALL ZutCbTypeCbLookup(ZutCbType *type, void *owner, ZutCbFunc function,
                                         ZutWord argument);
/* ZutCbTypeCbCreate in the global list. */
Z_EXPORT ZutCb *Z_CALL ZutCbCreateGlobal(ZutCbType *type, ZutCbFunc function, ZutWord argument);

/* Raises the event: calls the callbacks of the owner, the global ones or both, as the type's flag
 * says, on this thread. `call_data` is a record that begins with a ZutCbCallData. Another thread
 * may clear the owner's list during the call.
 * Result   1, also when nothing was called, but see "Errors" above. An unknown flag calls nothing:
 *          message 5008. */
Z_EXPORT int32_t Z_CALL ZutCbTypeCall(ZutCbType *type, void *owner, void *call_data);

/* ZutCbTypeCbLookup by the type's number. */
Z_EXPORT ZutCb *Z_CALL ZutCbTypeNumCbLookup(int32_t number, void *owner, ZutCbFunc function,
                                            ZutWord argument);
/* Destroys the callback that ZutCbTypeNumCbLookup finds. */
Z_EXPORT int32_t Z_CALL ZutCbTypeNumCbDestroy(int32_t number, void *owner, ZutCbFunc function,
                                              ZutWord argument);
/* ZutCbTypeCall by the type's number.
 * Result   1 also for an unknown number. */
Z_EXPORT int32_t Z_CALL ZutCbTypeNumCbCall(int32_t number, void *owner, void *call_data);
/* ZutCbObjClear by the type's number. */
Z_EXPORT int32_t Z_CALL ZutCbTypeNumObjClear(int32_t number, void *owner);

/* Destroys the owner's list. Result  0 when it has none; as ZutCbListDestroy otherwise. */
Z_EXPORT int32_t Z_CALL ZutCbObjClear(ZutCbType *type, void *owner);

/* Prints a type through `out`. */
Z_EXPORT int32_t Z_CALL ZutCbPrintType(ZutCbType *type, ZutPrintFunc out);

/* A list of a type that its owner does not find: the caller keeps it. ZutCbTypeCbListCreate makes
 * one that the owner finds. */
Z_EXPORT ZutCbList *Z_CALL ZutCbListCreate(ZutCbType *type, void *owner);

/* Destroys a list and its callbacks, each change function called.
 * Errors   32 when this thread is calling the list, or another one is and waits there for a list:
 *          the call stops after the callback that it is in, and the last call to end destroys an
 *          owner's list. A global list then stays as it is and calls one callback an event.
 * Threads  waits for other threads' calls. */
Z_EXPORT int32_t Z_CALL ZutCbListDestroy(ZutCbList *list);

/* Calls the list's callbacks; stops when the list is being destroyed.
 * Result   1, but see "Errors" above. */
Z_EXPORT int32_t Z_CALL ZutCbListCall(ZutCbList *list, void *owner, void *call_data);

/* Calls `function` for each callback in calling order. Result  the first one that is not 0; 0,
 * without error 18, at the end. */
Z_EXPORT int32_t Z_CALL ZutCbListTraverse(ZutCbList *list, ZutCbListTraverseFunc function,
                                          ZutWord argument);

/* A new callback with priority 0 in the list. Errors  6 when function and argument are there. */
Z_EXPORT ZutCb *Z_CALL ZutCbListCbCreate(ZutCbList *list, ZutCbFunc function, ZutWord argument);

/* Inserts a callback that ZutCbListRemoveCb took out of a list, after those of equal priority.
 * Errors   6 when function and argument are there, 8 when the callback was destroyed, 32 when it is
 *          in a list. */
Z_EXPORT int32_t Z_CALL ZutCbListInsertCb(ZutCbList *list, ZutCb *cb);

/* The first callback with that function and argument. Errors  8 when there is none. */
Z_EXPORT ZutCb *Z_CALL ZutCbListCbLookup(ZutCbList *list, ZutCbFunc function, ZutWord argument);
/* Takes a callback out of the list without destroying it.
 * Errors   8 when it is not in this list. */
Z_EXPORT int32_t Z_CALL ZutCbListRemoveCb(ZutCbList *list, ZutCb *cb);

/* Is any thread calling, traversing or printing the list? */
Z_EXPORT int32_t Z_CALL ZutCbListIsActive(ZutCbList *list);

/* The list's owner, null for a global list. */
Z_EXPORT int32_t Z_CALL ZutCbListGetOwner(ZutCbList *list, void **out);
/* The list's type. */
Z_EXPORT int32_t Z_CALL ZutCbListGetType(ZutCbList *list, ZutCbType **out);

/* A number that is kept with the list and printed, without effect.
 * Result   always 0, with message 5001, although the number is stored. */
Z_EXPORT int32_t Z_CALL ZutCbListSetStartThresh(ZutCbList *list, uint16_t threshold);
/* Reads it.
 * Result   always 0, with message 5002. */
Z_EXPORT int32_t Z_CALL ZutCbListGetStartThresh(ZutCbList *list, uint16_t *out);
/* A second such number.
 * Result   always 0, with message 5003. */
Z_EXPORT int32_t Z_CALL ZutCbListSetCurrentThresh(ZutCbList *list, uint16_t threshold);
/* Reads it.
 * Result   always 0, with message 5004. */
Z_EXPORT int32_t Z_CALL ZutCbListGetCurrentThresh(ZutCbList *list, uint16_t *out);
/* Calls the callbacks of two lists by priority, the owner's first among equals; stops when the
 * owner's list is being destroyed.
 * Result   1, but see "Errors" above. */
Z_EXPORT int32_t Z_CALL ZutCbMergeCall(ZutCbList *owner_list, ZutCbList *global_list, void *owner,
                                       void *call_data);

/* Prints a list and its callbacks through `out`. */
Z_EXPORT int32_t Z_CALL ZutCbPrintList(ZutCbList *list, ZutPrintFunc out);

/* Takes a callback out of its list, calls its change function and frees it. A callback may
 * destroy itself or any other while it is called; its record stays until the calls of its list
 * that are going on have ended, so that several threads may do so at once.
 * Errors   8 when the callback is destroyed already. 32 when waiting would have no end: a thread
 *          inside the callback waits itself, perhaps by way of others, until this one has left the
 *          callback that it destroys; or this thread is in a change function. The callback is then
 *          out of its list; its change function is called and it is freed when those that are
 *          inside have returned and, at the latest, with the next call of its list.
 * Threads  waits until no other thread is inside the callback, so that what its argument leads to
 *          may be freed on return. A callback that destroys itself does not wait for itself. */
Z_EXPORT int32_t Z_CALL ZutCbDestroy(ZutCb *cb);

/* Changes a callback's function.
 * Result   0 without an error number when the list has a callback with the new pair of function
 *          and argument, be it this one.
 * Errors   8 for a callback that was destroyed and that a thread is still inside; so for the other
 *          changes. */
Z_EXPORT int32_t Z_CALL ZutCbSetFunction(ZutCb *cb, ZutCbFunc function);
/* Changes a callback's argument; result as ZutCbSetFunction. */
Z_EXPORT int32_t Z_CALL ZutCbSetArgument(ZutCb *cb, ZutWord argument);
/* Puts the callback after those of equal priority; the present priority changes nothing. */
Z_EXPORT int32_t Z_CALL ZutCbSetPriority(ZutCb *cb, int16_t priority);

/* The callback's function. */
Z_EXPORT int32_t Z_CALL ZutCbGetFunction(ZutCb *cb, ZutCbFunc *out);
/* The callback's argument. */
Z_EXPORT int32_t Z_CALL ZutCbGetArgument(ZutCb *cb, ZutWord *out);
/* The callback's priority. */
Z_EXPORT int32_t Z_CALL ZutCbGetPriority(ZutCb *cb, int16_t *out);
/* The list that the callback is in, null for none. */
Z_EXPORT int32_t Z_CALL ZutCbGetList(ZutCb *cb, ZutCbList **out);
/* The owner of that list, null for none. */
Z_EXPORT int32_t Z_CALL ZutCbGetOwner(ZutCb *cb, void **out);
/* The type of that list, null for none. */
Z_EXPORT int32_t Z_CALL ZutCbGetCbType(ZutCb *cb, ZutCbType **out);

/* `function` is called after the callback's function, argument or priority has changed, with the
 * list locked for writing; and before the record is freed, with the list locked when all of the
 * list is destroyed. It may use its own list. It must not use another one in any way, raising an
 * event included: where two change functions use each other's lists, their threads wait for each
 * other for ever. */
Z_EXPORT int32_t Z_CALL ZutCbSetChangeFunction(ZutCb *cb, ZutCbChangeFunc function,
                                               ZutWord argument);

/* Prints a callback through `out`. */
Z_EXPORT int32_t Z_CALL ZutCbPrint(ZutCb *cb, ZutPrintFunc out);

/* A callback that the quit command calls just before the process exits, with a null owner. */
Z_EXPORT ZutCb *Z_CALL ZutQuitCbCreate(ZutCbFunc function, ZutWord argument);
/* The quit callback with that function and argument.
 * Errors   8 when there is none. */
Z_EXPORT ZutCb *Z_CALL ZutQuitCbLookup(ZutCbFunc function, ZutWord argument);

/* ---- Pointer arrays (ptrary) ----
 * A growing array of words, pointers or numbers, in the caller's order. Items are equal when the
 * words are; what looks for an item finds the first. Valid indexes are 0 to count - 1, another one
 * is error 7; so is none found error 8. An array without storage is error 3, like a null array. No
 * lock.
 *
 * Each change can be announced to callbacks of the array, with the array as owner. A notice is the
 * last step of its operation, once the array is changed and the results are stored, so a callback
 * may do with the array what it likes: remove itself or others, add, remove, move or sort items,
 * clear or destroy the array. Each such change sends notices of its own, at once: the callbacks
 * that follow get its notice before that of the change that came first. An operation never looks
 * at an array again that a callback has destroyed. The functions that clearing and sorting call
 * are no notices: they must leave the array alone. */
typedef struct ZutPtrAry {
  ZutWord *items; /* capacity + 1 entries; the last is room for sorting */
  uint32_t capacity;
  int32_t count;
  uint32_t increment;    /* by which a full array grows: its first capacity */
  ZutCbList *change_cbs; /* null before the first callback */
} ZutPtrAry;
#define Z_CB_TYPE_PTR_ARY_CHANGE (-107) /* "ptr_ary_change"; made by the first callback */
#define Z_PTR_ARY_INSERTED 0
#define Z_PTR_ARY_REMOVED 1
#define Z_PTR_ARY_REPLACED 2
#define Z_PTR_ARY_ALL_REMOVED 3
#define Z_PTR_ARY_SWAPPED 4
#define Z_PTR_ARY_CLEARED 5
#define Z_PTR_ARY_SORTED 6
/* Call data of the change callbacks: the item and its index, -1 for all copies of an item, no item
 * and -1 for the whole array. A swap has both items and their new indexes; the other kinds have 0
 * and -1 there. A replaced item's is the new one. */
typedef struct ZutPtrAryChangeData {
  ZutCb *cb;
  int32_t kind;
  ZutWord item;
  int32_t index;
  ZutWord item2;
  int32_t index2;
} ZutPtrAryChangeData;
typedef void(Z_CALL *ZutPtrAryFunc)(int32_t index, ZutWord item, ZutWord argument);
typedef int32_t(Z_CALL *ZutPtrAryCompareFunc)(ZutWord a, ZutWord b);

/* An array with room for `size` items, at least 1, which is also the step by which it grows. It
 * never shrinks. */
Z_EXPORT ZutPtrAry *Z_CALL ZutPtrAryCreate(int32_t size);

/* Clears and frees the array and its callbacks.
 * Result   0 with error 32 when a callback of the array is running: the array is freed all the
 *          same, its callbacks when the last one returns. In the notices of the destruction itself
 *          destroying the array again does nothing: the first one goes on. */
Z_EXPORT int32_t Z_CALL ZutPtrAryDestroy(ZutPtrAry *array, ZutPtrAryFunc function,
                                         ZutWord argument);

/* Removes all items, after calling `function`, which may be null, with each of them in order. */
Z_EXPORT int32_t Z_CALL ZutPtrAryClear(ZutPtrAry *array, ZutPtrAryFunc function, ZutWord argument);

/* Adds an item at the end; `index_out`, which may be null, gets its index. */
Z_EXPORT int32_t Z_CALL ZutPtrAryAppend(ZutPtrAry *array, ZutWord item, int32_t *index_out);

/* Adds the items of `source`, which may be the array itself. Room is made for the next multiple of
 * the step above what is needed. The outs, which may be null, get the indexes of the first and the
 * last item added; a source without items gives count and count - 1.
 * Notices  one for each item added. When a callback changes the array, the rest report what is at
 *          these indexes by then. */
Z_EXPORT int32_t Z_CALL ZutPtrAryAppendAll(ZutPtrAry *array, const ZutPtrAry *source,
                                           int32_t *first_out, int32_t *last_out);

/* Inserts an item at an index, count included. */
Z_EXPORT int32_t Z_CALL ZutPtrAryInsertItemAtIndex(ZutPtrAry *array, ZutWord item, int32_t index);
/* Inserts an item before the first copy of `existing`. Before the last item, the notice has the
 * index to which that one has moved. */
Z_EXPORT int32_t Z_CALL ZutPtrAryInsertBefore(ZutPtrAry *array, ZutWord existing, ZutWord item);
/* Inserts an item after the first copy of `existing`. */
Z_EXPORT int32_t Z_CALL ZutPtrAryInsertAfter(ZutPtrAry *array, ZutWord existing, ZutWord item);

/* Removes the item at an index; `item_out`, which may be null, gets it.
 * Errors   4 for an empty array. */
Z_EXPORT int32_t Z_CALL ZutPtrAryRemoveItemAtIndex(ZutPtrAry *array, int32_t index,
                                                   ZutWord *item_out);
/* Removes the first copy of an item.
 * Errors   4 for an empty array. */
Z_EXPORT int32_t Z_CALL ZutPtrAryRemove(ZutPtrAry *array, ZutWord item);

/* Removes every copy of an item; one notice reports them all. `count_out` gets their number. */
Z_EXPORT int32_t Z_CALL ZutPtrAryRemoveAll(ZutPtrAry *array, ZutWord item, int32_t *count_out);

/* Puts an item in the place of another, which `old_out`, if not null, gets. */
Z_EXPORT int32_t Z_CALL ZutPtrAryReplaceItemAtIndex(ZutPtrAry *array, ZutWord item, int32_t index,
                                                    ZutWord *old_out);
/* Swaps the items at two indexes. */
Z_EXPORT int32_t Z_CALL ZutPtrArySwapItems(ZutPtrAry *array, int32_t index_a, int32_t index_b);

/* The item at an index. */
Z_EXPORT int32_t Z_CALL ZutPtrAryGetItemAtIndex(ZutPtrAry *array, int32_t index, ZutWord *item_out);
/* The index of the first copy of an item. */
Z_EXPORT int32_t Z_CALL ZutPtrAryGetItemIndex(ZutPtrAry *array, ZutWord item, int32_t *index_out);
/* Is the item in the array? If not, error 8. */
Z_EXPORT int32_t Z_CALL ZutPtrAryItemExists(ZutPtrAry *array, ZutWord item);

/* The array's storage, good until the array grows. `array` is not checked. */
Z_EXPORT ZutWord *Z_CALL ZutPtrAryGetArray(ZutPtrAry *array);

/* Sorts in place; `compare` is negative when its first item goes before its second. Equal items
 * come in any order. The notice is sent for fewer than two items as well. */
Z_EXPORT int32_t Z_CALL ZutPtrArySort(ZutPtrAry *array, ZutPtrAryCompareFunc compare);

/* A callback for the array's changes. */
Z_EXPORT ZutCb *Z_CALL ZutPtrAryChangeCbCreate(ZutPtrAry *array, ZutCbFunc function,
                                               ZutWord argument);
/* The change callback with that function and argument.
 * Errors   8 when there is none. */
Z_EXPORT ZutCb *Z_CALL ZutPtrAryChangeCbLookup(ZutPtrAry *array, ZutCbFunc function,
                                               ZutWord argument);

/* ---- Growable buffers (utbuffer) ----
 * Bytes that are written at the end and read from a position of their own. A static buffer is the
 * caller's memory and never grows. Pointers into a buffer are good until it grows. No lock.
 *
 * A full buffer grows by more than is asked for. What would take more than 31 bits can count
 * is error 5; what a static buffer has no room for, error 7. A failing operation changes nothing,
 * unless it says so. */
typedef struct ZutBuf {
  uint8_t *data;
  int32_t offset; /* read position; alignment and ZutBufDeleteRange may leave it beyond size */
  int32_t size;   /* bytes in use, 0 to capacity */
  int32_t capacity;
  int32_t is_static; /* 1: data is the caller's memory */
} ZutBuf;

/* An empty buffer. Capacity 0 means 2048. */
Z_EXPORT ZutBuf *Z_CALL ZutBufCreate(int32_t capacity);

/* An empty buffer in the `size` bytes of `memory`, at least 1, which stay the caller's. */
Z_EXPORT ZutBuf *Z_CALL ZutBufCreateStatic(void *memory, int32_t size);
/* Frees the buffer; the memory of a static one stays the caller's. */
Z_EXPORT int32_t Z_CALL ZutBufDestroy(ZutBuf *buffer);

/* Makes room for `minimum` bytes in all, at least 1. A minimum below the capacity changes nothing;
 * otherwise the buffer grows, also when the minimum is what it has. */
Z_EXPORT int32_t Z_CALL ZutBufGrow(ZutBuf *buffer, int32_t minimum);

/* Reserves `length` bytes at the end, where the size is a multiple of `alignment`, a power of two;
 * neither they nor the bytes skipped are initialised. A null buffer is not checked for.
 * Errors   4 for a negative length, 7 for any other alignment. */
Z_EXPORT void *Z_CALL ZutBufAllocAligned(ZutBuf *buffer, int32_t length, int32_t alignment);

/* Appends the source's next `length` unread bytes, -1 for all of them, and reads them. The source
 * may be the buffer itself, here and below.
 * Result   where the bytes begin in the buffer.
 * Errors   7 for a length below -1 or beyond what is unread. */
Z_EXPORT void *Z_CALL ZutBufAppendBuf(ZutBuf *buffer, ZutBuf *source, int32_t length);

/* Appends the source's bytes from `start` up to, not including, `end`; -1 is the source's size.
 * Errors   7 for a place beyond the size or a negative one, 4 for an end before the start. */
Z_EXPORT void *Z_CALL ZutBufAppendRange(ZutBuf *buffer, const ZutBuf *source, int32_t start,
                                        int32_t end);

/* A new buffer, as large as the range, with a copy of it; for an empty range as ZutBufCreate(0).
 * Ranges and errors as in ZutBufAppendRange. */
Z_EXPORT ZutBuf *Z_CALL ZutBufCloneRange(const ZutBuf *source, int32_t start, int32_t end);

/* Takes a range out. The read position stays the number that it is. */
Z_EXPORT int32_t Z_CALL ZutBufDeleteRange(ZutBuf *buffer, int32_t start, int32_t end);

/* The next `length` bytes from the read position, moved up to a multiple of `alignment` first, and
 * moves the position past them. A null buffer is not checked for.
 * Result   null, without an error number and with the position moved up, when there are fewer.
 * Errors   as ZutBufAllocAligned. */
Z_EXPORT void *Z_CALL ZutBufNextAligned(ZutBuf *buffer, int32_t length, int32_t alignment);

/* Cuts the buffer at `position`, a pointer into its data or to its end; null empties it. The read
 * position stays within the size. Errors  7 for another pointer. */
Z_EXPORT int32_t Z_CALL ZutBufReset(ZutBuf *buffer, const void *position);

/* Puts the read position at such a pointer; null for the start. */
Z_EXPORT int32_t Z_CALL ZutBufRewind(ZutBuf *buffer, const void *position);

/* Cuts the buffer to `size` bytes or extends it to them, uninitialised. */
Z_EXPORT int32_t Z_CALL ZutBufSetSize(ZutBuf *buffer, int32_t size);

/* The factor by which buffers grow: the option "_buffer_resize_factor" as it was when this process
 * first asked. */
Z_EXPORT double Z_CALL ZutBufGetResizeFactor(void);

/* ---- Fibonacci heap (fh) ----
 * A queue that returns the least key first. Nodes are the caller's and carry a pointer to a key of
 * the caller's, which may change while the node is in a heap, if ZutFHeapDecreaseKey or
 * ZutFHeapUpdateKey follows at once. A heap of a ready-made kind reads a key in these two and in
 * ZutFHeapInsert and compares what it read; one with a function calls it with the keys. No lock.
 * The function must leave heap and nodes alone. */
typedef struct ZutFHeap ZutFHeap;
/* A node outside any heap is linked to itself and has no child, parent, degree or mark. */
typedef struct ZutFHeapNode {
  struct ZutFHeapNode *left; /* siblings, in a ring */
  struct ZutFHeapNode *right;
  struct ZutFHeapNode *child;  /* one of them, or null */
  struct ZutFHeapNode *parent; /* null for a root */
  int32_t degree;              /* number of children */
  int32_t mark;                /* 1: has lost a child since it last became one */
  void *key;
  double known_key; /* the heap's: the key as it read it */
} ZutFHeapNode;
#define Z_FHEAP_DOUBLE 1
#define Z_FHEAP_INT 2
#define Z_FHEAP_UINT 3
#define Z_FHEAP_NODE_KEY 1
#define Z_FHEAP_NODE_MARK 2
#define Z_FHEAP_NODE_CHILD 3
#define Z_FHEAP_NODE_PARENT 4
#define Z_FHEAP_NODE_LEFT 5
#define Z_FHEAP_NODE_RIGHT 6
#define Z_FHEAP_NODE_DEGREE 7
/* Negative when `key_a` goes before `key_b`, positive when it goes after. */
typedef int32_t(Z_CALL *ZutFHeapCompareFunc)(const void *key_a, const void *key_b);
typedef int32_t(Z_CALL *ZutFHeapTraverseFunc)(ZutFHeap *heap, void *key, ZutWord argument);

/* A heap whose keys are doubles, int32_t or uint32_t (`compare` is Z_FHEAP_DOUBLE, Z_FHEAP_INT or
 * Z_FHEAP_UINT), or what a ZutFHeapCompareFunc, given as a word, compares. */
Z_EXPORT ZutFHeap *Z_CALL ZutFHeapCreate(ZutWord compare);
/* Leaves the nodes that are in the heap; they may then be inserted elsewhere or destroyed. */
Z_EXPORT int32_t Z_CALL ZutFHeapDestroy(ZutFHeap *heap);

/* A node for a key, which is kept, not copied. */
Z_EXPORT ZutFHeapNode *Z_CALL ZutFHeapNodeCreate(void *key);
/* Frees a node that is in no heap; the key stays the caller's. */
Z_EXPORT int32_t Z_CALL ZutFHeapNodeDestroy(ZutFHeapNode *node);

/* Stores a field of the node: mark and degree as int32_t, the others as pointers.
 * Errors   12 for an unknown attribute. */
Z_EXPORT int32_t Z_CALL ZutFHeapNodeGet(ZutFHeapNode *node, int32_t attribute, void *value_out);
/* The same for pairs of attribute and place, ended by 0. Fails after an unknown attribute, but
 * goes on to the next pair. */
Z_EXPORT int32_t Z_CALL ZutFHeapNodeVaGet(ZutFHeapNode *node, ...);

/* Points the node to another key; the attribute is Z_FHEAP_NODE_KEY. While the node is in a heap,
 * ZutFHeapDecreaseKey or ZutFHeapUpdateKey must follow.
 * Errors   7 for another attribute. */
Z_EXPORT int32_t Z_CALL ZutFHeapNodeSet(ZutFHeapNode *node, int32_t attribute, void *value);
/* The same for pairs of attribute and key, ended by 0, as ZutFHeapNodeVaGet. */
Z_EXPORT int32_t Z_CALL ZutFHeapNodeVaSet(ZutFHeapNode *node, ...);

/* Inserts a node that is in no heap. A key equal to that of the node on top does not replace it. */
Z_EXPORT int32_t Z_CALL ZutFHeapInsert(ZutFHeap *heap, ZutFHeapNode *node);

/* The node on top, left in place; null, without an error number, when the heap is empty. */
Z_EXPORT ZutFHeapNode *Z_CALL ZutFHeapTop(ZutFHeap *heap);
/* The node on top, taken out; null, without an error number, when the heap is empty. */
Z_EXPORT ZutFHeapNode *Z_CALL ZutFHeapDeleteMin(ZutFHeap *heap);

/* Takes out any node of the heap. Errors  8, here and below, for a node that is in no heap. */
Z_EXPORT int32_t Z_CALL ZutFHeapDeleteNode(ZutFHeap *heap, ZutFHeapNode *node);

/* For a node whose key was lowered. */
Z_EXPORT int32_t Z_CALL ZutFHeapDecreaseKey(ZutFHeap *heap, ZutFHeapNode *node);
/* For a node whose key was changed either way. For the node on top another one takes its place
 * whatever the key is now, unless it is alone: this one counts again when the next node is taken
 * off the top. For a lower key of the node on top use ZutFHeapDecreaseKey. */
Z_EXPORT int32_t Z_CALL ZutFHeapUpdateKey(ZutFHeap *heap, ZutFHeapNode *node);

/* Moves all nodes of `source` to `destination`, which compares them from then on. Constant time
 * unless the two heaps differ in kind. */
Z_EXPORT int32_t Z_CALL ZutFHeapMigrate(ZutFHeap *source, ZutFHeap *destination);
/* The number of nodes. */
Z_EXPORT int32_t Z_CALL ZutFHeapSize(ZutFHeap *heap);

/* Calls `function` with the key of every node, each before its children, from the node on top to
 * the right, until a result is not 0. At the end no error number is set. The function leaves the
 * heap alone. */
Z_EXPORT int32_t Z_CALL ZutFHeapTraverse(ZutFHeap *heap, ZutFHeapTraverseFunc function,
                                         ZutWord argument);

/* ---- Weighted graph (utgraph) ----
 * A directed graph of named vertices, its shortest paths from one vertex, and for each vertex the
 * first hop on the way to it. An undirected edge is a pair of edges that know each other. The graph
 * owns vertices and edges and hands out their records to be read; of their fields a program may
 * change `data` only. Names are the caller's: two vertices are the same when the pointers are, and
 * a name must stay as long as its vertex. No lock.
 *
 * Additions, look-ups and removals take constant time each, however many edges a vertex has;
 * removing a vertex takes one step for each of its edges, and after a computation one for each
 * vertex of the graph. Shortest paths of n vertices and m edges take m log n.
 *
 * Each addition and removal is announced to the graph's change callbacks. A notice of an addition
 * is the last step; one of a removal is sent when the vertex or edge is out of its lists, and the
 * record, except for prev and next, stays readable until the operation that the program called
 * returns. A callback may remove itself or other callbacks, add and remove any vertices and edges
 * (the one of the notice included), and compute paths. Each change sends notices of its own, at
 * once: the callbacks that follow get its notice before that of the change that came first. A
 * callback may not:
 *  - use a vertex or an edge that is out of the graph, or add an edge to a vertex whose removal
 *    has begun: error 8;
 *  - destroy the graph, or add to one that is being destroyed: error 32. */
typedef struct ZutGraph ZutGraph;
typedef struct ZutGraphEdge ZutGraphEdge;
typedef struct ZutGraphVertex {
  struct ZutGraphVertex *prev; /* all vertices, the newest first */
  struct ZutGraphVertex *next;
  const char *name;
  int32_t distance;                        /* from the origin; at most Z_GRAPH_INFINITE */
  int32_t perm;                            /* 1: the distance is final */
  struct ZutGraphVertex *path_predecessor; /* before it on the shortest path, or null */
  struct ZutGraphVertex *first_hop;        /* the first after the origin, or null */
  ZutGraphEdge *edges;                     /* to others, the newest first */
} ZutGraphVertex;
struct ZutGraphEdge {
  ZutGraphEdge *prev; /* all edges of `from` */
  ZutGraphEdge *next;
  ZutWord data;
  int32_t weight;
  ZutGraphVertex *to;
  ZutGraphVertex *from;
  ZutGraphEdge *reverse; /* the other edge of the pair, or null; stale when that one is removed */
};
#define Z_GRAPH_INFINITE 99999        /* the distance of what cannot be reached */
#define Z_CB_TYPE_GRAPH_CHANGE (-105) /* "srv_graph_change"; made by ZutGraphChangeCbCreate */
/* Call data of the change callbacks, whose owner is the graph: either a vertex or an edge, the
 * other is null. */
typedef struct ZutGraphChangeData {
  ZutCb *cb;
  int32_t added; /* 0: removed */
  ZutGraphVertex *vertex;
  ZutGraphEdge *edge;
} ZutGraphChangeData;

/* An empty graph. */
Z_EXPORT ZutGraph *Z_CALL ZutGraphCreate(void);

/* Removes every vertex, the newest first, and with each its edges; then the change callbacks.
 * Errors   32 in a callback of the graph. */
Z_EXPORT int32_t Z_CALL ZutGraphDestroy(ZutGraph *graph);

/* With flag 1, as at first, an edge is as long as its weight; with 0 its length is 1. What has been
 * computed stays. */
Z_EXPORT int32_t Z_CALL ZutGraphSetWeightedEdges(ZutGraph *graph, int32_t flag);
/* The flag of ZutGraphSetWeightedEdges. */
Z_EXPORT int32_t Z_CALL ZutGraphGetWeightedEdges(ZutGraph *graph, int32_t *out);

/* A new vertex; the name is kept, not copied.
 * Errors   6 when a vertex has that pointer; 8 when a callback has removed it again. */
Z_EXPORT ZutGraphVertex *Z_CALL ZutGraphVertexAdd(ZutGraph *graph, const char *name);

/* Removes a vertex: first its own edges, the newest first and each after the other of its pair;
 * then those that lead to it, of the newest vertex first. Errors  8. */
Z_EXPORT int32_t Z_CALL ZutGraphVertexRemove(ZutGraph *graph, ZutGraphVertex *vertex);

/* The vertex with that pointer; null, without an error number, when there is none. */
Z_EXPORT ZutGraphVertex *Z_CALL ZutGraphVertexLookup(ZutGraph *graph, const char *name);

/* A new edge. Weights should be 1 or more; see ZutGraphSetShortPath.
 * Errors   6 when there is one between the two; 8 for a vertex that is not in the graph, or when a
 *          callback has removed the edge again. */
Z_EXPORT ZutGraphEdge *Z_CALL ZutGraphEdgeAdd(ZutGraph *graph, ZutGraphVertex *from,
                                              ZutGraphVertex *to, ZutWord data, int32_t weight);

/* A pair of edges. Result  the one from a to b; without both of them none is left. Errors  as
 * above. */
Z_EXPORT ZutGraphEdge *Z_CALL ZutGraphEdgeUndirectedAdd(ZutGraph *graph, ZutGraphVertex *a,
                                                        ZutGraphVertex *b, ZutWord data_ab,
                                                        ZutWord data_ba, int32_t weight);

/* Removes one edge; the other one of a pair stays. Errors  8. */
Z_EXPORT int32_t Z_CALL ZutGraphEdgeRemove(ZutGraph *graph, ZutGraphEdge *edge);

/* Removes the other edge of the pair, then this one.
 * Errors   7 for an edge that has no other, or whose other is removed already; 8, also when a
 *          callback was faster. */
Z_EXPORT int32_t Z_CALL ZutGraphEdgeUndirectedRemove(ZutGraph *graph, ZutGraphEdge *edge);

/* The edge from one vertex to another; null, without an error number, when there is none. */
Z_EXPORT ZutGraphEdge *Z_CALL ZutGraphEdgeLookup(ZutGraph *graph, ZutGraphVertex *from,
                                                 ZutGraphVertex *to);

/* The newest edge of a vertex, null when it has none. The others follow by `next`. */
Z_EXPORT ZutGraphEdge *Z_CALL ZutGraphEdgeGetFirst(ZutGraphVertex *vertex);

/* Computes the shortest paths from `origin` to every vertex, into the fields distance, perm,
 * path_predecessor and first_hop. Among vertices that are equally far the oldest goes on first, and
 * of two paths of one length the one found first stays. A graph of one vertex has no paths:
 * result 1, nothing is computed.
 *   Vertices that are at distance 0, other than the origin, lead nowhere and never become final,
 * so a weight below 1 leads to paths that need not be the shortest. It does no other harm: the
 * computation always ends, sums stay within 32 bits, and a vertex whose predecessors do not lead
 * back to the origin has no first hop.
 * Errors   12 for an empty graph; 8 for a vertex that is not in it. */
Z_EXPORT int32_t Z_CALL ZutGraphSetShortPath(ZutGraph *graph, ZutGraphVertex *origin);

/* The first hop to a vertex, null for the origin and what cannot be reached.
 * Errors   12 when nothing was computed since the graph's last addition or removal. */
Z_EXPORT ZutGraphVertex *Z_CALL ZutGraphGetFirstHopVertex(ZutGraph *graph, ZutGraphVertex *vertex);

/* A callback for the graph's changes. */
Z_EXPORT ZutCb *Z_CALL ZutGraphChangeCbCreate(ZutGraph *graph, ZutCbFunc function,
                                              ZutWord argument);
/* The change callback with that function and argument.
 * Errors   8 when there is none. */
Z_EXPORT ZutCb *Z_CALL ZutGraphChangeCbLookup(ZutGraph *graph, ZutCbFunc function,
                                              ZutWord argument);

/* Prints the graph through `out`, the names as texts. */
Z_EXPORT int32_t Z_CALL ZutGraphDump(ZutGraph *graph, ZutPrintFunc out);

/* ---- Property lists (utprops) ----
 * Texts by name; case of ASCII letters in names is ignored. The list has copies of both. No lock.
 */
typedef struct ZutProperties ZutProperties;
/* One property, the list's own record. */
typedef struct ZutProperty {
  char *name;
  char *value;
} ZutProperty;
typedef int32_t(Z_CALL *ZutPropertiesFunc)(const char *name, ZutProperty *property,
                                           ZutWord argument);

/* An empty list. */
Z_EXPORT ZutProperties *Z_CALL ZutPropertiesCreate(void);

/* Sets a property in place of the one with that name; a null value removes it, result 1 also when
 * there was none. Name and value may be texts of the list itself. */
Z_EXPORT int32_t Z_CALL ZutPropertiesSet(ZutProperties *list, const char *name, const char *value);

/* The value, which the list's next change of that property frees; null, without an error number,
 * when there is none. */
Z_EXPORT const char *Z_CALL ZutPropertiesGet(ZutProperties *list, const char *name);
/* The same with `otherwise` in place of null. */
Z_EXPORT const char *Z_CALL ZutPropertiesGetDefault(ZutProperties *list, const char *name,
                                                    const char *otherwise);
/* The number of properties. */
Z_EXPORT int32_t Z_CALL ZutPropertiesGetCount(ZutProperties *list, int32_t *count);

/* Calls `function` for each property, in the order and under the rules of ZutHashTraverse: it may
 * set and remove any of them. */
Z_EXPORT int32_t Z_CALL ZutPropertiesTraverse(ZutProperties *list, ZutPropertiesFunc function,
                                              ZutWord argument);

/* Sets every property of the source in the destination, whose others stay. */
Z_EXPORT int32_t Z_CALL ZutPropertiesCopy(ZutProperties *source, ZutProperties *destination);

/* Removes every property. */
Z_EXPORT int32_t Z_CALL ZutPropertiesReset(ZutProperties *list);
/* The same, and the list is gone. Not inside a traversal of the list. */
Z_EXPORT int32_t Z_CALL ZutPropertiesDestroy(ZutProperties *list);

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
 * they hold from the next token scanned, that is, from the one after the look-ahead token. The
 * current character is the one before `read`, a NUL at the end of input. */
struct ZutLexer {
  int32_t token; /* kind of the look-ahead token */
  char *text;    /* its characters, NUL-terminated */
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
  int32_t character; /* -1 at end of input */
  const char *read;  /* the next character not yet read */
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
 * replaces what was there. An unknown option number ends the list, since it is unknown whether a
 * value follows.
 * Result   null with error 3 for a null file name, stream or string; null when the first token is
 *          wrong and the error function returned. A file that cannot be opened is fatal. */
Z_EXPORT ZutLexer *Z_CALL ZutLexCreate(int32_t option, ...);
/* Frees the lexer; a file that it opened is closed. */
Z_EXPORT int32_t Z_CALL ZutLexDestroy(ZutLexer *lexer);
/* Takes a token of one kind and keeps a string in string_value, a number in number_value and any
 * other text, cut at 63 characters and lower-cased, in id_value. As in all accept operations,
 * another look-ahead token is the lexer's error. */
Z_EXPORT void Z_CALL ZutLexAccept(ZutLexer *lexer, int32_t kind);
/* An identifier or a reserved word. */
Z_EXPORT void Z_CALL ZutLexAcceptId(ZutLexer *lexer);
/* An identifier, a reserved word or a pattern. */
Z_EXPORT void Z_CALL ZutLexAcceptPattern(ZutLexer *lexer);
/* The identifier true is 1, false 0. */
Z_EXPORT int32_t Z_CALL ZutLexAcceptBool(ZutLexer *lexer);
/* A number with an optional sign, into number_value. */
Z_EXPORT void Z_CALL ZutLexAcceptSignedReal(ZutLexer *lexer);
/* An integral number with an optional sign (2.0 is one), into number_value. */
Z_EXPORT void Z_CALL ZutLexAcceptSignedInt(ZutLexer *lexer);
/* An integral number without a sign, into number_value. */
Z_EXPORT void Z_CALL ZutLexAcceptUnsignedInt(ZutLexer *lexer);
/* A file name into string_value: a string constant as it is, else the tokens up to the next white
 * space, comment, "," or ";" joined as they were typed. A "$" with an identifier right after it is
 * replaced by the value of that environment variable, if it is set. */
Z_EXPORT void Z_CALL ZutLexAcceptFileName(ZutLexer *lexer);
/* A slot name into string_value: identifiers and dots, with a dot inside but at neither end. */
Z_EXPORT void Z_CALL ZutLexAcceptSlot(ZutLexer *lexer);
/* The same as ZutLexAcceptSlot. */
Z_EXPORT void Z_CALL ZutLexAcceptSlotOrAlias(ZutLexer *lexer);
/* {8-4-4-4-12} hexadecimal digits; string_value gets the whole text with its braces. */
Z_EXPORT void Z_CALL ZutLexAcceptGuidStr(ZutLexer *lexer);
/* Drops the look-ahead token and the rest of the line that it ends on. */
Z_EXPORT void Z_CALL ZutLexSkipToEoln(ZutLexer *lexer);
/* Drops white space and comments at the look-ahead token, where the lexer returns them as
 * tokens. */
Z_EXPORT void Z_CALL ZutLexGobbleWhitespace(ZutLexer *lexer);
/* Bytes of the input stream read so far; -1 when there is none or its position is unknown. */
Z_EXPORT int32_t Z_CALL ZutLexGetCurrentPositionInFile(ZutLexer *lexer);
/* The display name of a kind into `buffer`, which has room for 64 characters. The octet string has
 * a name that this operation does not know: its kind is an unknown token here. */
Z_EXPORT char *Z_CALL ZutLexTokenToString(int32_t kind, char *buffer);
/* Makes `name` (case does not count) a token kind of its own for every lexer.
 * Errors   4 for a value below 1; 6 for a word that is there already. */
Z_EXPORT int32_t Z_CALL ZutLexAddReservedWord(const char *name, int32_t value);
/* One line for each word. Result 0 when there never was one. `out` runs under the process mutex. */
Z_EXPORT int32_t Z_CALL ZutLexPrintReservedWords(ZutPrintFunc out);
/* A callback for each token that is accepted, before its value is kept, and for each run of white
 * space and each comment that is skipped. A null lexer: of every lexer. The callback must not
 * destroy the lexer that it is called for. */
Z_EXPORT ZutCb *Z_CALL ZutLexTokenCbCreate(ZutLexer *lexer, ZutCbFunc function, ZutWord argument);
/* The token callback with that function and argument. */
Z_EXPORT ZutCb *Z_CALL ZutLexTokenCbLookup(ZutLexer *lexer, ZutCbFunc function, ZutWord argument);
/* Raises an error from a parser. The lexer is gone afterwards. */
Z_EXPORT void Z_CALL ZutLexError(ZutLexer *lexer, const char *format, ...) Z_PRINTF(2, 3);
/* Replaces the function for lexers that have none of their own. The first one prints the message
 * and ends the program with the fatal report of file and line. */
Z_EXPORT void Z_CALL ZutLexSetUserErrorFunc(ZutLexUserErrorFunc function);
/* An error function: prints the message, the file and the line, destroys the lexer and jumps to
 * the jmp_buf given as the error argument, with the value Z_LEX_JUMP. */
Z_EXPORT void Z_CALL ZutLexLongjmpErrorFunc(ZutLexer *lexer, const char *format, va_list args,
                                            void *argument) Z_PRINTF(2, 0);
/* The same, printing nothing. */
Z_EXPORT void Z_CALL ZutLexQuietLongjmpErrorFunc(ZutLexer *lexer, const char *format, va_list args,
                                                 void *argument) Z_PRINTF(2, 0);

/* ---- Options (option) ----
 * Named, typed settings of the process. An option without a value is unknown. The table of all
 * options, with the library's standard set in it, is made by the first operation that needs it.
 * Names ignore case; three old names still work: application (project), datagroups (subjects) and
 * unique_datagroup (unique_subject).
 *
 * Setting an option: a read-only one refuses with error 28. The verify function, which still sees
 * the old value in the option, may refuse with an error number of its own (otherwise 17). Then the
 * value is replaced and the "option_change" callbacks are called, in the thread that sets. A
 * refused set changes nothing. Both kinds of functions may set the option again or destroy it: the
 * record stays until the outermost set has ended. A set whose verify function has destroyed the
 * option fails with error 8. If such a function leaves by a jump, what the set had in use is never
 * freed.
 *
 * A value belongs to its option: setters copy, getters hand out the inner pointer, which holds
 * until the option is set again. While callbacks run, the value of their call data stays valid even
 * if one of them sets the option again.
 *
 * Threads: table and records may be used from any thread; threads that set and read the same option
 * must agree on that among themselves. Traversals run under the process mutex; verify functions and
 * callbacks run without any lock of the library's own table. */
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
/* Called with a new value (as in the call data, null when the option becomes unknown) before it is
 * stored: 1 accepts, 0 refuses. A copy in a named table has the function of its option: one with
 * side effects leaves them out unless ZutOptionLookup of the name returns the same option. */
typedef int32_t(Z_CALL *ZutOptionVerifyFunc)(ZutOption *option, void *value, ZutWord argument);
typedef int32_t(Z_CALL *ZutOptionTraverseFunc)(const char *name, ZutOption *option,
                                               ZutWord argument);
typedef int32_t(Z_CALL *ZutOptionLegValFunc)(const char *key, const char *word, ZutWord argument);
/* A new option: unknown, not required, not read-only, not protected. The name is lower-cased.
 * Errors   7 for a type outside 0 to 6; 6 for a name that is taken. */
Z_EXPORT ZutOption *Z_CALL ZutOptionCreate(const char *name, int32_t type);
/* Removes an option from the table and frees it.
 * Errors   8 for an option that is not in the table (a member of a named table). */
Z_EXPORT int32_t Z_CALL ZutOptionDestroy(ZutOption *option);
/* The option of a name.
 * Errors   8 when there is none. */
Z_EXPORT ZutOption *Z_CALL ZutOptionLookup(const char *name);
/* All options by name, in an array that the caller frees. */
Z_EXPORT ZutOption **Z_CALL ZutOptionSort(int32_t *count);
/* Calls `function` with every option, the process mutex held. */
Z_EXPORT int32_t Z_CALL ZutOptionTraverse(ZutOptionTraverseFunc function, ZutWord argument);
/* The option's name, in lower case. */
Z_EXPORT const char *Z_CALL ZutOptionGetName(ZutOption *option);
/* The value of a boolean option. In this and the other typed getters and setters error 14 is an
 * option of another type, and 12 the reading of an unknown one. Two options are let through:
 * ...Enum works on unique_subject, a string, and ...EnumList on subjects, a string list. */
Z_EXPORT int32_t Z_CALL ZutOptionGetBool(ZutOption *option, int32_t *out);
/* The word of an enumerated option. */
Z_EXPORT int32_t Z_CALL ZutOptionGetEnum(ZutOption *option, const char **out);
/* The value of a numeric option. */
Z_EXPORT int32_t Z_CALL ZutOptionGetNum(ZutOption *option, double *out);
/* The text of a string option. */
Z_EXPORT int32_t Z_CALL ZutOptionGetStr(ZutOption *option, const char **out);
/* The list of an enumerated-list option. */
Z_EXPORT int32_t Z_CALL ZutOptionGetEnumList(ZutOption *option, const ZutStrList **out);
/* The list of a string-list option. */
Z_EXPORT int32_t Z_CALL ZutOptionGetStrList(ZutOption *option, const ZutStrList **out);
/* Errors   7 for a value other than 0 and 1. */
Z_EXPORT int32_t Z_CALL ZutOptionSetBool(ZutOption *option, int32_t value);
/* Errors   7 for a word that is not one of the option's legal values, if it has any. */
Z_EXPORT int32_t Z_CALL ZutOptionSetEnum(ZutOption *option, const char *word);
/* Sets a numeric option. */
Z_EXPORT int32_t Z_CALL ZutOptionSetNum(ZutOption *option, double value);
/* Sets a string option. */
Z_EXPORT int32_t Z_CALL ZutOptionSetStr(ZutOption *option, const char *text);
/* Sets an enumerated list; legal values are not looked at. */
Z_EXPORT int32_t Z_CALL ZutOptionSetEnumList(ZutOption *option, const ZutStrList *list);
/* Sets a string list. */
Z_EXPORT int32_t Z_CALL ZutOptionSetStrList(ZutOption *option, const ZutStrList *list);
/* Takes the value away.
 * Errors   13 for a required option. */
Z_EXPORT int32_t Z_CALL ZutOptionSetUnknown(ZutOption *option);
/* Has the option a value? */
Z_EXPORT int32_t Z_CALL ZutOptionGetKnown(ZutOption *option, int32_t *out);
/* With 1 the option cannot become unknown. */
Z_EXPORT int32_t Z_CALL ZutOptionSetRequired(ZutOption *option, int32_t flag);
/* Is the option required? */
Z_EXPORT int32_t Z_CALL ZutOptionGetRequired(ZutOption *option, int32_t *out);
/* With 1 every set is refused. */
Z_EXPORT int32_t Z_CALL ZutOptionSetReadOnly(ZutOption *option, int32_t flag);
/* Is the option read-only? */
Z_EXPORT int32_t Z_CALL ZutOptionGetReadOnly(ZutOption *option, int32_t *out);
/* With 1 the option is left out of the dump of all options. */
Z_EXPORT int32_t Z_CALL ZutOptionSetProtected(ZutOption *option, int32_t flag);
/* Is the option protected? */
Z_EXPORT int32_t Z_CALL ZutOptionGetProtected(ZutOption *option, int32_t *out);
/* Sets the verify function; null takes the check away. */
Z_EXPORT int32_t Z_CALL ZutOptionSetVerifyFunc(ZutOption *option, ZutOptionVerifyFunc function,
                                               ZutWord argument);
/* The value by name, in the representation of the call data. An unknown name prints a message. */
Z_EXPORT void *Z_CALL ZutOptionGetValue(const char *name);
/* Sets a value of that representation by name; legal values hold here too. An unknown name prints
 * a message.
 * Result   the stored value; null, with error 8, if a callback has destroyed the option. */
Z_EXPORT void *Z_CALL ZutOptionSet(const char *name, const void *value);
/* ZutOptionSetUnknown by name. An unknown name prints a message. */
Z_EXPORT int32_t Z_CALL ZutOptionUnset(const char *name);
/* 0.0 when there is no such numeric option (with a message) or its value is unknown. */
Z_EXPORT double Z_CALL ZutOptionGetNumValue(const char *name);
/* ZutOptionSetNum by name. An unknown name prints a message. */
Z_EXPORT int32_t Z_CALL ZutOptionSetNumValue(const char *name, double value);
/* A callback for the option's changes. A null option: for those of every option, copies in named
 * tables included. */
Z_EXPORT ZutCb *Z_CALL ZutOptionChangeCbCreate(ZutOption *option, ZutCbFunc function,
                                               ZutWord argument);
/* The change callback with that function and argument. */
Z_EXPORT ZutCb *Z_CALL ZutOptionChangeCbLookup(ZutOption *option, ZutCbFunc function,
                                               ZutWord argument);
/* A change callback that keeps an int32_t variable, whose address is the argument, equal to a
 * boolean option; 0 when the option becomes unknown. */
Z_EXPORT void Z_CALL ZutCbOptionCopyBool(void *option, void *call_data, ZutWord argument);
/* The same once more, so that one option can feed two variables. */
Z_EXPORT void Z_CALL ZutCbOptionCopyBool2(void *option, void *call_data, ZutWord argument);
/* A change callback that keeps an int32_t variable equal to a numeric option without its fraction,
 * kept within 32 bits; 0 when the option becomes unknown. */
Z_EXPORT void Z_CALL ZutCbOptionCopyInt4(void *option, void *call_data, ZutWord argument);
/* The same once more. */
Z_EXPORT void Z_CALL ZutCbOptionCopyInt42(void *option, void *call_data, ZutWord argument);
/* A verify function: 0 or more, else error 4. This and the next two accept an unknown value. */
Z_EXPORT int32_t Z_CALL ZutOptionVerifyNonNeg(ZutOption *option, void *value, ZutWord argument);
/* A verify function: an integer of 16 bits, else error 7. */
Z_EXPORT int32_t Z_CALL ZutOptionVerifyInt2(ZutOption *option, void *value, ZutWord argument);
/* A verify function: opens the file named by the value with ZutOpenFile, truncating it or, with a
 * leading "@", appending to it, and closes the file of the old value. Its argument is the log's
 * name for the message, a text's address, or 0 for the option's name. A copy in a named table takes
 * any name and opens no file. */
Z_EXPORT int32_t Z_CALL ZutOptionVerifyLogFile(ZutOption *option, void *value, ZutWord argument);
/* The name of a type; "bad type", with a message, for another number. */
Z_EXPORT const char *Z_CALL ZutOptionTypeToStr(int32_t type);

/* ---- Option values and named tables (optvalue) ----
 * How values are read from the command language and printed, the legal values of enumerated
 * options, the text of real numbers, and named tables: private copies of the whole option set, each
 * made by the first operation that names it. Setting a copy does not touch the global option, its
 * log file or the current time format, nor call its callbacks; it calls the verify function. Only
 * the legal values are shared. */
/* The value as text: UNKNOWN; TRUE or FALSE; a word; a number; strings in double quotes; lists
 * joined by ", ". The text is one buffer of the thread, overwritten by its next call. */
Z_EXPORT const char *Z_CALL ZutOptionValToStr(ZutOption *option);
/* Reads one value and sets the option. The word unknown makes it unknown. Wrong tokens are the
 * lexer's error; a value that the option refuses prints a message, result 0.
 * Errors   7 for a word that the option does not take; 14 for a type without values; those of the
 *          setters. */
Z_EXPORT int32_t Z_CALL ZutOptionParseValue(ZutOption *option, ZutLexer *lexer);
/* Reads [protect] TYPE [VALUE] and makes a required option of it. TYPE: boolean enum numeric string
 * enum_list numeric_list str_list. The values after enum, separated by ",", are its legal values,
 * the first is its value. When the value is wrong the option is not made. */
Z_EXPORT int32_t Z_CALL ZutOptionCreateFromLexer(const char *name, ZutLexer *lexer);
/* Adds a legal value to an enumerated option.
 * Errors   14 for an option that is not enumerated; 6 for a word that is there already in any
 *          case; 7 for the word unknown. */
Z_EXPORT int32_t Z_CALL ZutOptionLegValAdd(ZutOption *option, const char *word);
/* Calls `function` with each legal value, the process mutex held. */
Z_EXPORT int32_t Z_CALL ZutOptionLegValTraverse(ZutOption *option, ZutOptionLegValFunc function,
                                                ZutWord argument);
/* One line with name and value, or with a null name one for each option by name, without those
 * that begin with "_" or are protected. `out` runs under the process mutex.
 * Errors   8 for an option that is not there (after the line that says so). */
Z_EXPORT int32_t Z_CALL ZutOptionDump(const char *name, ZutPrintFunc out);
/* A number as the option real_number_format prints it. What follows its prefix OVERRIDE: is any
 * text with one conversion: e f g E G take the number, d i u x X o the number cut to an integer of
 * 32 bits, everything else is copied. Widths and precisions end at 255, the text at 319
 * characters; the decimal point is a point in every locale.
 * Result   a text in this operation's buffer. */
Z_EXPORT const char *Z_CALL ZutRealToStr(double value);
/* The same in the caller's buffer of Z_REAL_TEXT_SIZE bytes. */
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
 * the lexer up to the separator or the end. A problem prints a catalog message and ends the text,
 * never the caller. The result of the parse operations does not show it; ZutCommandGetFailures
 * does.
 *
 * Any thread may parse. No lock is held while a parse function runs, and one that finds bad
 * arguments leaves through ZutLexError: hold nothing then that has to be released. Parses and
 * sourced files nest 32 deep in a thread; a deeper one is refused with message 5402.
 *
 * A parse function may also jump to the program, as ZutErrReportParamsJmp does. The texts and files
 * that it was run by are abandoned, and closed by a later operation of this family in the thread.
 */
typedef void(Z_CALL *ZutCommandFunc)(ZutLexer *lexer);
/* Called for each failing command, as a rule before its message: the file being parsed (null
 * outside a file), the line in it, the command's name or "". */
typedef void(Z_CALL *ZutCommandFailureFunc)(const char *file, int32_t line, const char *command);

/* Registers a command. The name's pointer is kept, so the text must live as long as the command;
 * typed names arrive in lower case. Error 6 when the name is taken. */
Z_EXPORT ZutCommand *Z_CALL ZutCommandCreate(const char *name, ZutCommandFunc function);
/* Finds a command. "join_dg", "leave_dg" and "retrieve_dg" (in any case) are found as "subscribe",
 * "unsubscribe" and "retrieve". Null with error 8 when there is none. */
Z_EXPORT ZutCommand *Z_CALL ZutCommandLookup(const char *name);
/* Takes a command from the registry and frees it; a parse function may do so with its own. */
Z_EXPORT int32_t Z_CALL ZutCommandDestroy(ZutCommand *command);
/* Replaces the command's parse function. */
Z_EXPORT int32_t Z_CALL ZutCommandSetParseFunc(ZutCommand *command, ZutCommandFunc function);
/* Hidden commands (flag 1) are left out of the listing that "help" prints. */
Z_EXPORT int32_t Z_CALL ZutCommandSetHidden(ZutCommand *command, int32_t flag);
/* Prints the full help of a command from the help files. 0 when they know none. */
Z_EXPORT int32_t Z_CALL ZutCommandHelpPrint(const char *name);

/* Runs a text as the program's own: the built-in commands report nothing in the feedback mode
 * "interactive". */
Z_EXPORT int32_t Z_CALL ZutCommandParseStr(const char *text);
/* The same; with a control other than 0 the text came from outside the process: only commands that
 * the option enable_control_msgs lists are run, and that holds for what aliases expand to. */
Z_EXPORT int32_t Z_CALL ZutCommandParseStrInternal(const char *text, int32_t control);
/* Runs a text as typed by a person. */
Z_EXPORT int32_t Z_CALL ZutCommandParseTypedStr(const char *text);
/* The same. `control` is not used: a typed text is never checked. */
Z_EXPORT int32_t Z_CALL ZutCommandParseTypedStrInternal(const char *text, int32_t control);
/* Runs a file line by line, each line a text of its own. 0 when the file cannot be opened, or is
 * abandoned because it is not text; a line of more than 4095 characters, its end not counted, is
 * skipped and reported. A byte order mark of UTF-8 at the beginning is skipped. */
Z_EXPORT int32_t Z_CALL ZutCommandParseFile(const char *file_name);

/* Reads a program's start-up files: in the directory "standard" of the data directory and then in
 * HOME the first that exists of base.cm and base.cmd; then the command file: x.cm or else x.cmd,
 * whichever of the two is named. Others that exist too are named by message 5087 and not read.
 * `flags` is 0 or 1 and has no effect.
 * Result   0 with message 5070 and error 8 when there is no command file, unless it is base.cm. */
Z_EXPORT int32_t Z_CALL ZutCommandParseStd(const char *base_name, int32_t flags,
                                           const char *command_file);
/* The same; with must_exist 0 a missing command file is no failure. */
Z_EXPORT int32_t Z_CALL ZutCommandParseStd2(const char *base_name, int32_t flags,
                                            const char *command_file, int32_t must_exist);
/* ZutCommandParseStd for two base names and two command files, the second of each read after the
 * first; either may be null. */
Z_EXPORT int32_t Z_CALL ZutCommandParseStdInternal(const char *base_name, int32_t flags,
                                                   const char *command_file,
                                                   const char *second_base_name,
                                                   const char *second_file);

/* Prompts for lines on standard input and runs them as typed until the input ends; result 0.
 * "!!" runs the newest line of the history again, "!be" the newest that begins with "be". An
 * interrupt discards the line. A line of more than 4095 characters is not run. */
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
 * was not found. The count starts at 0. */
Z_EXPORT int32_t Z_CALL ZutCommandGetFailures(void);
/* Sets that count, which the library never sets back. */
Z_EXPORT int32_t Z_CALL ZutCommandSetFailures(int32_t count);
/* For parse functions: counts a failure and calls the failure function. Call it before printing the
 * message. Syntax errors are counted without it. */
Z_EXPORT void Z_CALL ZutCommandFailed(void);
/* The innermost file that this thread now parses, and the line in it, from 1. Outside a file null
 * and 0, result 0 with error 8. The name lives until the file's parse ends. */
Z_EXPORT int32_t Z_CALL ZutCommandGetPosition(const char **file, int32_t *line);
/* One function for the process; null for none. It is called without any lock held. */
Z_EXPORT void Z_CALL ZutCommandSetFailureFunc(ZutCommandFailureFunc function);
/* With 1 a thread in which a command has failed runs no further command of a text, a file or the
 * main loop until its count of failures is set back. 0, as at the start: it goes on. The library's
 * own defaults are set all the same. */
Z_EXPORT int32_t Z_CALL ZutCommandSetStopAtFailure(int32_t flag);

/* ---- Message catalogs (utcat) ----
 *
 * A catalog maps numbers to texts. They stand in a plain file, one a line:
 *   ORL-WL-05065-I Unknown command <%s>.
 * vendor, product, number, severity letter, text; the text keeps its line end. Lines that begin
 * with "#" and empty lines are skipped, a bad line is reported and skipped. Lines of more than 1023
 * characters are read in pieces.
 *
 * Catalogs that name the same file share what was read; it is read once and stays as it was while
 * any of them uses it. Names are compared without regard to case, except that two names which both
 * exist as different files are different. A file is opened with the process mutex held: a name on
 * a dead share stops every thread. A missing file is reported only when the option verbose is on.
 *
 * Threads: look-ups may run in any thread while another one points the catalog at another file.
 * Texts belong to the file they came from; copy what is kept beyond the next such change. */

/* One message. The first character of the text proper is at `display`, within `complete_str`,
 * which is the whole line. */
typedef struct ZutCatMsgKey {
  char *vendor;
  char *product;
  int32_t id;
  uint32_t severity; /* 0..6: the letters A N E W I V D */
  char *complete_id;
  char *display;
  char *complete_str;
} ZutCatMsgKey;
/* Texts with their identifier. The other flag bits are the caller's. */
#define Z_CAT_FLAG_ID 1u
/* A catalog of a file.
 * Result   a catalog with one reference, also when the file is null or cannot be read: it then has
 *          no file, and look-ups fail with error 3. */
Z_EXPORT ZutCatalog *Z_CALL ZutCatCreate(const char *filename);
/* One reference more. */
Z_EXPORT int32_t Z_CALL ZutCatAddref(ZutCatalog *catalog);
/* One reference fewer; the last destroys the catalog. */
Z_EXPORT int32_t Z_CALL ZutCatRelease(ZutCatalog *catalog);
/* Destroys it whatever the count of references. */
Z_EXPORT int32_t Z_CALL ZutCatDestroy(ZutCatalog *catalog);
/* Sets flags: Z_CAT_FLAG_ID and bits of the caller's own. */
Z_EXPORT int32_t Z_CALL ZutCatFlagSet(ZutCatalog *catalog, uint32_t bits);
/* Clears flags. */
Z_EXPORT int32_t Z_CALL ZutCatFlagClear(ZutCatalog *catalog, uint32_t bits);
/* The number of a severity letter; 0 without an error number for another letter. */
Z_EXPORT int32_t Z_CALL ZutCatSeverityStrToVal(char letter, uint32_t *value);
/* The record of a number. When there is none: 0, null in `out`, no error number, and a line on the
 * output that says so. */
Z_EXPORT int32_t Z_CALL ZutCatLookup(ZutCatalog *catalog, int32_t id, ZutCatMsgKey **out);
/* The text of a record as it is shown: with the identifier when the flag Z_CAT_FLAG_ID is set. */
Z_EXPORT int32_t Z_CALL ZutCatGetDisplayStr(ZutCatalog *catalog, ZutCatMsgKey *key,
                                            const char **out);
/* The same by number; results as ZutCatLookup. */
Z_EXPORT int32_t Z_CALL ZutCatGetStr(ZutCatalog *catalog, int32_t id, const char **out);
/* Points the catalog at another file. Null releases the file, whose texts can still be looked up
 * until the next change. */
Z_EXPORT int32_t Z_CALL ZutCatFilenameSet(ZutCatalog *catalog, const char *filename);
/* The name of the catalog's file. */
Z_EXPORT int32_t Z_CALL ZutCatFilenameGet(ZutCatalog *catalog, const char **out);
/* Makes the catalog's file follow a string option, whose value it takes over at once. Unbind
 * before the catalog is destroyed. */
Z_EXPORT int32_t Z_CALL ZutCatFilenameOptionBind(ZutCatalog *catalog, const char *option_name);
/* Ends that; 1 also when nothing is bound. */
Z_EXPORT int32_t Z_CALL ZutCatFilenameOptionUnbind(ZutCatalog *catalog, const char *option_name);
/* Makes the flags follow an enumerated-list option that may hold "id". */
Z_EXPORT int32_t Z_CALL ZutCatFlagsOptionBind(ZutCatalog *catalog, const char *option_name);
/* Ends that; 1 also when nothing is bound. */
Z_EXPORT int32_t Z_CALL ZutCatFlagsOptionUnbind(ZutCatalog *catalog, const char *option_name);
/* One reference more to a shared catalog file, which is read by the first. This is the file of a
 * catalog; ZutCatFile, of another family, copies a file to the output. A name of 256 characters or
 * more counts as unreadable.
 * Result   null WITH THE PROCESS MUTEX HELD when the file cannot be read: unlock it once.
 *          (ZutCatCreate and the others here do not.) */
Z_EXPORT ZutCatalogFile *Z_CALL ZutCatFileCreate(const char *filename);
/* One reference fewer to a shared catalog file. */
Z_EXPORT int32_t Z_CALL ZutCatFileDestroy(ZutCatalogFile *file);
/* Reads the file into its table; ZutCatFileCreate has done so. */
Z_EXPORT int32_t Z_CALL ZutCatFileLoad(ZutCatalogFile *file);

/* ---- Trace objects (uttrace) ----
 *
 * A named channel with a level and a file. A message is written when its level is not above the
 * object's and not 0, in one piece: time, prefix and level tag as the flags ask, then the text
 * as it stands; nothing adds a line end. Each message is flushed.
 *
 * When the option trace_file_size is above 0 and a file has reached it, the file is backed up
 * (ZutBackupFile) and truncated before the next message. If no backup can be made it goes on
 * growing; if the new file cannot be opened the backup does, under its new name. Either is reported
 * once, and the next try comes after as many bytes again.
 *
 * What cannot be written, on a full disk for instance, is lost: message 5421 says so once for each
 * object. When it can be written again the next message begins a new line, and a line in front of
 * it says how many messages and bytes the object lost there. Message 5422 says it of an object that
 * is destroyed before.
 *
 * Threads: writing, from any thread, and changes of level, flags and file are safe against one
 * another; lines never interleave, not even those of two objects. The life of an object, its prefix
 * and its catalog are its owner's business. Files are opened with the process mutex held, which a
 * dead network share keeps waiting. A pipe without a reader does not: it cannot be opened, and
 * standard output takes its place. Writing waits for a reader that does not read, and with it every
 * thread that prints; what is written after the reader has gone is lost. */

/* Levels: as an object's level, and as a message's. A message of level "always" is written by
 * every object, one of level "never" by none. A message of level "default" takes its level from
 * its severity in the catalog (ZutTraceCat). */
#define Z_TRACE_LEVEL_DEFAULT (-2)
#define Z_TRACE_LEVEL_ALWAYS (-1)
#define Z_TRACE_LEVEL_NEVER 0
#define Z_TRACE_LEVEL_ERROR 1
#define Z_TRACE_LEVEL_WARNING 2
#define Z_TRACE_LEVEL_INFO 3
#define Z_TRACE_LEVEL_INFO_1 4
#define Z_TRACE_LEVEL_INFO_2 5
#define Z_TRACE_LEVEL_VERBOSE 6
#define Z_TRACE_LEVEL_VERBOSE_1 7
#define Z_TRACE_LEVEL_VERBOSE_2 8
#define Z_TRACE_LEVEL_DEBUG 9
/* Time in the current time format; the prefix in braces; the level's name. */
#define Z_TRACE_FLAG_TIMESTAMP 1u
#define Z_TRACE_FLAG_PREFIX 2u
#define Z_TRACE_FLAG_LEVEL 4u
/* A trace object of level "warning". `file_name` is as for ZutTraceFileSet. Flags of 0 bind the
 * object to the option trace_flags. */
Z_EXPORT struct ZutTrace *Z_CALL ZutTraceCreate(const char *name, const char *file_name,
                                                uint32_t flags, const char *prefix);
/* The same with a catalog that follows the options catalog_file and catalog_flags. */
Z_EXPORT struct ZutTrace *Z_CALL ZutTraceCreateWithCatalog(const char *name, const char *file_name,
                                                           uint32_t flags, const char *prefix);
/* One reference more.
 * Result   `trace`. */
Z_EXPORT struct ZutTrace *Z_CALL ZutTraceAddref(struct ZutTrace *trace);
/* One reference fewer; the last destroys the object as ZutTraceDestroy. */
Z_EXPORT int32_t Z_CALL ZutTraceRelease(struct ZutTrace **trace);
/* Destroys the object at once and clears the variable. Options that the caller has bound must be
 * unbound first. */
Z_EXPORT int32_t Z_CALL ZutTraceDestroy(struct ZutTrace **trace);
/* The object takes a reference of its own; a catalog it had before is not released. */
Z_EXPORT int32_t Z_CALL ZutTraceCatalogBind(ZutCatalog *catalog, struct ZutTrace *trace);
/* Releases the object's catalog. */
Z_EXPORT int32_t Z_CALL ZutTraceCatalogUnbind(struct ZutTrace *trace);
/* Sets the level.
 * Errors   7 outside -2 to 9. */
Z_EXPORT int32_t Z_CALL ZutTraceLevelSet(struct ZutTrace *trace, int32_t level);
/* The object's level. */
Z_EXPORT int32_t Z_CALL ZutTraceLevelGet(struct ZutTrace *trace, int32_t *out);
/* Sets flags. */
Z_EXPORT int32_t Z_CALL ZutTraceFlagSet(struct ZutTrace *trace, uint32_t bits);
/* Clears flags. */
Z_EXPORT int32_t Z_CALL ZutTraceFlagClear(struct ZutTrace *trace, uint32_t bits);
/* Sets the prefix; null or "" for none. */
Z_EXPORT int32_t Z_CALL ZutTracePrefixSet(struct ZutTrace *trace, const char *prefix);
/* The prefix, null for none. */
Z_EXPORT int32_t Z_CALL ZutTracePrefixGet(struct ZutTrace *trace, const char **out);
/* "stdout", "stderr", or a file's name, which is shared with all that have it open through
 * ZutOpenFile in the same mode: truncated, or appended to when "@" stands before it. Null: nothing
 * is written. Standard output takes the place of a file that cannot be opened, with one warning per
 * process. */
Z_EXPORT int32_t Z_CALL ZutTraceFileSet(struct ZutTrace *trace, const char *file_name);
/* The number of a level's name; 0 without an error number for another name. */
Z_EXPORT int32_t Z_CALL ZutTraceLevelStrToVal(const char *text, int32_t *out);
/* The name of a level.
 * Errors   7 outside 0 to 9. */
Z_EXPORT int32_t Z_CALL ZutTraceLevelValToStr(int32_t level, const char **out);
/* The level of a message's severity; 10000, which no object admits, for another number. */
Z_EXPORT int32_t Z_CALL ZutTraceMapSeverityToTraceLevel(int32_t severity, int32_t *level);
/* Writes a message.
 * Result   1, also when the level admits nothing. */
Z_EXPORT int32_t Z_CALL ZutTrace(struct ZutTrace *trace, int32_t level, const char *format, ...)
    Z_PRINTF(3, 4);
/* The same with an argument list. */
Z_EXPORT int32_t Z_CALL ZutTraceVa(struct ZutTrace *trace, int32_t level, const char *format,
                                   va_list args) Z_PRINTF(3, 0);
/* The message of that number in the object's catalog; its text is examined as ZutOutCat does. 0
 * when there is no such message. */
Z_EXPORT int32_t Z_CALL ZutTraceCat(struct ZutTrace *trace, int32_t level, int32_t number, ...);
/* An enumerated option of the level names "never" to "debug". */
Z_EXPORT ZutOption *Z_CALL ZutTraceLevelOptionCreate(const char *option_name);
/* A string option for a file name. */
Z_EXPORT ZutOption *Z_CALL ZutTraceFileOptionCreate(const char *option_name);
/* An option for a list of "timestamp", "prefix" and "level" that begins as "prefix". */
Z_EXPORT ZutOption *Z_CALL ZutTraceFlagsOptionCreate(const char *option_name);
/* Makes the level follow an option, whose value it takes over at once. Here and below an option
 * that does not exist is no failure: nothing is bound. Binding twice is binding once. */
Z_EXPORT int32_t Z_CALL ZutTraceLevelOptionBind(struct ZutTrace *trace, const char *option_name);
/* Makes the file follow an option. */
Z_EXPORT int32_t Z_CALL ZutTraceFileOptionBind(struct ZutTrace *trace, const char *option_name);
/* Makes all flags follow an option (VNTIMESTAMPOUTPUT adds the time again). */
Z_EXPORT int32_t Z_CALL ZutTraceFlagsOptionBind(struct ZutTrace *trace, const char *option_name);
/* Ends what ZutTraceLevelOptionBind began. */
Z_EXPORT int32_t Z_CALL ZutTraceLevelOptionUnbind(struct ZutTrace *trace, const char *option_name);
/* Ends what ZutTraceFileOptionBind began. */
Z_EXPORT int32_t Z_CALL ZutTraceFileOptionUnbind(struct ZutTrace *trace, const char *option_name);
/* Ends what ZutTraceFlagsOptionBind began. */
Z_EXPORT int32_t Z_CALL ZutTraceFlagsOptionUnbind(struct ZutTrace *trace, const char *option_name);
/* The object's own option, named trace_level_ and the object's name, made and bound. */
Z_EXPORT ZutOption *Z_CALL ZutTraceLevelDefaultOptionCreate(struct ZutTrace *trace);
/* The same for trace_file_. */
Z_EXPORT ZutOption *Z_CALL ZutTraceFileDefaultOptionCreate(struct ZutTrace *trace);
/* The same for trace_flags_. It is bound as a file's name is, not as flags are: setting it does
 * not change the object's flags. */
Z_EXPORT ZutOption *Z_CALL ZutTraceFlagsDefaultOptionCreate(struct ZutTrace *trace);
/* The option trace_level_ of the object. */
Z_EXPORT ZutOption *Z_CALL ZutTraceLevelDefaultOptionLookup(struct ZutTrace *trace);
/* The option trace_file_ of the object. */
Z_EXPORT ZutOption *Z_CALL ZutTraceFileDefaultOptionLookup(struct ZutTrace *trace);
/* The option trace_flags_ of the object. */
Z_EXPORT ZutOption *Z_CALL ZutTraceFlagsDefaultOptionLookup(struct ZutTrace *trace);
/* Unbinds and destroys the object's option; 0 when there is none. */
Z_EXPORT int32_t Z_CALL ZutTraceLevelDefaultOptionDestroy(struct ZutTrace *trace);
/* The same for trace_file_. */
Z_EXPORT int32_t Z_CALL ZutTraceFileDefaultOptionDestroy(struct ZutTrace *trace);
/* The same for trace_flags_. */
Z_EXPORT int32_t Z_CALL ZutTraceFlagsDefaultOptionDestroy(struct ZutTrace *trace);

/* ---- Byte order and real-number formats (realformat) ----
 *
 * Integers and real numbers as the machines of a network store them, changed in the caller's buffer
 * from one form into another. No alignment is needed.
 *
 *   IEEE          4 or 8 bytes in either order: 1.0 is 3f 80 00 00 or 3f f0 00 00 00 00 00 00 when
 *                 the most significant byte comes first
 *   DEC F, D, G   4, 8 and 8 bytes, 16-bit words of little-endian bytes, the most significant word
 *                 first: 1.0 is 80 40 00 00; 80 40 and six zeros; 10 40 and six zeros
 *   IBM 370       4 or 8 bytes, most significant byte first: 1.0 is 41 10 00 00 and zeros */
#define Z_LITTLE_ENDIAN 0
#define Z_BIG_ENDIAN 1
#define Z_REAL_DEC_D 0
#define Z_REAL_DEC_G 1
#define Z_REAL_IEEE 2
#define Z_REAL_IBM_370 3
/* This machine's byte order. */
Z_EXPORT int32_t Z_CALL ZutGetIntFormat(void);
/* This machine's real-number format: Z_REAL_IEEE. */
Z_EXPORT int32_t Z_CALL ZutGetRealFormat(void);
/* "LITTLE_ENDIAN" or "BIG_ENDIAN"; for another number 0, without an error number. */
Z_EXPORT int32_t Z_CALL ZutIntFormatToStr(int32_t format, const char **out);
/* "DEC_D", "DEC_G", "IEEE" or "IBM_370"; for another number 0, without an error number. */
Z_EXPORT int32_t Z_CALL ZutRealFormatToStr(int32_t format, const char **out);
/* Reverses 2 bytes.
 * Result   `value`. */
Z_EXPORT void *Z_CALL ZutSwapTwoBytes(void *value);
/* Reverses 4 bytes. */
Z_EXPORT void *Z_CALL ZutSwapFourBytes(void *value);
/* Reverses 8 bytes. */
Z_EXPORT void *Z_CALL ZutSwapEightBytes(void *value);
/* Reverses 16 bytes. */
Z_EXPORT void *Z_CALL ZutSwapSixteenBytes(void *value);
/* The conversions. An IEEE side takes either byte order, a DEC side Z_LITTLE_ENDIAN only, an IBM
 * side Z_BIG_ENDIAN only; any other order is error 7, and nothing is changed then.
 *
 * A fraction that is too long loses its lowest bits; it is never rounded. Zero stays zero, IEEE
 * -0.0 becomes zero, and infinities, NaNs and denormal numbers are taken for ordinary numbers of
 * their exponent. An exponent that the new format cannot hold is replaced by the nearest that it
 * can, with a message, and the result is still 1:
 *   IBM to IEEE, 4 bytes      5116 (too small), 5117 (too large); never zero or infinite
 *   IEEE to D or G            5118 (too large)
 *   G to D                    5119 (too large)
 *   IEEE to IBM, 8 bytes      5120 (either way)
 * Not checked, and wrapping around: the largest two IEEE exponents to F (255 is infinity) and F
 * exponents below 2, which reach into the sign; small exponents to D, and G exponents below 2. A
 * D number with exponent 0 and a fraction gets the IEEE exponent 1150.
 * Between DEC and IBM the number goes through IEEE: what is said of both steps holds.
 *
 * IEEE to DEC F, 4 bytes. */
Z_EXPORT int32_t Z_CALL ZutSwapReal4IeeeToDecF(void *value, int32_t input_order,
                                               int32_t output_order);
/* DEC F to IEEE, 4 bytes. */
Z_EXPORT int32_t Z_CALL ZutSwapReal4DecFToIeee(void *value, int32_t input_order,
                                               int32_t output_order);
/* IEEE to IBM, 4 bytes. */
Z_EXPORT int32_t Z_CALL ZutSwapReal4IeeeToIbm370(void *value, int32_t input_order,
                                                 int32_t output_order);
/* IBM to IEEE, 4 bytes. */
Z_EXPORT int32_t Z_CALL ZutSwapReal4Ibm370ToIeee(void *value, int32_t input_order,
                                                 int32_t output_order);
/* DEC F to IBM, 4 bytes. */
Z_EXPORT int32_t Z_CALL ZutSwapReal4DecFToIbm370(void *value, int32_t input_order,
                                                 int32_t output_order);
/* IBM to DEC F, 4 bytes. */
Z_EXPORT int32_t Z_CALL ZutSwapReal4Ibm370ToDecF(void *value, int32_t input_order,
                                                 int32_t output_order);
/* IEEE to DEC D, 8 bytes. */
Z_EXPORT int32_t Z_CALL ZutSwapReal8IeeeToDecD(void *value, int32_t input_order,
                                               int32_t output_order);
/* IEEE to DEC G. */
Z_EXPORT int32_t Z_CALL ZutSwapReal8IeeeToDecG(void *value, int32_t input_order,
                                               int32_t output_order);
/* DEC D to IEEE. */
Z_EXPORT int32_t Z_CALL ZutSwapReal8DecDToIeee(void *value, int32_t input_order,
                                               int32_t output_order);
/* DEC D to DEC G. */
Z_EXPORT int32_t Z_CALL ZutSwapReal8DecDToDecG(void *value, int32_t input_order,
                                               int32_t output_order);
/* DEC G to IEEE. */
Z_EXPORT int32_t Z_CALL ZutSwapReal8DecGToIeee(void *value, int32_t input_order,
                                               int32_t output_order);
/* DEC G to DEC D. */
Z_EXPORT int32_t Z_CALL ZutSwapReal8DecGToDecD(void *value, int32_t input_order,
                                               int32_t output_order);
/* IEEE to IBM, 8 bytes. */
Z_EXPORT int32_t Z_CALL ZutSwapReal8IeeeToIbm370(void *value, int32_t input_order,
                                                 int32_t output_order);
/* IBM to IEEE. */
Z_EXPORT int32_t Z_CALL ZutSwapReal8Ibm370ToIeee(void *value, int32_t input_order,
                                                 int32_t output_order);
/* DEC D to IBM. */
Z_EXPORT int32_t Z_CALL ZutSwapReal8DecDToIbm370(void *value, int32_t input_order,
                                                 int32_t output_order);
/* IBM to DEC D. */
Z_EXPORT int32_t Z_CALL ZutSwapReal8Ibm370ToDecD(void *value, int32_t input_order,
                                                 int32_t output_order);
/* DEC G to IBM. */
Z_EXPORT int32_t Z_CALL ZutSwapReal8DecGToIbm370(void *value, int32_t input_order,
                                                 int32_t output_order);
/* IBM to DEC G. */
Z_EXPORT int32_t Z_CALL ZutSwapReal8Ibm370ToDecG(void *value, int32_t input_order,
                                                 int32_t output_order);

/* ---- UTF-8 and UCS-2 (utf8) ----
 *
 * Text as bytes in some character format, or as 16-bit units in this machine's byte order. UTF-8 is
 * limited to U+FFFF, three bytes a character; surrogates are characters like others. 16-bit text
 * may stand at any address. */
/* A character format is the number of its code page (see ZutSetCharFormat). These two have 16-bit
 * units; all others are bytes. */
#define Z_CHAR_FORMAT_UCS2 1200
#define Z_CHAR_FORMAT_UCS2_BIG_ENDIAN 1201
/* Makes a new text for the caller to free with ZutFree. */
Z_EXPORT int32_t Z_CALL ZutConvertUcs2ToUtf8(const uint16_t *text, char **out);
/* Makes a new array, as many units as `text` has bytes and one more, filled up with zeros, for the
 * caller to free with ZutFree.
 * Result   0 without an error number when `text` is no such UTF-8 (cut short, a stray byte, more
 *          than three bytes, a form longer than need be); the array then holds what stands before
 *          the fault. */
Z_EXPORT int32_t Z_CALL ZutConvertUtf8ToUcs2(const char *text, uint16_t **out);
/* The size of a text in bytes without its terminator (one byte, or two in a two-byte format). */
Z_EXPORT int32_t Z_CALL ZutStrLenByte(const void *text, int32_t format);
/* The same as ZutStrLenByte. */
Z_EXPORT int32_t Z_CALL ZutTextGetSize(const void *text, int32_t format);
/* Copies a text with its terminator, to where there is room. Result  `destination`. */
Z_EXPORT void *Z_CALL ZutStrCpy(void *destination, const void *text, int32_t format);

/* ---- Clocks (clock) ----
 * There are three clocks: the wall time, which is the system's clock in milliseconds and can be
 * frozen by a test; the current time, which only the program sets, for example to a simulated time;
 * and the system's clock as a text. A pair of seconds and microseconds is set when neither field is
 * negative; seconds beyond 2038 stay at the largest number that a pair holds. Reading takes no
 * lock. */
/* Call data of the "time_change" callbacks. */
typedef struct ZutTimeChangeData {
  ZutCb *cb;
  ZutTimePair time;
} ZutTimeChangeData;

/* The wall time, or the test time while that is in force. */
Z_EXPORT double Z_CALL ZutGetWallTime(void);
/* The wall time as a pair. */
Z_EXPORT int32_t Z_CALL ZutGetWallTimeStruct(ZutTimePair *out);

/* Freezes the wall clock at `time`; a pair with a field of -1 lets it run again. */
Z_EXPORT int32_t Z_CALL ZutSetTestWallTimeStruct(const ZutTimePair *time);

/* The system's clock (never the test time) in local time, such as "Wed Jan 02 02:03:55 1980". */
Z_EXPORT const char *Z_CALL ZutGetWallTimeStr(void);

/* The current time, 0.0 until it is set. */
Z_EXPORT double Z_CALL ZutGetCurrentTime(void);
/* The current time as a pair.
 * Errors   4 until it is set. */
Z_EXPORT int32_t Z_CALL ZutGetCurrentTimeStruct(ZutTimePair *out);

/* Sets the current time, then calls the "time_change" callbacks on this thread, without a lock.
 * Errors   4 for a negative number or NaN. */
Z_EXPORT int32_t Z_CALL ZutSetCurrentTime(double time);
/* The same with a pair.
 * Errors   4 for a pair that is not set. */
Z_EXPORT int32_t Z_CALL ZutSetCurrentTimeStruct(const ZutTimePair *time);

/* A callback for every change of the current time; the call data are a ZutTimeChangeData. It is a
 * global one: its owner is null. */
Z_EXPORT ZutCb *Z_CALL ZutTimeChangeCbCreate(ZutCbFunc function, ZutWord argument);
/* The callback with that function and argument. Before the first is made, null without an error
 * number. */
Z_EXPORT ZutCb *Z_CALL ZutTimeChangeCbLookup(ZutCbFunc function, ZutWord argument);

/* How many times `b` goes into `a`, cut towards zero and kept within 32 bits; 0 by 0 is 0. */
Z_EXPORT int32_t Z_CALL ZutTimeRatio(const ZutTimePair *a, const ZutTimePair *b);

/* `n` times a pair, kept within 32 bits; `out` may be `time`. A million microseconds or more are
 * carried into the seconds, negative microseconds stay as they are. */
Z_EXPORT int32_t Z_CALL ZutTimeMultInt(ZutTimePair *out, const ZutTimePair *time, int32_t n);

/* ---- Time converters (timecvt) ----
 * A time converter is a named pair of functions, time to text and text to time. One of them is the
 * current converter, at first "hms": it makes the stamps of all output. Names ignore case.
 *
 *   full      local: Wed Jan 02 02:03:55.123 1980; the fraction in the printf format of the
 *             environment variable VNFULLFORMAT ("%.3f" when unset), cut at 15 characters
 *   hms       local: 02:03:55; read as today's, today being that of the current time, or of the
 *             system's clock while that is 0
 *   numeric   seconds, in the format of the option real_number_format, cut at 39 characters
 *   http      UTC: Wed, 02 Jan 1980 02:03:55 GMT
 *   smtp      UTC: Wednesday, 02-Jan-80 02:03:55 GMT
 *   asctime   UTC: Wed Jan  2 02:03:55 1980, with two blanks before every day; in December one
 *             blank and two digits
 *
 * Each of the last three reads what any of them prints, as LOCAL time whatever the text says, with
 * years 70 to 99 and 1970 to 2020. Daylight-saving time is in force in what "hms" and these read
 * when it is at the current time. White space and the comments of the command language may stand
 * between the parts of a text. For what cannot be read the result is 0 with a message that names
 * the bad part, and no error number. Times before 1970 or after 9999 have no text: it is "error",
 * the result 0. The zone is that of the environment variable TZ or of the system. ZutPutenv changes
 * it at once; a program that sets TZ by other means calls tzset as well. */
/* Store a text or a time and return 1, or 0 when there is none. The current converter's functions
 * are called with the process mutex held. A text stays the converter's own. */
typedef int32_t(Z_CALL *ZutTimeNumToStrFunc)(double time, const char **text);
typedef int32_t(Z_CALL *ZutTimeStrToNumFunc)(const char *text, double *time);
typedef void(Z_CALL *ZutTimeDestroyFunc)(void);
typedef int32_t(Z_CALL *ZutTimeCvtTraverseFunc)(const char *name, ZutTimeCvt *converter,
                                                ZutWord argument);
/* Room for every text of a built-in converter. */
#define Z_TIME_TEXT_SIZE 40

/* Registers a converter. `destroy` (may be null) is called when it is destroyed.
 * Result   null, without an error number, when there is one of that name. */
Z_EXPORT ZutTimeCvt *Z_CALL ZutTimeCvtCreate(const char *name, ZutTimeNumToStrFunc num_to_str,
                                             ZutTimeStrToNumFunc str_to_num,
                                             ZutTimeDestroyFunc destroy);
/* The converter of a name. */
Z_EXPORT ZutTimeCvt *Z_CALL ZutTimeCvtLookup(const char *name);

/* Removes a converter, a built-in one as well. If it is the current one, "hms" takes its place. */
Z_EXPORT int32_t Z_CALL ZutTimeCvtDestroy(ZutTimeCvt *converter);

/* Visits every converter, names in lower case, with the process mutex held. */
Z_EXPORT int32_t Z_CALL ZutTimeCvtTraverse(ZutTimeCvtTraverseFunc function, ZutWord argument);

/* Calls one converter's function, without a lock and without a check of the arguments. */
Z_EXPORT int32_t Z_CALL ZutTimeCvtNumToStr(ZutTimeCvt *converter, double time, const char **out);
/* The same for its other function. */
Z_EXPORT int32_t Z_CALL ZutTimeCvtStrToNum(ZutTimeCvt *converter, const char *text, double *out);

/* Makes a converter the current one; not checked. The option time_format does the same by name. */
Z_EXPORT int32_t Z_CALL ZutTimeCvtSetCurrent(ZutTimeCvt *converter);

/* A time's text by the current converter; "<UNKNOWN>" for a time without one. */
Z_EXPORT const char *Z_CALL ZutTimeNumToStr(double time);
/* Reads a time with the current converter. */
Z_EXPORT int32_t Z_CALL ZutTimeStrToNum(const char *text, double *out);

/* Copies the current converter's text into `buffer`, which is the result. Z_TIME_TEXT_SIZE bytes
 * hold every built-in text; a converter of the program's own needs room for the longest of its
 * texts. */
Z_EXPORT char *Z_CALL ZutTimeToString(double time, char *buffer);

/* ---- Threads and thread-specific data (utthread) ---- */
/* Threads by value: created threads and adopted ones (the main thread and threads of other code)
 * have one, the same for life, 0 for none. On Windows it is the thread's handle. Every created
 * thread is waited for or detached, once; after that its value means nothing. Adopted threads
 * belong to the library: a thread of its own looks once a minute for one that has ended and closes
 * its value, unless that was waited for.
 *
 * Thread-specific data: a key holds one value per thread, null at first. Destructors run when a
 * thread ends by ZutThreadExit or by returning from the function it was created with. */
typedef ZutWord ZutThreadId;
typedef uint32_t ZutTsdKey;
#define Z_TSD_KEY_INVALID 0xFFFFFFFFu
#define Z_THREAD_ATTR_NAMED 1
typedef ZutWord(Z_CALL *ZutThreadFunc)(ZutWord argument);
typedef void(Z_CALL *ZutTsdDestroyFunc)(void *value);
/* Calls ZutInitThreads and starts a thread that runs function(argument); what it returns is the
 * thread's exit code. Attributes are pairs of a kind (int32_t) and a string, ended by a kind of 0,
 * which is needed without pairs too; the only kind is Z_THREAD_ATTR_NAMED, the only name
 * "thread_bounded", which changes nothing. The first kind is always read. What follows it is read
 * while the option _thread_create_check_varargs is on; otherwise it is left alone, with message
 * 5363.
 * Result   the thread, or 0.
 * Errors   3 for a null function; 7 for another kind while the option is on; 2 when the system
 *          refuses. */
Z_EXPORT ZutThreadId Z_CALL ZutThreadCreate(ZutThreadFunc function, ZutWord argument, ...);
/* ZutThreadCreate with an argument list; does not call ZutInitThreads. */
Z_EXPORT ZutThreadId Z_CALL ZutThreadCreateVa(ZutThreadFunc function, ZutWord argument,
                                              va_list attributes);
/* The calling thread's value; adopts a thread that the library does not know yet.
 * Result   0 without an error before ZutInitThreads; 0 with error 2 when the system refuses. */
Z_EXPORT ZutThreadId Z_CALL ZutThreadSelf(void);
/* Do two values mean the same thread? */
Z_EXPORT int32_t Z_CALL ZutThreadEqual(ZutThreadId a, ZutThreadId b);
/* Ends the calling thread. Calls every key's destructor, oldest key first, once, with the thread's
 * value even if that is null; the value is cleared before. They run while the process mutex is
 * held: none may wait for a thread that needs it, nor end the thread. A destructor may create and
 * destroy keys; that of a key created by a destructor is not called. ZutThreadSelf, the error
 * number and the result buffers work in destructors. On Linux the thread's stack is unwound: no
 * function on it may be noexcept. */
Z_EXPORT void Z_CALL ZutThreadExit(ZutWord code);
/* Waits until a created or adopted thread has ended, then closes its value. `code_out` may be null;
 * the exit code has 32 bits on Windows, and is 0 for adopted threads that ended by other means than
 * ZutThreadExit on Linux. A thread that waits for itself waits for ever.
 * Errors   2 for a value that is no thread (any more). */
Z_EXPORT int32_t Z_CALL ZutThreadWait(ZutThreadId thread, ZutWord *code_out);
/* Closes the value of a created thread, which runs on. An adopted thread's value stays the
 * library's. Result 1. */
Z_EXPORT int32_t Z_CALL ZutThreadDetach(ZutThreadId thread);
/* The value that is no thread: 0. */
Z_EXPORT ZutThreadId Z_CALL ZutThreadPosixGetInvalid(void);
/* Creates a key. Null as destructor is none.
 * Result   0 without an error when the system's keys (Linux 1024, Windows 1088) are used up. */
Z_EXPORT int32_t Z_CALL ZutTsdKeyCreate(ZutTsdKey *key_out, ZutTsdDestroyFunc destructor);
/* Frees a key without calling its destructor for any thread's value.
 * Errors   7 for the invalid key; none when the system does not know the key. */
Z_EXPORT int32_t Z_CALL ZutTsdKeyDestroy(ZutTsdKey key);
/* The calling thread's value of a key.
 * Result   0, and no error, for a null value.
 * Errors   7 for the invalid key. */
Z_EXPORT int32_t Z_CALL ZutTsdGetValue(ZutTsdKey key, void **value_out);
/* Sets the calling thread's value.
 * Errors   7 for the invalid key. */
Z_EXPORT int32_t Z_CALL ZutTsdSetValue(ZutTsdKey key, void *value);
/* The library's own block of the calling thread. Its first two 32-bit words are the command
 * interpreter's state and the thread's error number; the rest is not for callers. It is freed when
 * the thread ends, however it ends. */
Z_EXPORT void *Z_CALL ZutGetLibTsdValue(void);
/* Ends the thread that looks after adopted threads, for good; takes half a second.
 * Result   that of waking it: 0 with error 7 when it never ran. */
Z_EXPORT int32_t Z_CALL ZutEndImportThreadCheckerThread(void);

/* ---- Mutexes, conditions, spinlocks (utlock) ---- */
/* Fast mutexes serve one process and are made for speed; kernel mutexes are the system's own.
 * Either may be locked again by its holder, one unlock each. `owner` 1: the caller holds the new
 * mutex. A null mutex, condition or spinlock is error 7 here, and so are an owner other than 0 and
 * 1 and a timeout that is not a number or below 0 other than -1.0.
 *
 * ZutMutexCreate makes a kernel mutex (errors 2), the other two a fast one. */
Z_EXPORT ZutMutex *Z_CALL ZutMutexCreate(int32_t owner);
/* A fast mutex. */
Z_EXPORT ZutMutex *Z_CALL ZutMutexCreateFast(int32_t owner);
/* The same as ZutMutexCreateFast. */
Z_EXPORT ZutMutex *Z_CALL ZutMutexCreateEx(int32_t owner);
/* Frees a mutex that is not in use.
 * Errors   2 for a kernel mutex that the system refuses to close, as Linux does with one that
 *          another thread holds: nothing is freed then, and the holder may unlock it. */
Z_EXPORT int32_t Z_CALL ZutMutexDestroy(ZutMutex *mutex);
/* Takes `mutex`, waiting at most `timeout` seconds (kernel: whole milliseconds). An abandoned
 * kernel mutex, whose holder has ended, counts as free, a fast one does not.
 * Errors   9 on time-out, except that a fast mutex which has waited sets none: test the result;
 *          2 when the system refuses.
 * Threads  any. Timed fast locks poll ten times a second. */
Z_EXPORT int32_t Z_CALL ZutMutexLock(ZutMutex *mutex, double timeout);
/* Gives one lock back.
 * Errors   a thread that does not hold the mutex changes nothing: 2 for a kernel mutex, 7 for a
 *          fast one. */
Z_EXPORT int32_t Z_CALL ZutMutexUnlock(ZutMutex *mutex);
/* A mutex that other processes find by its name. The result is the system's own object, not a
 * ZutMutex: a HANDLE on Windows; on Linux a pthread_mutex_t *, recursive and robust, to be used
 * with the pthread calls (mind EOWNERDEAD), for processes of the same user. It lives as long as a
 * process that created or attached it, however that ends; on Linux a process keeps it to its end.
 * It is created, never opened.
 * Errors   3 for a null name; 2, with the system's "already exists" (183; on Linux EEXIST) when
 *          the name is taken, on Linux with ENOSPC when its shared memory is full. */
Z_EXPORT void *Z_CALL ZutMutexCreateNamedNp(const char *name, int32_t owner);
/* The same, opened and never created.
 * Errors   3 for a null name; 2 when there is none. */
Z_EXPORT void *Z_CALL ZutMutexAttachNamedNp(const char *name);
/* A condition of this process. */
Z_EXPORT ZutCond *Z_CALL ZutCondCreate(void);
/* A condition that is shared between processes, like named mutexes and under the same names.
 * Errors   3 for a null name; 2 as for named mutexes. */
Z_EXPORT ZutCond *Z_CALL ZutCondCreateNamedNp(const char *name);
/* The same, opened and never created. */
Z_EXPORT ZutCond *Z_CALL ZutCondAttachNamedNp(const char *name);
/* Frees a condition, on which no thread may begin to wait any more. Threads that the last wake has
 * released may still be leaving; a name is free when the last of them has left. */
Z_EXPORT int32_t Z_CALL ZutCondDestroy(ZutCond *cond);
/* Releases every thread that waits at this moment. A wake before a wait is not seen by it: test the
 * predicate under the mutex before waiting and again after. */
Z_EXPORT int32_t Z_CALL ZutCondWakeAll(ZutCond *cond);
/* Releases `mutex`, which the caller holds once, and waits for a wake, at most `timeout` seconds
 * (whole milliseconds); then takes the mutex again, however long that takes.
 * Errors   7 also for a timeout of 0.0, and for a fast mutex that the caller does not hold; 9 on
 *          time-out; 2 when the system refuses, and only then is the mutex not held on return.
 * Windows  of a named condition a thread may miss a wake when another thread begins to wait at the
 *          same moment: wait with a timeout there. */
Z_EXPORT int32_t Z_CALL ZutCondWait(ZutCond *cond, ZutMutex *mutex, double timeout);
/* A spinlock: a thread that waits keeps its processor busy, without end. Not for its holder to
 * take again; for sections of a few instructions. */
Z_EXPORT ZutSpinlock *Z_CALL ZutSpinlockCreate(int32_t owner);
/* Takes the lock. */
Z_EXPORT int32_t Z_CALL ZutSpinlockLock(ZutSpinlock *lock);
/* Gives it back. */
Z_EXPORT int32_t Z_CALL ZutSpinlockUnlock(ZutSpinlock *lock);
/* Frees a lock that is not in use. */
Z_EXPORT int32_t Z_CALL ZutSpinlockDestroy(ZutSpinlock *lock);

/* ---- Reader-writer mutex (rwmutex) ---- */
/* Many threads read, or one writes. Who reads may read again, even while writers wait; who writes
 * may read or write again; each lock needs one unlock. Waiting writers go before new readers, and
 * waiting upgrades before writers. Only holders are tracked: do not wait for another thread while
 * you hold one, nor for a second lock of this kind that is held by a thread that may wait for
 * yours: two threads that each read what the other wants to write wait for ever.
 *
 * The read quota is the number of threads expected to read at once, 1 to 32. It grows when there
 * are more. `owner` 1: the caller writes at once. A null mutex is error 7; so are an owner or quota
 * out of range. */
Z_EXPORT ZutRwMutex *Z_CALL ZutRwMutexCreate(int32_t owner, int32_t quota);
/* Frees it without waiting for holders: there must be none but the caller. */
Z_EXPORT int32_t Z_CALL ZutRwMutexDestroy(ZutRwMutex *mutex);
/* The read quota. */
Z_EXPORT int32_t Z_CALL ZutRwMutexGetReadQuota(ZutRwMutex *mutex, int32_t *quota_out);
/* Waits until it may write, and must not be called while reading. */
Z_EXPORT int32_t Z_CALL ZutRwMutexSetReadQuota(ZutRwMutex *mutex, int32_t quota);
/* Takes a lock to read, waiting for ever. */
Z_EXPORT int32_t Z_CALL ZutRwMutexReadLock(ZutRwMutex *mutex);
/* Takes a lock to write, waiting for ever. A reader waits as in an upgrade, and has afterwards as
 * many locks as it had plus one. */
Z_EXPORT int32_t Z_CALL ZutRwMutexWriteLock(ZutRwMutex *mutex);
/* Gives the caller's latest lock back.
 * Errors   7 when the caller holds none; nothing changes. */
Z_EXPORT int32_t Z_CALL ZutRwMutexUnlock(ZutRwMutex *mutex);
/* Makes the caller's read locks as many write locks: at once when no other thread reads, otherwise
 * when the others have left. While it waits its read locks do not hold others back: another
 * reader's upgrade may write before it, so look again at what was read. Each wait in between gets
 * the whole timeout again. 1 without change when no thread reads.
 * Errors   4 for a timeout below 0 other than -1.0 or not a number; 9 on time-out, at once for 0.0:
 *          the caller still reads; 7 when others read and the caller does not. */
Z_EXPORT int32_t Z_CALL ZutRwMutexUpgradeLock(ZutRwMutex *mutex, double timeout);
/* Does the calling thread read or write it? */
Z_EXPORT int32_t Z_CALL ZutRwMutexReadLocked(ZutRwMutex *mutex);
/* Does the calling thread write it? */
Z_EXPORT int32_t Z_CALL ZutRwMutexWriteLocked(ZutRwMutex *mutex);

/* ---- Interrupt counter (interrupt) ---- */
/* SIGINT (Ctrl-C) raises a counter instead of ending the program; what takes long reads it. A
 * count above the limit, 5 or what VN_INTERRUPT_MAX says, ends the process by abort.
 *
 * Reads VN_INTERRUPT_MAX and installs the handler. On Linux a signal also interrupts a read that
 * waits, with EINTR. Errors 1, with message 5130, when the system refuses. */
Z_EXPORT int32_t Z_CALL ZutInterruptInit(void);
/* The counter. Any thread and any signal handler may use it. */
Z_EXPORT int32_t Z_CALL ZutInterruptGet(void);
/* Sets the counter.
 * Result   `value`. */
Z_EXPORT int32_t Z_CALL ZutInterruptSet(int32_t value);
/* Adds one.
 * Result   the new count. */
Z_EXPORT int32_t Z_CALL ZutInterruptIncr(void);
/* Sets the counter to 0.
 * Result   0. */
Z_EXPORT int32_t Z_CALL ZutInterruptReset(void);
/* The handler, for programs that install it themselves. It waits for no lock, allocates nothing
 * and keeps errno. */
Z_EXPORT void ZutSigintHandler(int signal_number);

/* ---- Files (file) ----
 * Names, single files, and the table of open files, in which all openers of one name share one
 * stream. Library-built names have the platform's separator ("\" on Windows, "/" elsewhere); in a
 * name that is examined both separate. The table compares names without regard to case; where the
 * file system keeps two files whose names differ in case only, they are two.
 *
 * "Error 1" means that errno holds the reason (ZutErrNumGetC). A directory is not opened, an open
 * does not wait for the other end of a pipe, and streams are not handed down to child processes. */
/* One open file, handed to traversals. */
typedef struct ZutFileNode {
  ZutDqNode links;
  char *fname;
  char *mode;
  FILE *stream;
  int32_t ref_count;     /* opens not yet closed */
  int32_t bytes_written; /* counted by trace objects */
} ZutFileNode;

/* Hooks and traversals run with the process mutex held. */
typedef FILE *(Z_CALL *ZutFileOpenFunc)(const char *name, const char *mode);
typedef int32_t(Z_CALL *ZutFileCloseFunc)(FILE *stream);
typedef int32_t(Z_CALL *ZutFileTraverseFunc)(ZutFileNode *node, ZutWord argument);

/* Joins a name in `out`, which needs room for all parts, a separator and the end. The separator is
 * left out where the directory ends with one, is empty or null; a null extension is none. `out`
 * may be the directory's own buffer. Use ZutBuildFileNameSized for names that are not one's own.
 * Result   `out`. */
Z_EXPORT char *Z_CALL ZutBuildFileName(char *out, const char *directory, const char *base,
                                       const char *extension);
/* The same for a directory's name; neither may be null. */
Z_EXPORT char *Z_CALL ZutBuildDirName(char *out, const char *directory, const char *subdirectory);

/* Joins a name in the `size` bytes of `out`, also a directory's (without an extension).
 * Errors   5, with an empty text in `out`, for a name that does not fit; 4 for a size below 1. */
Z_EXPORT int32_t Z_CALL ZutBuildFileNameSized(char *out, int32_t size, const char *directory,
                                              const char *base, const char *extension);

/* A base name that the file system takes: the name itself when it is short (255 characters, or the
 * number in the environment variable VN_MAX_BASE_NAME) and of printable ASCII characters without
 * separators; else its hash, eight hexadecimal digits. A file in `directory` named by the hash with
 * the extension ".nam" holds the lower-cased name; with `create` 1 it is made when it is missing.
 * Threads and processes that ask for one name at once get one base.
 * Result   the caller frees *base_out with ZutFree; null when the result is 0.
 * Errors   1 for a name file that cannot be opened or made, 24 for an empty one. */
Z_EXPORT int32_t Z_CALL ZutBuildBaseName(const char *directory, const char *name, char **base_out,
                                         int32_t create);

/* Does the name end with the extension, ignoring case? */
Z_EXPORT int32_t Z_CALL ZutHasExtension(const char *name, const char *extension);

/* Is there a file or directory of that name?
 * Errors   1 when not. */
Z_EXPORT int32_t Z_CALL ZutFileExists(const char *name);
/* May it be written?
 * Errors   1 when not. */
Z_EXPORT int32_t Z_CALL ZutFileWritable(const char *name);

/* Result   0 when deleted, -1 with error 1 (3 for null) when not. */
Z_EXPORT int32_t Z_CALL ZutDeleteFile(const char *name);

/* Not available on these platforms: -1. */
Z_EXPORT int32_t Z_CALL ZutMvsAccess(const char *name, int32_t mode);

/* Renames a file to its name with the text of the option backup_name appended, replacing an older
 * backup in one step. Nothing to do, and 1, when the option has no text or there is no such file;
 * devices, pipes and directories are left alone. Errors  1. */
Z_EXPORT int32_t Z_CALL ZutBackupFile(const char *name);

/* Opens a stream of the caller's own, outside the table. Errors  1. */
Z_EXPORT FILE *Z_CALL ZutFOpen(const char *name, const char *mode);

/* Opens a file through the table: a file that is open with the same mode is shared, one call of
 * ZutCloseFile for each open. A file that the modes "w" and "w+b" would truncate is backed up
 * first. If that fails, with message 5097, the file is opened at its end ("a", "a+b"): what has no
 * backup is not truncated.
 * Errors   15 when the file is open with another mode; those of the open otherwise.
 * Threads  the process mutex is held while the file is opened or closed. */
Z_EXPORT FILE *Z_CALL ZutOpenFile(const char *name, const char *mode);

/* The stream of a file in the table. Errors  8. */
Z_EXPORT FILE *Z_CALL ZutLookupFile(const char *name);

/* Takes back one open; the last closes the stream (message 5098 if that fails, result 1 still).
 * Errors   8 for a stream that is not in the table. */
Z_EXPORT int32_t Z_CALL ZutCloseFile(FILE *stream);

/* Errors  1. */
Z_EXPORT int32_t Z_CALL ZutFlushFile(FILE *stream);

/* Visits the table from the oldest node on; the function may close the file it is handed, no
 * other. Result  the first non-zero one; at the end 0 with the error number set to 0. */
Z_EXPORT int32_t Z_CALL ZutFileTraverse(ZutFileTraverseFunc function, ZutWord argument);

/* Writes the table to "files.dmp" in the working directory and shows that. */
Z_EXPORT int32_t Z_CALL ZutFileExamine(void);

/* Copies a file to the output, character by character; not a message catalog's file, which is
 * ZutCatFileCreate. It is opened with the mode "r+b", so it must be writable.
 * Messages 5101 when it cannot be opened, result 0. */
Z_EXPORT int32_t Z_CALL ZutCatFile(const char *name);

/* Shows a file in the editor and returns when that has ended, whatever `wait` (0 or 1) says. The
 * editor is the option "editor", else the environment variable EDITOR, else the platform's; "_cat"
 * copies the file to the output instead. A name with other than plain characters is quoted for the
 * command processor.
 * Errors   2 when the command processor could not be run, 7 for a name that cannot be, 8 when there
 *          is no such editor. */
Z_EXPORT int32_t Z_CALL ZutEditFile(const char *name, int32_t wait);

/* Shows an open file of the table and opens it again, in case the editor has put a new file in its
 * place: the stream stays the same object, nothing is truncated, and a stream that writes goes on
 * at the end. The editor "emacs" is sent to the line of the stream's position. No lock is held
 * while the editor runs.
 * Messages  5113 for a stream that is not in the table; 5114 when the file cannot be opened again,
 *           and the stream stays with the old one. Result  the stream. */
Z_EXPORT FILE *Z_CALL ZutViewFilePtr(FILE *stream);

/* A function to open the table's streams with, instead of ZutFOpen. */
Z_EXPORT int32_t Z_CALL ZutSetFileOpenFunc(ZutFileOpenFunc function);
/* A function to close them with, instead of fclose; 0 when it worked. */
Z_EXPORT int32_t Z_CALL ZutSetFileCloseFunc(ZutFileCloseFunc function);

/* ---- Atomic read and write (atomic) ----
 *
 * Operations on descriptors that no interrupt from the keyboard cuts short: the process ignores
 * SIGINT while at least one thread is inside (message 5131 if that fails), and afterwards the
 * library's handler is installed (ZutSigintHandler), whatever handler the program had before. Where
 * the system can hold a signal back, one that arrives for the calling thread is handled after the
 * call. */
/* The standard read, begun again when a signal interrupts it. Files must not be in a mode that
 * changes line ends where bytes count.
 * Result   the number of bytes, 0 at a file's end; -1 with error 1, with error 3 for a null
 *          buffer, with error 4 for a negative count. */
Z_EXPORT int32_t Z_CALL ZutReadAtomic(int32_t descriptor, void *buffer, int32_t count);
/* The standard write, which goes on until all is written or it fails.
 * Result   as ZutReadAtomic. */
Z_EXPORT int32_t Z_CALL ZutWriteAtomic(int32_t descriptor, const void *buffer, int32_t count);
/* Removes a file. Result  0; -1 with error 1, or with error 3 for a null pointer. */
Z_EXPORT int32_t Z_CALL ZutUnlinkAtomic(const char *name);
/* Flushes nothing: it only installs the handler. Result  0. */
Z_EXPORT int32_t Z_CALL ZutFsyncAtomic(int32_t descriptor);
typedef int32_t(Z_CALL *ZutFileReadFunc)(FILE *stream, void *buffer, int32_t size);
/* Keeps a function to read files with. The library itself does not call it. */
Z_EXPORT int32_t Z_CALL ZutSetFileReadFunc(ZutFileReadFunc function);

/* ---- Search paths and directories (path) ----
 * A search path is a list of directories in which a file is looked for, in the order they were
 * added. Paths and directory handles have no lock. */
#define Z_DIR_ENTRY_OTHER 0
#define Z_DIR_ENTRY_DIRECTORY 1
#define Z_DIR_ENTRY_FILE 2
typedef struct ZutDirEntry {
  char name[260];
  int32_t kind;
} ZutDirEntry;
typedef int32_t(Z_CALL *ZutPathFunc)(const char *directory, ZutWord argument);

/* An empty search path. */
Z_EXPORT ZutPath *Z_CALL ZutPathCreate(void);

/* Appends a directory (null: nothing is done). */
Z_EXPORT int32_t Z_CALL ZutPathAddDir(ZutPath *path, const char *directory);

/* Removes the first entry that equals `directory`, ignoring case. Errors  8. */
Z_EXPORT int32_t Z_CALL ZutPathDeleteDir(ZutPath *path, const char *directory);

/* Result  the first non-zero one, or 0. The function may delete the entry it is handed. */
Z_EXPORT int32_t Z_CALL ZutPathForEachDir(ZutPath *path, ZutPathFunc function, ZutWord argument);

/* Frees the path and its entries. */
Z_EXPORT int32_t Z_CALL ZutPathDestroy(ZutPath *path);

/* The full name of the first file that exists along the path (null: the name itself). The
 * lower-cased name is looked for in every directory, then the name as it is given.
 * Result   in `out`, which needs room for the longest directory, a separator, the name and the
 *          end; with a null `out` in a buffer of the thread. Null, and an empty `out`, when there
 *          is none (error 8). */
Z_EXPORT char *Z_CALL ZutPathFindFile(ZutPath *path, const char *name, char *out);

/* The part of a name after its last separator, in `out` or a buffer of the thread. */
Z_EXPORT char *Z_CALL ZutGetFileName(const char *full_name, char *out);

/* Takes a name apart: what is before the last separator (with the platform's separators), the base
 * up to the last dot, and the extension from that dot on. Parts that are missing are empty; the
 * caller frees the three with ZutFree.
 * Errors   7 when the base is empty or holds control characters. */
Z_EXPORT int32_t Z_CALL ZutFileExplodeName(const char *full_name, char **directory_out,
                                           char **base_out, char **extension_out);

/* A directory for temporary files, with a separator at its end: the working directory when it may
 * be written, else HOME, else TEMP, else "\tmp\" or "/tmp/". `out` needs room for the environment
 * variable and two bytes more. Result  0 when that one may not be written either (error 1). */
Z_EXPORT int32_t Z_CALL ZutGetTmpFilePath(char *out);

/* A file's size. Errors  1; 5 for a file that is too large for 32 bits. */
Z_EXPORT int32_t Z_CALL ZutFileGetSize(const char *name, int32_t *size_out);

/* When a file was last read, written, and changed in its attributes (on Windows: created). Each
 * `out` may be null. Errors  1. */
Z_EXPORT int32_t Z_CALL ZutFileGetAccessTimes(const char *name, double *access_out,
                                              double *modification_out, double *change_out);

/* Errors  6 when it exists; 1. */
Z_EXPORT int32_t Z_CALL ZutMkdir(const char *directory);

/* Errors  517 when it is not empty; 8 when it does not exist; 1. */
Z_EXPORT int32_t Z_CALL ZutRmdir(const char *directory);

/* Changes the working directory of the process. Errors  8 when it does not exist; 1. */
Z_EXPORT int32_t Z_CALL ZutChdir(const char *directory);

/* Opens a directory to be listed. The text `directory` is kept, not copied, and looked at by the
 * first read, which fails with error 1 if there is no such directory. */
Z_EXPORT ZutDir *Z_CALL ZutOpenDir(const char *directory);
/* The next entry, "." and ".." among them; the order is the system's.
 * Result   0 with error 18 at the end. */
Z_EXPORT int32_t Z_CALL ZutReadDir(ZutDir *handle, ZutDirEntry *entry_out);
/* Closes the listing. */
Z_EXPORT int32_t Z_CALL ZutCloseDir(ZutDir *handle);

/* Not available on these platforms: 0 with error 31. */
Z_EXPORT int32_t Z_CALL ZutMvsDirectoryType(const char *name);

/* ---- Sockets (socket) ----
 * TCP servers and clients, UDP broadcast, waiting and receiving with time-outs. Addresses are of
 * IPv4. A socket is the system's value; -1 is none. It is the caller's, to be closed with
 * ZutWinCloseSocket; an operation that fails to make one leaves none open. Sockets are not handed
 * down to child processes. A write to a connection that the peer has closed fails and never ends
 * the process.
 *
 * Each new socket, accepted ones included, is set up from the options _socket_buffer_size,
 * _socket_reuseaddr (servers), _socket_linger, _socket_linger_time, _socket_tcp_keepalive and
 * _socket_tcp_nodelay; a setting that the system refuses is reported and is no failure.
 *
 * What the system refuses is error 29, with its reason as a Windows Sockets code on every platform
 * (ZutErrNumGetSocket), and is printed by ZutPerror with the call's name.
 *
 * Threads  any; one socket may be used by several threads as far as the system allows it. */

/* A destination of broadcasts, as sendto takes it. */
typedef struct ZutSocketAddr {
  uint16_t family;  /* 2 */
  uint16_t port;    /* network order */
  uint32_t address; /* network order */
  uint8_t zero[8];
} ZutSocketAddr;

/* Starts the socket layer in version 2.0, once, and has it ended at ZutExit; operations that need
 * sockets do so themselves. A system that cannot is a fatal error. */
Z_EXPORT int32_t Z_CALL ZutWinStartWinsock(void);
/* Ends it, if started; a later start starts it again.
 * Threads  any; takes no lock. */
Z_EXPORT int32_t Z_CALL ZutWinEndWinsock(void);
/* The directory of local sockets: "vantrel" below the first of TMP, TEMP and windir (Linux: TMPDIR)
 * that names a writable directory, else below "." (Linux: /tmp). Found and made once.
 * Result   its name; one that could not be made is reported by message 5261. */
Z_EXPORT const char *Z_CALL ZutGetSocketDir(void);
/* Closes a socket; while the system cannot, tries every hundredth of a second for the whole seconds
 * of _winsock_close_timeout. Less than a second there: nothing is closed.
 * Result   0, or -1 when it is not closed. */
Z_EXPORT int32_t Z_CALL ZutWinCloseSocket(int32_t socket);

/* ZutSocketCreateServerTcpEx for "_any". */
Z_EXPORT int32_t Z_CALL ZutSocketCreateServerTcp(int32_t port);
/* A listening socket. `address` is numbers and dots, a host's name, or "_any" for every address of
 * this machine; port 0 lets the system choose (ZutSocketGetPort). The backlog is the option
 * _socket_listen_backlog.
 * Result   the socket, or -1.
 * Errors   4 for a port below -1, 5 for one above 65535. */
Z_EXPORT int32_t Z_CALL ZutSocketCreateServerTcpEx(const char *address, int32_t port);
/* Begins to connect; with `block` 0 it does not wait, and ZutSocketConnectCompleteTcp must follow.
 * While the variable TRANSLATE_NODE_NAME is set, the variable named like the node, if there is one,
 * replaces its name.
 * Result   the socket; -1 when the node is unknown or refuses; 0 for a null node (error 3) and for
 *          a port below 1 (error 4) or above 65535 (error 5). */
Z_EXPORT int32_t Z_CALL ZutSocketConnectBeginTcp(const char *node, int32_t port, int32_t block);
/* Waits until the connection stands and makes the socket blocking. A signal does not end the wait
 * unless the interrupt counter is not 0.
 * Result   1, or 0: the socket is closed, the socket error is the reason, 10060 for the time-out,
 *          10004 for an interrupt.
 * Errors   7 for socket -1. */
Z_EXPORT int32_t Z_CALL ZutSocketConnectCompleteTcp(int32_t socket, double timeout);
/* A connected socket. Waits for at most socket_connect_timeout seconds, or as long as the system
 * does when that is 0. The look-up of the node's name comes before and takes as long as the name
 * service does.
 * Result   the socket, or -1.
 * Errors   4 for a port below 1, 5 for one above 65535. */
Z_EXPORT int32_t Z_CALL ZutSocketCreateClientTcp(const char *node, int32_t port);
/* The new connection of a listening socket. It blocks if the listener does. A signal does not end
 * the wait unless the interrupt counter is not 0.
 * Result   the socket, or -1.
 * Errors   4 for a listener below 0; 25 when the listener does not block and no connection
 *          waits. */
Z_EXPORT int32_t Z_CALL ZutSocketAccept(int32_t listener);

/* Not available: sockets within the machine.
 * Result   -1. */
Z_EXPORT int32_t Z_CALL ZutSocketConnectBeginLocal(const char *name);
/* Not available.
 * Result   1. */
Z_EXPORT int32_t Z_CALL ZutSocketConnectCompleteLocal(int32_t socket);
/* Not available.
 * Result   -1. */
Z_EXPORT int32_t Z_CALL ZutSocketCreateClientLocal(const char *name);
/* Not available: DECnet.
 * Result   -1 with socket error 10043; 0 for a null name. */
Z_EXPORT int32_t Z_CALL ZutSocketCreateServerDecnet(const char *object);
/* Not available; results as ZutSocketCreateServerDecnet. */
Z_EXPORT int32_t Z_CALL ZutSocketCreateClientDecnet(const char *node, const char *object);

/* A UDP socket that receives what is sent to `port` of any address of this machine.
 * Result   the socket, or -1.
 * Errors   4 for a port below 0, 5 for one above 65535. */
Z_EXPORT int32_t Z_CALL ZutSocketCreateServerBcast(int32_t port);
/* A UDP socket that may broadcast, and in `destination_out` where to send: "255.255.255.255",
 * numbers and dots, or for a host's name every host of that host's network.
 * Result   the socket, or -1.
 * Errors   4 for a port below 1, 5 for one above 65535; socket error 10065 for an address that
 *          means nothing. */
Z_EXPORT int32_t Z_CALL ZutSocketCreateClientBcast(const char *address, int32_t port,
                                                   ZutSocketAddr *destination_out);

/* Waits until the socket can be read (mode 0; also at the end of the connection) or written (1).
 * Waits once, by a clock that changes of the wall clock do not affect; an interrupt ends the wait.
 * Result   1 ready; 0 with error 9 at the time-out, 29 when the wait failed or there is only urgent
 *          data, 16 when an interrupt ended it and the interrupt counter is not 0.
 * Errors   4 for a socket below 0 and for a negative time-out other than -1.0; 7 for another mode
 *          and for a time-out that is no number. */
Z_EXPORT int32_t Z_CALL ZutSocketCheck(int32_t socket, int32_t mode, double timeout);
/* Receives until `length` bytes have come or the peer closes. `flags` are those of recv. A signal
 * does not end it unless the interrupt counter is not 0.
 * Result   the count, or -1; what came before a failure is lost.
 * Errors   4 for a socket below 0 and a length below 1. */
Z_EXPORT int32_t Z_CALL ZutSocketRecvAll(int32_t socket, void *buffer, int32_t length,
                                         int32_t flags);
/* The same with a time-out for each wait. A wait that fails is reported (message 5266) and
 * repeated, unless the value is not that of an open socket, the arguments are wrong or the socket
 * layer was ended. Urgent data does not end a wait.
 * Result   the count, less than `length` when the peer closed or, with *timed_out_out 1, when
 *          nothing came in time; or -1. */
Z_EXPORT int32_t Z_CALL ZutSocketRecvTimeout(int32_t socket, void *buffer, int32_t length,
                                             int32_t flags, double timeout, int32_t *timed_out_out);

/* 1: calls on the socket wait; 0: they do not.
 * Errors   4 for a socket below 0; 7 for another mode. */
Z_EXPORT int32_t Z_CALL ZutSocketSetBlockMode(int32_t socket, int32_t mode);
/* Not available from the system: always 0 with error 8. */
Z_EXPORT int32_t Z_CALL ZutSocketGetBlockMode(int32_t socket, int32_t *mode_out);
/* Bytes that the system keeps for receiving.
 * Errors   4 for a socket below 0. */
Z_EXPORT int32_t Z_CALL ZutSocketGetRecvBufSize(int32_t socket, int32_t *size_out);
/* The same for sending. */
Z_EXPORT int32_t Z_CALL ZutSocketGetSendBufSize(int32_t socket, int32_t *size_out);
/* Sets that size; the system may take another one. */
Z_EXPORT int32_t Z_CALL ZutSocketSetRecvBufSize(int32_t socket, int32_t size);
/* The same for sending. */
Z_EXPORT int32_t Z_CALL ZutSocketSetSendBufSize(int32_t socket, int32_t size);

/* The socket's own address in numbers and dots, with ":" and the port when `with_port` is 1;
 * "local" for a socket within the machine. `text_out` has room for 22 bytes.
 * Errors   7 for another flag. */
Z_EXPORT int32_t Z_CALL ZutSocketGetNameStr(int32_t socket, int32_t with_port, char *text_out);
/* The same for the peer's address. */
Z_EXPORT int32_t Z_CALL ZutSocketGetPeerNameStr(int32_t socket, int32_t with_port, char *text_out);
/* The socket's own port. Errors  15 for a socket within the machine. */
Z_EXPORT int32_t Z_CALL ZutSocketGetPort(int32_t socket, int32_t *port_out);
/* The address, in network order, of four numbers with dots, or of a host when the text holds a
 * letter. Asks the name service for hosts only.
 * Errors   socket error 10065 (messages 5262 and 5263); error 1 with errno 22 for a form that is
 *          not the plain one: fewer than four numbers, leading zeros. */
Z_EXPORT int32_t Z_CALL ZutSocketParseIpAddr(const char *text, uint32_t *address_out);
/* Do two names mean one node: are they the same word, or names of one address?
 * Result   1 with the answer in *same_out; 0 for null arguments. */
Z_EXPORT int32_t Z_CALL ZutCompareNodeNames(const char *a, const char *b, int32_t *same_out);

/* ---- Compressor (utcompr) ----
 * A frame for compression: the library has no algorithm of its own. A driver is a named set of
 * functions, usually in a library that is loaded when its name is first used; a compressor is one
 * stream of a driver. What compressed data looks like is the driver's.
 *
 * ZutCompress and ZutUncompress serve whole messages. Their compressors are those of the options
 * Compression_Name and Compression_Args; a change holds from the next message on. Eight are made at
 * the first message and kept in a pool, which grows to what is in use at one time.
 *
 * A driver's library defines `Z_DRIVER_EXPORT int32_t Z_CALL ZcompressorDriverInit(void)`, which
 * registers the driver under the library's name with ZutCompressorInit and returns its result. It
 * is looked for as ZutLibraryLoad does with flag 1.
 *
 * Modes of compressing: 0 go on, 1 make all data so far readable, 2 finish; drivers say more.
 *
 * Threads  any; one compressor serves one thread at a time. Drivers are called without a lock, but
 *          for creating the pool. */
#if defined(_WIN32)
#  define Z_DRIVER_EXPORT __declspec(dllexport)
#else
#  define Z_DRIVER_EXPORT __attribute__((visibility("default")))
#endif

typedef struct ZutCompressor ZutCompressor;

/* Filled in by a driver but for its name. The message of statistics prints `operations` and
 * bytes_in / bytes_out. */
typedef struct ZutCompressorStats {
  const char *driver;
  uint32_t operations;
  uint32_t bytes_in;
  uint32_t bytes_out;
} ZutCompressorStats;

/* A driver's functions. Create returns the state of a stream, null when it refuses the text. The
 * two that work append to the destination, advance the offset of the source by what they took, and
 * return 1; or they return 0 with an error number: with 4 the destination was too small, nothing
 * was taken or lost, and the call may be repeated with a larger one. A destination's size beyond
 * its capacity, or an offset outside the source, is put back and becomes error 24. Reset returns 0
 * when it fails. */
typedef void *(Z_CALL *ZutCompressorCreateFunc)(const char *args);
typedef int32_t(Z_CALL *ZutCompressorWorkFunc)(void *state, ZutBuf *destination, ZutBuf *source,
                                               int32_t mode);
typedef int32_t(Z_CALL *ZutCompressorStatsFunc)(void *state, ZutCompressorStats *stats);
typedef int32_t(Z_CALL *ZutCompressorResetFunc)(void *state);
typedef void(Z_CALL *ZutCompressorDestroyFunc)(void *state);

/* Registers a driver, for good. Names are compared without regard to case; `reset` may be null.
 * Errors   7 for another null function; 6 for a name that is taken. */
Z_EXPORT int32_t Z_CALL
ZutCompressorInit(const char *name, ZutCompressorCreateFunc create, ZutCompressorWorkFunc compress,
                  ZutCompressorWorkFunc uncompress, ZutCompressorStatsFunc get_stats,
                  ZutCompressorResetFunc reset, ZutCompressorDestroyFunc destroy);
/* A compressor of the named driver; null takes the option Compression_Name, and Compression_Args
 * for the driver's argument. Loads the driver when it is not registered.
 * Errors   8, with a message that names the file, when there is no such driver, neither as the name
 *          is written nor in lower case; the driver's own when it refuses the argument. */
Z_EXPORT ZutCompressor *Z_CALL ZutCompressorCreate(const char *name, const char *args);
/* Compresses by the driver. While the option Compression_Stats is on, prints a message of
 * statistics, at most every 30 seconds for each compressor, at once after it is reset.
 * Result   the driver's.
 * Errors   7 for a mode outside 0 to 2. */
Z_EXPORT int32_t Z_CALL ZutCompressorCompress(ZutCompressor *compressor, ZutBuf *destination,
                                              ZutBuf *source, int32_t mode);
/* The reverse, without statistics. */
Z_EXPORT int32_t Z_CALL ZutCompressorUncompress(ZutCompressor *compressor, ZutBuf *destination,
                                                ZutBuf *source, int32_t mode);
/* The driver's statistics. */
Z_EXPORT int32_t Z_CALL ZutCompressorGetStats(ZutCompressor *compressor, ZutCompressorStats *out);
/* The name of the compressor in messages; null for none. */
Z_EXPORT int32_t Z_CALL ZutCompressorSetIdent(ZutCompressor *compressor, const char *ident);
/* To the start of a stream. */
Z_EXPORT int32_t Z_CALL ZutCompressorReset(ZutCompressor *compressor);
/* Frees the stream. */
Z_EXPORT int32_t Z_CALL ZutCompressorDestroy(ZutCompressor *compressor);

/* Compresses the whole source as one finished stream into `destination`, which grows as needed, up
 * to 2 GB.
 * Result   the driver's, or 0.
 * Errors   7 for a static destination; 8 when there is no driver; 5 for data that does not fit
 *          into any buffer; the driver's. */
Z_EXPORT int32_t Z_CALL ZutCompress(ZutBuf *destination, ZutBuf *source);
/* The reverse. A short text from outside may unpack to 2 GB: to set a limit, give
 * ZutCompressorUncompress a destination of that capacity: error 4 says that it is not enough.
 * Result   as ZutCompress. */
Z_EXPORT int32_t Z_CALL ZutUncompress(ZutBuf *destination, ZutBuf *source);

#ifdef __cplusplus
}
#endif
#endif
