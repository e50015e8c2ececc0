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

/* The function that prints, like vprintf; null: none. Asking for it while there is none makes
 * standard output's the set one. */
Z_EXPORT void Z_CALL ZutSetOutputFunc(ZutVPrintFunc function);
Z_EXPORT ZutVPrintFunc Z_CALL ZutGetOutputFunc(void);
/* The function behind ZutOutFlush: prints and makes sure that it is seen. */
Z_EXPORT int32_t Z_CALL ZutSetOutFlushFunc(ZutVPrintFunc function);
Z_EXPORT ZutVPrintFunc Z_CALL ZutGetOutFlushFunc(void);
/* Prints through the output-flush function; the first use without one sets one that prints with
 * ZutVOut and flushes standard output. Result: what that function gives. */
Z_EXPORT int32_t Z_CALL ZutOutFlush(const char *format, ...) Z_PRINTF(1, 2);
/* Prints through the output function or to standard output, whatever the level. Result: what that
 * function gives. When the program has set an output function, the time of VNTIMESTAMPOUTPUT goes
 * to the default trace object and not to that function. */
Z_EXPORT int32_t Z_CALL ZutVOut(const char *format, va_list args) Z_PRINTF(1, 0);
/* Prints whatever the level. Without an output function the text goes to the trace object "utout",
 * which flushes it. Result: 1. */
Z_EXPORT int32_t Z_CALL ZutOut(const char *format, ...) Z_PRINTF(1, 2);
/* Prints at a trace level: an output function gets every text, the default trace object the ones
 * that its level admits. The forms named Default use that object's own level. */
Z_EXPORT int32_t Z_CALL ZutOutStr(int32_t level, const char *format, ...) Z_PRINTF(2, 3);
Z_EXPORT int32_t Z_CALL ZutVOutStr(int32_t level, const char *format, va_list args) Z_PRINTF(2, 0);
Z_EXPORT int32_t Z_CALL ZutOutStrDefault(const char *format, ...) Z_PRINTF(1, 2);
Z_EXPORT int32_t Z_CALL ZutVOutStrDefault(const char *format, va_list args) Z_PRINTF(1, 0);
/* Prints the catalog's message of that number with the arguments that follow, at `level`, or at
 * the level of the message's severity for Z_TRACE_LEVEL_DEFAULT. Result: 0 when the catalog has no
 * such message; nothing is printed then.
 * The text comes from a file, so its conversions are examined before the arguments are read: a
 * text whose conversions are not those that the library passes (its own numbers), or are not plain
 * printf conversions of moderate width (other numbers), is printed as it stands. */
Z_EXPORT int32_t Z_CALL ZutOutCat(int32_t level, int32_t number, ...);
/* Makes the options catalog_file, catalog_flags and _trace_{level,file,flags}_catalog, the default
 * catalog and the default trace object, and binds them to one another. Only the first call does
 * anything; the first catalog message makes it. */
Z_EXPORT int32_t Z_CALL ZutOutInit(void);
/* While the option verbose is true: prints to the debug stream and to the output. */
Z_EXPORT int32_t Z_CALL ZutVerbose(const char *format, ...) Z_PRINTF(1, 2);

/* Opens the debug file unless one is open: VNDEBUGFILENAME as it stands, else `name` with the
 * extension .dbg. "stderr" in any case, and a file that cannot be created, give standard error.
 * ZutInit calls it with the process type. */
Z_EXPORT int32_t Z_CALL ZutDebugOpen(const char *name);
/* Closes the debug file; its name is kept for ZutDebugReopen, which appends. A stream that is
 * still open then stays open and is the caller's. */
Z_EXPORT int32_t Z_CALL ZutDebugClose(void);
Z_EXPORT FILE *Z_CALL ZutDebugReopen(void);
/* Renames the debug file, on disk as well; "stderr" leaves it for standard error, and any other
 * name leaves standard error for a new file.
 * Errors   8 with no debug stream open; 6 for the name it has; 1 when the system refuses. */
Z_EXPORT int32_t Z_CALL ZutDebugRename(const char *name);
/* The name is null before the first open. Asking for the stream opens it on standard error. */
Z_EXPORT const char *Z_CALL ZutDebugFileName(void);
Z_EXPORT FILE *Z_CALL ZutDebugFilePtr(void);
/* Prints to the debug stream and flushes it. */
Z_EXPORT int32_t Z_CALL ZutVDebug(const char *format, va_list args) Z_PRINTF(1, 0);
Z_EXPORT int32_t Z_CALL ZutDebug(const char *format, ...) Z_PRINTF(1, 2);
/* Prints to the output and keeps a record in the debug file. ZutWarning puts "WARNING: " before it
 * and ends the process with abort() when VN_WARNING_ABORT is set. */
Z_EXPORT int32_t Z_CALL ZutOutDebug(const char *format, ...) Z_PRINTF(1, 2);
Z_EXPORT int32_t Z_CALL ZutWarning(const char *format, ...) Z_PRINTF(1, 2);

/* The dump file: "dump<process id>.dmp" in the directory for temporary files, for a long report
 * that a person then views. Opening makes it anew (a file or link of that name is removed, never
 * followed); appending keeps what is there.
 * Errors   6 when it is open; 8 when there is no writable directory. */
Z_EXPORT FILE *Z_CALL ZutDumpOpen(void);
Z_EXPORT FILE *Z_CALL ZutDumpOpenAppend(void);
/* Writes to the dump file, opened when it is not; to the output when it cannot be opened. */
Z_EXPORT int32_t Z_CALL ZutDumpOut(const char *format, ...) Z_PRINTF(1, 2);
Z_EXPORT int32_t Z_CALL ZutDumpOutVa(const char *format, va_list args) Z_PRINTF(1, 0);
/* Error 8 when it is not open. */
Z_EXPORT int32_t Z_CALL ZutDumpClose(void);
/* Closes the dump file and shows it in the editor. Error 8 when there never was one. */
Z_EXPORT int32_t Z_CALL ZutDumpView(void);
/* Deletes the dump file. Error 8 when there never was one, 6 while it is open, 1 when the system
 * refuses. */
Z_EXPORT int32_t Z_CALL ZutDumpRemove(void);
/* The name belongs to the library. Error 8 when there never was a dump file. */
Z_EXPORT int32_t Z_CALL ZutDumpGetName(const char **out);

/* Kind 0: the percentage, 0 to 100, of the machine's processors that the process used since the
 * call before; 0.0 the first time. Error 7 for any other kind. */
Z_EXPORT int32_t Z_CALL ZutProcInfo(int32_t kind, double *out);
