// What the library needs of the operating system, in plain words: process, errors, environment,
// libraries. Threads, time, files and sockets have headers of their own beside this one.
// posix/ and win32/ answer them; only those two folders know a system's headers.
#pragma once

#include "platform_tls.h"

#include <cstdint>
#include <cstdio>

// --- Errors ---
// In platform_tls.h: utPlatErrorGet and Set, the system's last error of this thread, on Windows the
// system's own word, elsewhere a word of the thread that the platform layer sets from errno; and
// utPlatSocketErrorGet and Set, the socket layer's, in Windows Sockets codes on every platform.
// The system's text for a code, cut to `size` bytes. False: it has none, as for the codes 10000 to
// 10094 where the socket layer has no codes of its own.
bool utPlatErrorText(int32_t code, char *text, int32_t size);
// The runtime's text for an errno value; false for a value it does not know.
bool utPlatErrnoText(int32_t code, char *text, int32_t size);

// --- Identity ---
int32_t utPlatProcessId();
// The user's name from the system; false when it cannot tell.
bool utPlatUserName(char *name, int32_t size);
// The second source (system.ini; elsewhere none): false when empty.
bool utPlatUserNameFallback(char *name, int32_t size);
// The host's name, terminated; on failure false with the socket error set, name empty.
bool utPlatHostName(char *name, int32_t size);
// True in a process that runs with rights its user does not have.
bool utPlatPrivileged();
// The file that holds the library's code, absolute. False when it cannot be told.
bool utPlatLibraryFile(char *name, int32_t size);
// The system's family (2 for NT and for everything that is not Windows) and version.
void utPlatVersion(int32_t *family, int32_t *major, int32_t *minor);

// --- Process ---
// Runs a line in the system's command processor (null: the processor itself); its exit code or -1.
int32_t utPlatSystem(const char *command);
// Did the line give that code because there is no program of its first word?
bool utPlatCommandMissing(const char *command, int32_t code);
// Ends the process at once, without handlers.
[[noreturn]] void utPlatExitNow(int32_t code);
// Sets a variable of the environment, which copies both; an empty value removes it. False: refused,
// as an empty name is.
bool utPlatSetVariable(const char *name, const char *value);
// User and kernel time of the process in milliseconds, and the number of processors.
bool utPlatCpuTimes(double *user, double *kernel);
int32_t utPlatProcessors();
// The character format of the system: the number of a code page.
int32_t utPlatCharFormat();
// An unpredictable number.
uint64_t utPlatSecret();

// --- Libraries ---
extern const char utPlatLibrarySuffix[];
// Loads a library: an absolute name, or a file name to be looked for where the system keeps
// libraries, never in the current directory. Null when it cannot.
void *utPlatLibraryLoad(const char *name);
void *utPlatLibrarySymbol(void *library, const char *symbol);

// --- Names ---
// Bytes of the character that begins at `at`, in the character set of file names; 1 at the end of
// the text. The first of several bytes is never an ASCII character.
int32_t utPlatCharSize(const char *at);
extern const char utPlatSeparator;           // in names that the library builds
extern const char *const utPlatTempFallback; // when neither HOME nor TEMP is set
extern const char *const utPlatDefaultEditor;
extern const char *const utPlatPwdCommand;       // what the alias pwd runs
extern const char *const utPlatSocketDirNames[]; // environment variables in order, null at the end
extern const char *const utPlatSocketDirFallback;
