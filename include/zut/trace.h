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
/* Result: a catalog with one reference, also when the file is null or cannot be read: it then has
 * no file, and look-ups fail with error 3. */
Z_EXPORT ZutCatalog *Z_CALL ZutCatCreate(const char *filename);
Z_EXPORT int32_t Z_CALL ZutCatAddref(ZutCatalog *catalog);
Z_EXPORT int32_t Z_CALL ZutCatRelease(ZutCatalog *catalog);
/* Destroys it whatever the count of references. */
Z_EXPORT int32_t Z_CALL ZutCatDestroy(ZutCatalog *catalog);
Z_EXPORT int32_t Z_CALL ZutCatFlagSet(ZutCatalog *catalog, uint32_t bits);
Z_EXPORT int32_t Z_CALL ZutCatFlagClear(ZutCatalog *catalog, uint32_t bits);
/* 0 without an error number for a letter that is none. */
Z_EXPORT int32_t Z_CALL ZutCatSeverityStrToVal(char letter, uint32_t *value);
/* The record of a number. When there is none: 0, null in `out`, no error number, and a line on the
 * output that says so. */
Z_EXPORT int32_t Z_CALL ZutCatLookup(ZutCatalog *catalog, int32_t id, ZutCatMsgKey **out);
/* The text to show: with the identifier when the flag Z_CAT_FLAG_ID is set. */
Z_EXPORT int32_t Z_CALL ZutCatGetDisplayStr(ZutCatalog *catalog, ZutCatMsgKey *key,
                                            const char **out);
Z_EXPORT int32_t Z_CALL ZutCatGetStr(ZutCatalog *catalog, int32_t id, const char **out);
/* Points the catalog at another file. Null gives up the file, whose texts can still be looked up
 * until the next change. */
Z_EXPORT int32_t Z_CALL ZutCatFilenameSet(ZutCatalog *catalog, const char *filename);
Z_EXPORT int32_t Z_CALL ZutCatFilenameGet(ZutCatalog *catalog, const char **out);
/* Bound, the catalog follows an option: its file a string option, its flags an enumerated list that
 * may hold "id". Binding takes the option's value over at once. Unbind before the catalog goes;
 * unbinding what is not bound is no failure. */
Z_EXPORT int32_t Z_CALL ZutCatFilenameOptionBind(ZutCatalog *catalog, const char *option_name);
Z_EXPORT int32_t Z_CALL ZutCatFilenameOptionUnbind(ZutCatalog *catalog, const char *option_name);
Z_EXPORT int32_t Z_CALL ZutCatFlagsOptionBind(ZutCatalog *catalog, const char *option_name);
Z_EXPORT int32_t Z_CALL ZutCatFlagsOptionUnbind(ZutCatalog *catalog, const char *option_name);
/* The shared files themselves: one reference more, one fewer. When a file cannot be read
 * ZutCatFileCreate returns null WITH THE PROCESS MUTEX HELD; unlock it once. (ZutCatCreate and the
 * others here do not.) A name of 256 characters or more counts as unreadable. */
Z_EXPORT ZutCatalogFile *Z_CALL ZutCatFileCreate(const char *filename);
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
 * (ZutBackupFile) and begun anew before the next message. If no backup can be made it goes on
 * growing, which is reported once, and the next try comes after as many bytes again.
 *
 * Threads: writing, from any thread, and changes of level, flags and file are safe against one
 * another; lines never interleave, not even those of two objects. The life of an object, its prefix and its
 * catalog are its owner's business. Files are opened with the process mutex held: a pipe without
 * a reader stops every thread that prints. */

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
/* `file_name` as for ZutTraceFileSet. The level is "warning". Flags of 0 bind the object to the
 * option trace_flags. The second form makes a catalog that follows the options catalog_file and
 * catalog_flags. */
Z_EXPORT struct ZutTrace *Z_CALL ZutTraceCreate(const char *name, const char *file_name,
                                                uint32_t flags, const char *prefix);
Z_EXPORT struct ZutTrace *Z_CALL ZutTraceCreateWithCatalog(const char *name, const char *file_name,
                                                           uint32_t flags, const char *prefix);
Z_EXPORT struct ZutTrace *Z_CALL ZutTraceAddref(struct ZutTrace *trace);
/* The last release destroys the object, ZutTraceDestroy does so at once; both clear the variable
 * of a destroyed object. Options that the caller has bound must be unbound first. */
