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

/* Join a name in `out`, which needs room for all parts, a separator and the end, and give it back.
 * The separator is left out where the directory ends with one, is empty or null; a null extension
 * is none. `out` may be the directory's own buffer. */
Z_EXPORT char *Z_CALL ZutBuildFileName(char *out, const char *directory, const char *base,
                                       const char *extension);
Z_EXPORT char *Z_CALL ZutBuildDirName(char *out, const char *directory, const char *subdirectory);

/* A base name that the file system takes: the name itself when it is short (255 characters, or the
 * number in the environment variable VN_MAX_BASE_NAME) and of printable ASCII characters without
 * separators; else its hash, eight hexadecimal digits. A file in `directory` named by the hash with
 * the extension ".nam" holds the lower-cased name; with `create` 1 it is made when it is missing.
 * Result   the caller frees *base_out with ZutFree; null when the result is 0.
 * Errors   1 for a name file that cannot be opened or made, 24 for one without a line. */
Z_EXPORT int32_t Z_CALL ZutBuildBaseName(const char *directory, const char *name, char **base_out,
                                         int32_t create);

/* Does the name end with the extension, ignoring case? */
Z_EXPORT int32_t Z_CALL ZutHasExtension(const char *name, const char *extension);

/* Is there a file or directory of that name; may it be written? Errors  1 when not. */
Z_EXPORT int32_t Z_CALL ZutFileExists(const char *name);
Z_EXPORT int32_t Z_CALL ZutFileWritable(const char *name);

/* Result   0 when deleted, -1 with error 1 (3 for null) when not. */
Z_EXPORT int32_t Z_CALL ZutDeleteFile(const char *name);

/* Not available on these platforms: -1. */
Z_EXPORT int32_t Z_CALL ZutMvsAccess(const char *name, int32_t mode);

/* Renames a file to its name with the text of the option backup_name behind it, replacing an older
 * backup in one step. Nothing to do, and 1, when the option has no text or there is no such file;
 * devices, pipes and directories are left alone. Errors  1. */
Z_EXPORT int32_t Z_CALL ZutBackupFile(const char *name);

/* Opens a stream of the caller's own, outside the table. Errors  1. */
Z_EXPORT FILE *Z_CALL ZutFOpen(const char *name, const char *mode);

/* Opens a file through the table: a file that is open with the same mode is shared, one call of
 * ZutCloseFile for each open. A file that the modes "w" and "w+b" would truncate is backed up
 * first. If that fails, message 5097 tells so and the file is opened at its end ("a", "a+b"):
 * what has no backup is not truncated.
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

/* Copies a file to the output, character by character. It is opened with the mode "r+b", so it
 * must be writable. Messages  5101 when it cannot be opened, result 0. */
Z_EXPORT int32_t Z_CALL ZutCatFile(const char *name);

/* Shows a file in the editor and returns when that has ended, whatever `wait` (0 or 1) says. The
 * editor is the option "editor", else the environment variable EDITOR, else the platform's; "_cat"
 * copies the file to the output instead. A name with other than plain characters is quoted for the
 * command processor. Errors  7 for a name that cannot be; result 0 when no editor could be run. */
Z_EXPORT int32_t Z_CALL ZutEditFile(const char *name, int32_t wait);

/* Shows an open file of the table and opens it again, in case the editor has put a new file in its
 * place: the stream stays the same object, nothing is truncated, and a stream that writes goes on
 * at the end. The editor "emacs" is sent to the line of the stream's position. No lock is held
 * while the editor runs.
 * Messages  5113 for a stream that is not in the table; 5114 when the file cannot be opened again,
 *           and the stream stays with the old one. Result  the stream. */
Z_EXPORT FILE *Z_CALL ZutViewFilePtr(FILE *stream);

/* Functions to open and close the table's streams with, instead of ZutFOpen and fclose; the close
 * function gives 0 when it worked. */
Z_EXPORT int32_t Z_CALL ZutSetFileOpenFunc(ZutFileOpenFunc function);
Z_EXPORT int32_t Z_CALL ZutSetFileCloseFunc(ZutFileCloseFunc function);

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

Z_EXPORT ZutPath *Z_CALL ZutPathCreate(void);

/* Appends a directory (null: nothing is done). */
Z_EXPORT int32_t Z_CALL ZutPathAddDir(ZutPath *path, const char *directory);

/* Removes the first entry that equals `directory`, ignoring case. Errors  8. */
Z_EXPORT int32_t Z_CALL ZutPathDeleteDir(ZutPath *path, const char *directory);

/* Result  the first non-zero one, or 0. The function may delete the entry it is handed. */
Z_EXPORT int32_t Z_CALL ZutPathForEachDir(ZutPath *path, ZutPathFunc function, ZutWord argument);

Z_EXPORT int32_t Z_CALL ZutPathDestroy(ZutPath *path);

/* The full name of the first file that exists along the path (null: the name itself). The
 * lower-cased name is looked for in every directory, then the name as it is given.
 * Result   in `out`, which needs room for the longest directory, a separator, the name and the
 *          end; with a null `out` in a buffer of the thread. Null, and an empty `out`, when there
 *          is none (error 8). */
Z_EXPORT char *Z_CALL ZutPathFindFile(ZutPath *path, const char *name, char *out);

/* The part of a name after its last separator, in `out` or a buffer of the thread. */
Z_EXPORT char *Z_CALL ZutGetFileName(const char *full_name, char *out);

/* Takes a name apart: what is before the last separator (with the platform's separators), what is
 * before the last dot behind it, and from that dot on. Parts that are missing are empty; the caller
 * frees the three with ZutFree.
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

/* Lists a directory: open, read until 0 with error 18, close. The text `directory` is kept, not
 * copied, and looked at by the first read, which fails with error 1 if there is no such directory.
 * "." and ".." are listed; the order is the system's. */
Z_EXPORT ZutDir *Z_CALL ZutOpenDir(const char *directory);
Z_EXPORT int32_t Z_CALL ZutReadDir(ZutDir *handle, ZutDirEntry *entry_out);
Z_EXPORT int32_t Z_CALL ZutCloseDir(ZutDir *handle);

/* Not available on these platforms: 0 with error 31. */
Z_EXPORT int32_t Z_CALL ZutMvsDirectoryType(const char *name);
