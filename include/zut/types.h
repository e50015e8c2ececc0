/* Conventions, words and records that every family uses.
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
 */
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
