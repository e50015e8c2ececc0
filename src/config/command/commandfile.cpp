// Command files: reading their lines, and finding a program's start-up files.
#include "config/command/commandfile.h"

#include "base/check.h"
#include "base/env.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/places.h"
#include "base/processlock.h"
#include "base/text.h"
#include "base/threadblock.h"
#include "config/command/parse.h"
#include "config/command/source.h"
#include "file/file.h"

#include <utility>

namespace {

struct FileSource : CommandSource {
  FILE *stream;
  bool ownStream; // not in the table of open files
};

void release(CommandSource &source) {
  FileSource &file = static_cast<FileSource &>(source);
  utCheck(source.file && file.stream);
  if (file.ownStream) std::fclose(file.stream);
  else ZutCloseFile(file.stream);
  Z_FREE(&file, "command file");
}

// Runs the lines. False when the file turns out not to be text; the lines before have been run.
bool parseLines(FileSource &source) {
  char line[utCommandLineMax + 1];
  while (!utCommandStopped()) {
    utCheck(utCommandThread().source == &source);
    ++source.line;
    switch (utReadLine(source.stream, line, sizeof line, source.line == 1)) {
    case LineRead::line: utCommandParse(line, 0, 0); break;
    case LineRead::tooLong:
      utCommandFail<Msg::commandLineTooLong>(Z_TRACE_LEVEL_ERROR, source.file, source.line,
                                             utCommandLineMax);
      break;
    case LineRead::zeroByte:
    case LineRead::error:
      utCommandFail<Msg::commandFileNotText>(Z_TRACE_LEVEL_ERROR, source.file, source.line);
      return false;
    case LineRead::end: return true;
    }
  }
  return true;
}

// The stream is not shared: the table of open files would return the one that another parse is
// reading, so a file that is open already gets a stream of its own.
FILE *openForParse(const char *name, bool &ownStream) {
  const ProcessGuard guard;
  ownStream = ZutLookupFile(name) != nullptr;
  return ownStream ? ZutFOpen(name, "r") : ZutOpenFile(name, "r");
}

// With a copy of the name: the caller's may be a buffer that the commands overwrite. Null: the file
// cannot be opened.
FileSource *openSource(const char *name) {
  bool ownStream = false;
  FILE *stream = openForParse(name, ownStream);
  if (!stream) return nullptr;
  const size_t size = std::strlen(name) + 1;
  char *block = utNewArray<char>(static_cast<int64_t>(sizeof(FileSource) + size), "command file");
  FileSource *source = reinterpret_cast<FileSource *>(block);
  source->release = release;
  source->file = std::strcpy(block + sizeof(FileSource), name);
  source->stream = stream;
  source->ownStream = ownStream;
  return source;
}

[[gnu::noinline]] bool parseFile(const char *name) {
  const void *frame = __builtin_frame_address(0);
  if (!utSourceFits(frame, name)) return false;
  FileSource *source = openSource(name);
  if (!source) {
    utCommandFail<Msg::commandFileOpen>(Z_TRACE_LEVEL_ERROR, name);
    return false;
  }
  CommandSource *volatile mark;
  utSourceEnter(*source, frame, mark);
  const bool whole = parseLines(*source);
  utSourceLeave(*source);
  return whole;
}

// The possible names of one file, in the order in which they are tried.
struct Candidates {
  char *names[4];
  int32_t count;
};

void add(Candidates &list, char *name) {
  utCheck(list.count < static_cast<int32_t>(std::size(list.names)));
  list.names[list.count++] = name;
}

void clear(Candidates &list) {
  while (list.count > 0) Z_FREE(list.names[--list.count], "candidate");
}

// Runs the first that exists and reports the others that do. False: none exists.
bool parseFirst(const Candidates &list) {
  const char *read = nullptr;
  for (int32_t i = 0; i < list.count; ++i) {
    if (!ZutFileExists(list.names[i])) continue;
    if (read) {
      utReport<Msg::commandFileIgnored>(Z_TRACE_LEVEL_WARNING, list.names[i], read);
      continue;
    }
    // For the first pair the first name is reported, whichever was read. Kept: programs of the
    // family look for that text.
    read = list.names[i <= 1 ? 0 : i];
    ZutCommandParseFile(list.names[i]);
  }
  return read != nullptr;
}

// The standard files of one directory.
void parseDirectory(const char *directory, const char *base, const char *secondBase) {
  Candidates list{};
  for (const char *name : {base, secondBase}) {
    if (!name) continue;
    add(list, utFileNameDup(directory, name, ".cm"));
    add(list, utFileNameDup(directory, name, ".cmd"));
  }
  parseFirst(list);
  clear(list);
}

// NAME.cm and NAME.cmd, whichever of them is given.
void addCommandFile(Candidates &list, const char *name) {
  const size_t length = std::strlen(name);
  char *other = utNewArray<char>(static_cast<int64_t>(length + 2), "candidate");
  std::memcpy(other, name, length);
  const bool longer = std::string_view(name).ends_with(".cmd");
  if (longer) other[length - 1] = '\0';
  else other[length] = 'd';
  char *given = utDup(name, "candidate");
  add(list, longer ? other : given);
  add(list, longer ? given : other);
}

bool parseCommandFile(const char *file, const char *secondFile) {
  Candidates list{};
  addCommandFile(list, file);
  if (secondFile) addCommandFile(list, secondFile);
  const bool found = parseFirst(list);
  clear(list);
  return found;
}

bool isStandardName(const char *file, const char *base) {
  const std::string_view name = file, stem = base;
  return name.size() == stem.size() + 3 && utBeginsWord(name, stem) &&
         utSameWord(name.substr(stem.size()), ".cm");
}

// A line as far as it has been read.
struct LineBuffer {
  char *line;
  size_t size;
  size_t length;
  bool first;       // of its file: may begin with the mark of UTF-8
  bool returnWaits; // a carriage return, which counts only if the line goes on
  bool full;
};

void store(LineBuffer &buffer, char c) {
  utCheck(buffer.length < buffer.size);
  if (buffer.length + 1 < buffer.size) buffer.line[buffer.length++] = c;
  else buffer.full = true;
}

void take(LineBuffer &buffer, char c) {
  constexpr std::string_view mark = "\xEF\xBB\xBF";
  if (buffer.returnWaits) store(buffer, '\r');
  buffer.returnWaits = c == '\r';
  if (!buffer.returnWaits) store(buffer, c);
  if (!buffer.first || buffer.length < mark.size()) return;
  buffer.first = false;
  if (mark == std::string_view(buffer.line, buffer.length)) buffer.length = 0;
}

struct StartupFiles {
  const char *base;
  const char *file;
  const char *secondBase; // null: none
  const char *secondFile; // null: none
  int32_t mustExist;
};

int32_t parseStandard(const StartupFiles &files, int32_t flags) {
  if (!files.base || !files.file) return utFail(Err::nullPointer);
  if ((flags != 0 && flags != 1) || (files.mustExist != 0 && files.mustExist != 1))
    return utFail(Err::invalid);
  if (char *home = utHomeDir()) {
    char *directory = utFileNameDup(home, "standard", nullptr);
    Z_FREE(home, "home directory");
    parseDirectory(directory, files.base, files.secondBase);
    Z_FREE(directory, "directory name");
  }
  if (char *home = utEnvDup("HOME")) {
    parseDirectory(home, files.base, files.secondBase);
    Z_FREE(home, "environment value");
  }
  if (parseCommandFile(files.file, files.secondFile)) return 1;
  if (!files.mustExist || isStandardName(files.file, files.base)) return 1;
  utCommandFail<Msg::commandFileMissing>(Z_TRACE_LEVEL_INFO, files.file);
  return utFail(Err::notFound);
}

} // namespace