Z_EXPORT int32_t Z_CALL ZutTraceRelease(struct ZutTrace **trace);
Z_EXPORT int32_t Z_CALL ZutTraceDestroy(struct ZutTrace **trace);
/* The object takes a reference of its own; a catalog it had before is not released. */
Z_EXPORT int32_t Z_CALL ZutTraceCatalogBind(ZutCatalog *catalog, struct ZutTrace *trace);
Z_EXPORT int32_t Z_CALL ZutTraceCatalogUnbind(struct ZutTrace *trace);
/* -2 to 9; anything else is error 7. */
Z_EXPORT int32_t Z_CALL ZutTraceLevelSet(struct ZutTrace *trace, int32_t level);
Z_EXPORT int32_t Z_CALL ZutTraceLevelGet(struct ZutTrace *trace, int32_t *out);
Z_EXPORT int32_t Z_CALL ZutTraceFlagSet(struct ZutTrace *trace, uint32_t bits);
Z_EXPORT int32_t Z_CALL ZutTraceFlagClear(struct ZutTrace *trace, uint32_t bits);
/* Null or "": no prefix. */
Z_EXPORT int32_t Z_CALL ZutTracePrefixSet(struct ZutTrace *trace, const char *prefix);
Z_EXPORT int32_t Z_CALL ZutTracePrefixGet(struct ZutTrace *trace, const char **out);
/* "stdout", "stderr", or a file's name, which is shared with whoever has it open through
 * ZutOpenFile in the same mode: begun anew, or appended to when "@" stands before it. Null: nothing
 * is written. A file that cannot be opened gives standard output, with one warning per process. */
Z_EXPORT int32_t Z_CALL ZutTraceFileSet(struct ZutTrace *trace, const char *file_name);
/* An unknown name is 0 without an error number; a level without a name (only 0 to 9 have one) is
 * error 7. */
Z_EXPORT int32_t Z_CALL ZutTraceLevelStrToVal(const char *text, int32_t *out);
Z_EXPORT int32_t Z_CALL ZutTraceLevelValToStr(int32_t level, const char **out);
/* 10000, which no object admits, for a severity that is none. */
Z_EXPORT int32_t Z_CALL ZutTraceMapSeverityToTraceLevel(int32_t severity, int32_t *level);
Z_EXPORT int32_t Z_CALL ZutTrace(struct ZutTrace *trace, int32_t level, const char *format, ...)
    Z_PRINTF(3, 4);
Z_EXPORT int32_t Z_CALL ZutTraceVa(struct ZutTrace *trace, int32_t level, const char *format,
                                   va_list args) Z_PRINTF(3, 0);
/* The message of that number in the object's catalog; its text is examined as ZutOutCat does. 0
 * when there is no such message. */
Z_EXPORT int32_t Z_CALL ZutTraceCat(struct ZutTrace *trace, int32_t level, int32_t number, ...);
/* Options for trace objects: an enumerated one of the level names "never" to "debug", a file name,
 * and a list of "timestamp", "prefix" and "level" that begins as "prefix". */
Z_EXPORT ZutOption *Z_CALL ZutTraceLevelOptionCreate(const char *option_name);
Z_EXPORT ZutOption *Z_CALL ZutTraceFileOptionCreate(const char *option_name);
Z_EXPORT ZutOption *Z_CALL ZutTraceFlagsOptionCreate(const char *option_name);
/* Bound, the object follows an option, whose value it takes over at once. The flags option replaces
 * all flags (VNTIMESTAMPOUTPUT adds the time again). An option that does not exist is no failure:
 * nothing is bound. Binding twice is binding once. */
Z_EXPORT int32_t Z_CALL ZutTraceLevelOptionBind(struct ZutTrace *trace, const char *option_name);
Z_EXPORT int32_t Z_CALL ZutTraceFileOptionBind(struct ZutTrace *trace, const char *option_name);
Z_EXPORT int32_t Z_CALL ZutTraceFlagsOptionBind(struct ZutTrace *trace, const char *option_name);
Z_EXPORT int32_t Z_CALL ZutTraceLevelOptionUnbind(struct ZutTrace *trace, const char *option_name);
Z_EXPORT int32_t Z_CALL ZutTraceFileOptionUnbind(struct ZutTrace *trace, const char *option_name);
Z_EXPORT int32_t Z_CALL ZutTraceFlagsOptionUnbind(struct ZutTrace *trace, const char *option_name);
/* The object's own options: trace_level_, trace_file_ or trace_flags_ and its name. Creating binds
 * them, destroying unbinds them and is 0 when there is none. The one named trace_flags_ is bound as
 * a file's name is, not as flags are: setting it does not change the object's flags. */
Z_EXPORT ZutOption *Z_CALL ZutTraceLevelDefaultOptionCreate(struct ZutTrace *trace);
Z_EXPORT ZutOption *Z_CALL ZutTraceFileDefaultOptionCreate(struct ZutTrace *trace);
Z_EXPORT ZutOption *Z_CALL ZutTraceFlagsDefaultOptionCreate(struct ZutTrace *trace);
Z_EXPORT ZutOption *Z_CALL ZutTraceLevelDefaultOptionLookup(struct ZutTrace *trace);
Z_EXPORT ZutOption *Z_CALL ZutTraceFileDefaultOptionLookup(struct ZutTrace *trace);
Z_EXPORT ZutOption *Z_CALL ZutTraceFlagsDefaultOptionLookup(struct ZutTrace *trace);
Z_EXPORT int32_t Z_CALL ZutTraceLevelDefaultOptionDestroy(struct ZutTrace *trace);
Z_EXPORT int32_t Z_CALL ZutTraceFileDefaultOptionDestroy(struct ZutTrace *trace);
Z_EXPORT int32_t Z_CALL ZutTraceFlagsDefaultOptionDestroy(struct ZutTrace *trace);
