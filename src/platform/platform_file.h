// What the library needs of the system's files and directories. Every function that fails leaves
// the reason in errno. Opened files are not handed down to child processes.
#pragma once

#include <cstdint>
#include <cstdio>

// Has a write to a file that may not grow any more fail, where it would end the process; unless the
// program handles that itself. Opening a file to write does so too.
void utPlatFullFilesFail();

// --- Streams ---

// A mode without the letters that only the function below knows, for the runtime.
struct PlatStdioMode {
  explicit PlatStdioMode(const char *mode) : text{} {
    for (size_t length = 0; *mode && length < sizeof text - 1; ++mode) {
      if (*mode != 'x' && *mode != 'n') text[length++] = *mode;
    }
  }
  char text[16];
};

// Opens a stream like fopen, with these differences: a directory is refused; a pipe without a
// partner never blocks the open; 'x' in the mode creates a file that did not exist, following no
// link; 'n' refuses a name that is a link, where every user can make links; the file may be renamed
// while it is open; concurrent appends do not overwrite each other. Waits a moment when a
// sharing violation refuses the file.
FILE *utPlatFileOpen(const char *name, const char *mode);
// Flushes an open stream and points it at a file opened as above; on failure the stream is what
// it was. The mode must read and write as the stream's own does. No other thread uses the stream
// during the call.
bool utPlatFileReopen(FILE *stream, const char *name, const char *mode);
int32_t utPlatFileDescriptor(FILE *stream);
// Gives the system what the stream holds and then the text, in one write if it holds nothing.
// No other thread's text comes in between. Result: the number of bytes of the text that the system
// took; the rest is not kept, and the stream's error mark is set.
size_t utPlatFilePut(FILE *stream, const char *text, size_t size);

// --- Descriptors ---

// The standard read and write, -1 when they fail. What a signal breaks off goes on: a read begins
// again, a write ends when all is written or the rest cannot be.
int32_t utPlatDescriptorRead(int32_t descriptor, void *buffer, int32_t count);
int32_t utPlatDescriptorWrite(int32_t descriptor, const void *buffer, int32_t count);

// --- Names of files ---

enum class PlatFileKind { none, regular, directory, other };
// What a name stands for, links followed. `none`: it cannot be found, see errno.
PlatFileKind utPlatFileKind(const char *name);
bool utPlatFileWritable(const char *name);
// Do two names that differ only in case both exist, as different files?
bool utPlatFilesDiffer(const char *a, const char *b);
bool utPlatFileRemove(const char *name);
// Renames, replacing a file of the new name in one step; the same name in another spelling changes
// nothing. Waits a moment for others who keep the file from being renamed.
bool utPlatFileReplace(const char *from, const char *to);
// Renames in one step where there is no file of the new name; else fails with EEXIST.
bool utPlatFilePlace(const char *from, const char *to);

struct PlatFileInfo {
  int64_t size;
  double accessed; // seconds since 1970
  double modified;
  double changed; // the creation where the system keeps no time of change
};
bool utPlatFileInfo(const char *name, PlatFileInfo &info);

// The name as one word of a line for the system's command processor, written to `out` (null: only
// measured). Plain names stay as they are. The length, or -1 for a name that no line can carry.
int32_t utPlatShellWord(const char *name, char *out);

// --- Directories ---

bool utPlatMakeDir(const char *name);
bool utPlatRemoveDir(const char *name);
bool utPlatChangeDir(const char *name);

struct PlatDir;
struct PlatDirEntry {
  const char *name; // until the next read
  PlatFileKind kind;
};
enum class PlatDirRead { entry, end, failed };
PlatDir *utPlatDirOpen(const char *name);
PlatDirRead utPlatDirRead(PlatDir *dir, PlatDirEntry &entry);
// False: the system could not close it; the handle is gone all the same.
bool utPlatDirClose(PlatDir *dir);