LineRead utReadLine(FILE *stream, char *line, size_t size, bool first) {
  LineBuffer buffer{line, size, 0, first, false, false};
  int c = std::getc(stream);
  const bool any = c != EOF;
  while (c != EOF && c != '\n' && c != '\0') {
    take(buffer, static_cast<char>(c));
    c = std::getc(stream);
  }
  line[buffer.length] = '\0';
  if (c == '\0') return LineRead::zeroByte;
  if (c == EOF && std::ferror(stream)) return LineRead::error;
  if (buffer.full) return LineRead::tooLong;
  return any ? LineRead::line : LineRead::end;
}

bool utSkipLine(FILE *stream) {
  constexpr int32_t longest = 1048576;
  int c = std::getc(stream);
  for (int32_t i = 0; i < longest && c != EOF && c != '\n'; ++i) c = std::getc(stream);
  return c == EOF || c == '\n';
}

void utCommandParseIfExists(const char *directory, const char *base, const char *extension) {
  char *name = utFileNameDup(directory, base, extension);
  CommandThread &thread = utCommandThread();
  const int32_t failures = std::exchange(thread.failures, 0);
  if (ZutFileExists(name)) parseFile(name);
  thread.failures += failures;
  Z_FREE(name, "file name");
}

extern "C" {

int32_t Z_CALL ZutCommandParseFile(const char *file_name) {
  if (!file_name) return utFail(Err::nullPointer);
  return parseFile(file_name) ? 1 : 0;
}

int32_t Z_CALL ZutCommandParseStd(const char *base_name, int32_t flags, const char *command_file) {
  return parseStandard({base_name, command_file, nullptr, nullptr, 1}, flags);
}

int32_t Z_CALL ZutCommandParseStd2(const char *base_name, int32_t flags, const char *command_file,
                                   int32_t must_exist) {
  return parseStandard({base_name, command_file, nullptr, nullptr, must_exist}, flags);
}

int32_t Z_CALL ZutCommandParseStdInternal(const char *base_name, int32_t flags,
                                          const char *command_file, const char *second_base_name,
                                          const char *second_file) {
  return parseStandard({base_name, command_file, second_base_name, second_file, 1}, flags);
}

} // extern "C"
