// Trace objects: their making and settings, and the writing of a message.
//
// The process mutex guards files and prefixes and serialises all writing, so that lines of
// different objects never interleave. Whether a message is admitted is decided without it.
//
// A message is formatted before the mutex is taken, with room left in front for what the flags ask
// for; then the line goes to the stream in one write.

#include "trace/uttrace.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/print.h"
#include "base/processlock.h"
#include "base/report.h"
#include "base/text.h"
#include "config/option/option.h"
#include "file/filetable.h"
#include "format/textformat.h"
#include "platform/platform_file.h"
#include "trace/binding.h"
#include "trace/utcat.h"

#include <algorithm>
#include <cstdarg>
#include <string_view>
#include <utility>

namespace {

using Trace = struct ZutTrace;
using std::string_view;

constexpr int32_t headRoom = 128;
constexpr int32_t lineRoom = 1024;

// Under the process mutex.
bool openFailureReported = false;     // once
bool rotationFailureReported = false; // once, until a rotation succeeds
ZutPstNode *cutStreams = nullptr;     // may end within a line, whose rest the system did not take

// --- Names of levels ---

struct LevelName {
  int32_t level;
  const char *name;
};
constexpr LevelName levelNames[] = {
    {Z_TRACE_LEVEL_DEFAULT, "default"},     {Z_TRACE_LEVEL_ALWAYS, "always"},
    {Z_TRACE_LEVEL_NEVER, "never"},         {Z_TRACE_LEVEL_NEVER, "none"},
    {Z_TRACE_LEVEL_ERROR, "error"},         {Z_TRACE_LEVEL_WARNING, "warning"},
    {Z_TRACE_LEVEL_INFO, "info"},           {Z_TRACE_LEVEL_INFO_1, "info_1"},
    {Z_TRACE_LEVEL_INFO_2, "info_2"},       {Z_TRACE_LEVEL_VERBOSE, "verbose"},
    {Z_TRACE_LEVEL_VERBOSE_1, "verbose_1"}, {Z_TRACE_LEVEL_VERBOSE_2, "verbose_2"},
    {Z_TRACE_LEVEL_DEBUG, "debug"},
};

// From "always" to "debug".
constexpr string_view levelTags[] = {
    "ALWAYS: ", "",          "ERROR: ",    "WARNING: ",  "INFO: ",  "INFO1: ",
    "INFO2: ",  "VERBOSE: ", "VERBOSE1: ", "VERBOSE2: ", "DEBUG: ",
};

static_assert(std::size(levelTags) == Z_TRACE_LEVEL_DEBUG - Z_TRACE_LEVEL_ALWAYS + 1);

string_view levelTag(int32_t level) {
  const bool known = level >= Z_TRACE_LEVEL_ALWAYS && level <= Z_TRACE_LEVEL_DEBUG;
  return known ? levelTags[level - Z_TRACE_LEVEL_ALWAYS] : "UNKNOWN: ";
}

// --- Files ---

bool isTableFile(const ZutFileNode *file) { return file->fname != nullptr; }

ZutFileNode *standardFile(FILE *stream) {
  auto *file = utNew<ZutFileNode>("new_file");
  file->stream = stream;
  return file;
}

ZutFileNode *replaceWithStandardOutput(const char *name) {
  if (!openFailureReported) {
    openFailureReported = true;
    ZutOut("WARNING: Unable to open trace file <%s> switching to stdout.\n", name);
  }
  return standardFile(stdout);
}

// The mutex is held.
ZutFileNode *openFile(const char *name) {
  utCheck(utProcessMutexHeld());
  const bool append = *name == '@';
  name += append;
  if (utSame(name, "stdout")) return standardFile(stdout);
  if (utSame(name, "stderr")) return standardFile(stderr);
  FILE *stream = ZutOpenFile(name, append ? "a" : "w");
  return stream ? utFileNodeOf(stream) : replaceWithStandardOutput(name);
}

bool isCut(const FILE *stream) {
  return ZutFindPstNode(cutStreams, reinterpret_cast<ZutWord>(stream)) != nullptr;
}

void setCut(const FILE *stream, bool cut) {
  const auto item = reinterpret_cast<ZutWord>(stream);
  ZutPstNode *node = ZutFindPstNode(cutStreams, item);
  if (cut == (node != nullptr)) return;
  if (cut) {
    ZutPushPstNode(&cutStreams, item);
  } else {
    node->item = cutStreams->item;
    ZutPopPstNode(&cutStreams);
  }
}

void closeTableFile(FILE *stream) {
  ZutCloseFile(stream);
  if (!utFileNodeOf(stream)) setCut(stream, false); // the next stream may have its address
}

void closeFile(ZutFileNode *file) {
  utCheck(file->stream);
  if (isTableFile(file)) closeTableFile(file->stream);
  else Z_FREE(file, "new_file");
}

// --- Rotation ---

// The count restarts also on failure, so that the next try comes after as many bytes. Until then
// the stream continues in its present file.
void rotate(ZutFileNode &file) {
  utCheck(isTableFile(&file));
  file.bytes_written = 0;
  const FileRotation outcome = utFileRotate(file.stream, file.fname, file.mode);
  if (outcome == FileRotation::done) setCut(file.stream, false);
  if (std::exchange(rotationFailureReported, outcome != FileRotation::done)) return;
  if (outcome == FileRotation::kept) utReport<Msg::backupFailed>(Z_TRACE_LEVEL_WARNING, file.fname);
  if (outcome == FileRotation::failed)
    utReport<Msg::traceReopen>(Z_TRACE_LEVEL_WARNING, file.fname);
}

void rotateFull(ZutFileNode &file) {
  static SettingCache size{"trace_file_size", nullptr, 0}; // the mutex is held
  const int32_t limit = utToInt32(utOptionNumber(size, 0.0));
  utCheck(file.bytes_written >= 0);
  if (limit > 0 && file.bytes_written >= limit) rotate(file);
}

// --- Writing ---

// A line. Its message is formatted first; the head is put in front of it.
struct Line {
  char space[headRoom + lineRoom];
  char *block; // in place of `space` for a long line
  char *start;
  size_t length;
};

// For formats that utFormatPlain does not handle.
int formatAny(Line &line, const char *format, va_list args) {
  va_list again;
  va_copy(again, args);
  utCheck(!line.block);
  int length = std::vsnprintf(line.start, lineRoom, format, args);
  if (length >= lineRoom) {
    line.block = utNewArray<char>(int64_t{headRoom} + length + 1, "trace_line");
    line.start = line.block + headRoom;
    length = std::vsnprintf(line.start, static_cast<size_t>(length) + 1, format, again);
  }
  va_end(again);
  return length;
}

void formatMessage(Line &line, const char *format, va_list args) {
  va_list again;
  va_copy(again, args);
  line.block = nullptr;
  line.start = line.space + headRoom;
  int length = utFormatPlain(line.start, lineRoom, format, args);
  if (length < 0) length = formatAny(line, format, again);
  line.length = length > 0 ? static_cast<size_t>(length) : 0;
  utCheck(line.block || line.length < lineRoom);
  va_end(again);
}

void makeRoom(Line &line, size_t size) {
  const size_t room = headRoom + size;
  auto *block = utNewArray<char>(static_cast<int64_t>(room + line.length), "trace_line");
  std::copy_n(line.start, line.length, block + room);
  Z_FREE(line.block, "trace_line");
  line.block = block;
  line.start = block + room;
}

void putBefore(Line &line, string_view text) {
  const char *first = line.block ? line.block : line.space;
  utCheck(line.start >= first);
  if (text.size() > static_cast<size_t>(line.start - first)) makeRoom(line, text.size());
  line.start -= text.size();
  line.length += text.size();
  std::copy(text.begin(), text.end(), line.start);
}

// Time, prefix and level tag, from the last to the first.
void putHead(Line &line, const Trace &trace, int32_t level) {
  const uint32_t flags = trace.flags.load(std::memory_order_relaxed);
  if (flags & Z_TRACE_FLAG_LEVEL) putBefore(line, levelTag(level));
  if (trace.prefix && flags & Z_TRACE_FLAG_PREFIX) {
    putBefore(line, "} ");
    putBefore(line, trace.prefix);
    putBefore(line, "{");
  }
  if (flags & Z_TRACE_FLAG_TIMESTAMP) {
    putBefore(line, ": ");
    putBefore(line, ZutTimeNumToStr(ZutGetWallTime()));
  }
}

// Puts in front of the line what the file lacks: the end of a line that was cut, and a note of how
// much of this object's output was lost. Returns the length added.
size_t putRepair(Line &line, const Trace &trace, const ZutFileNode &file) {
  const size_t before = line.length;
  if (trace.lostMessages) {
    char text[128];
    const int length = std::snprintf(
        text, sizeof text,
        "*** Lost here, as the file could not be written: %lld messages, %lld bytes\n",
        static_cast<long long>(trace.lostMessages), static_cast<long long>(trace.lostBytes));
    putBefore(line, {text, static_cast<size_t>(length)});
  }
  if (isCut(file.stream)) putBefore(line, "\n");
  return line.length - before;
}

void reportLoss(Trace &trace, const ZutFileNode &file) {
  if (trace.lossReported) return;
  trace.lossReported = true;
  utReport<Msg::traceLost>(Z_TRACE_LEVEL_WARNING, trace.name,
                           isTableFile(&file)      ? file.fname
                           : file.stream == stderr ? "stderr"
                                                   : "stdout");
}

// A message that is not written completely counts as lost, and the file may end in a part of it:
// not every system reports how much it wrote before it failed.
void putLine(Trace &trace, ZutFileNode &file, Line &line) {
  const size_t repair = putRepair(line, trace, file);
  const size_t taken = utPlatFilePut(file.stream, line.start, line.length);
  file.bytes_written = static_cast<int32_t>(
      std::min<int64_t>(file.bytes_written + static_cast<int64_t>(taken), INT32_MAX));
  utCheck(taken <= line.length && repair <= line.length);
  if (taken >= repair) trace.lostMessages = trace.lostBytes = 0;
  setCut(file.stream, taken < line.length);
  if (taken == line.length) return;
  utCheck(trace.lostMessages >= 0 && trace.lostBytes >= 0);
  ++trace.lostMessages;
  trace.lostBytes += static_cast<int64_t>(line.length - std::max(taken, repair));
  reportLoss(trace, file);
}

bool admits(const Trace &trace, int32_t level) {
  return level <= trace.level.load(std::memory_order_relaxed) && level != Z_TRACE_LEVEL_NEVER &&
         trace.file.load(std::memory_order_relaxed);
}

void write(Trace &trace, int32_t level, const char *format, va_list args) {
  ZutErrState state;
  void *tsd = ZutErrNumSaveTsd(&state);
  Line line;
  formatMessage(line, format, args);
  ZutProcessMutexLock();
  ZutFileNode *file = trace.file;
  if (file && isTableFile(file)) {
    rotateFull(*file);
    file = trace.file;
  }
  if (file) {
    putHead(line, trace, level);
    putLine(trace, *file, line);
  }
  ZutProcessMutexUnlock();
  Z_FREE(line.block, "trace_line");
  ZutErrNumRestoreTsd(&state, tsd);
}

} // namespace

extern "C" {

Trace *Z_CALL ZutTraceCreate(const char *name, const char *file_name, uint32_t flags,
                             const char *prefix) {
  if (!name) return utFailNull(Err::nullPointer);
  auto *trace = utNew<Trace>("trace_return");
  trace->name = utDup(name, "(trace_return->name)");
  trace->level = Z_TRACE_LEVEL_WARNING;
  trace->flags = flags;
  trace->refcount = 1;
  trace->number = utLiveAdd(trace);
  ZutTraceFileSet(trace, file_name);
  ZutTracePrefixSet(trace, prefix);
  if (flags == 0) ZutTraceFlagsOptionBind(trace, "trace_flags");
  return trace;
}

Trace *Z_CALL ZutTraceCreateWithCatalog(const char *name, const char *file_name, uint32_t flags,
                                        const char *prefix) {
  Trace *trace = ZutTraceCreate(name, file_name, flags, prefix);
  if (!trace) return nullptr;
  ZutOutInit(); // makes the options that the catalog follows
  char *catalog_file = utOptionDup("catalog_file");
  ZutCatalog *catalog = ZutCatCreate(catalog_file);
  Z_FREE(catalog_file, "catalog_file");
  ZutCatFilenameOptionBind(catalog, "catalog_file");
  ZutCatFlagsOptionBind(catalog, "catalog_flags");
  ZutTraceCatalogBind(catalog, trace);
  ZutCatRelease(catalog);
  return trace;
}

Trace *Z_CALL ZutTraceAddref(Trace *trace) {
  utCheck(trace->refcount.load() > 0);
  trace->refcount.fetch_add(1, std::memory_order_relaxed);
  return trace;
}

int32_t Z_CALL ZutTraceRelease(Trace **trace) {
  if (!trace || !*trace) return utFail(Err::nullPointer);
  return (*trace)->refcount.fetch_sub(1) > 1 ? 1 : ZutTraceDestroy(trace);
}

int32_t Z_CALL ZutTraceDestroy(Trace **trace) {
  if (!trace || !*trace) return utFail(Err::nullPointer);
  Trace *gone = *trace;
  ZutTraceFlagsOptionUnbind(gone, "trace_flags");
  if (gone->catalog) {
    ZutCatFilenameOptionUnbind(gone->catalog, "catalog_file");
    ZutCatFlagsOptionUnbind(gone->catalog, "catalog_flags");
  }
  utCheck(gone->refcount.load() >= 0);
  utLiveRemove(gone->number);
  if (gone->lostMessages)
    utReport<Msg::traceLostAtEnd>(Z_TRACE_LEVEL_WARNING, gone->name, gone->lostMessages,
                                  gone->lostBytes);
  ZutTraceCatalogUnbind(gone);
  ZutTraceFileSet(gone, nullptr);
  ZutTracePrefixSet(gone, nullptr);
  utCheck(!gone->file.load() && !gone->prefix && !gone->catalog);
  Z_FREE(gone->name, "(*trace)->name");
  Z_FREE(gone, "*trace");
  *trace = nullptr;
  return 1;
}

int32_t Z_CALL ZutTraceCatalogBind(ZutCatalog *catalog, Trace *trace) {
  trace->catalog = catalog;
  ZutCatAddref(catalog);
  return 1;
}

int32_t Z_CALL ZutTraceCatalogUnbind(Trace *trace) {
  if (trace->catalog) ZutCatRelease(trace->catalog);
  trace->catalog = nullptr;
  return 1;
}

int32_t Z_CALL ZutTraceLevelSet(Trace *trace, int32_t level) {
  if (level < Z_TRACE_LEVEL_DEFAULT || level > Z_TRACE_LEVEL_DEBUG) return utFail(Err::invalid);
  trace->level.store(level, std::memory_order_relaxed);
  return 1;
}

int32_t Z_CALL ZutTraceLevelGet(Trace *trace, int32_t *out) {
  *out = trace->level.load(std::memory_order_relaxed);
  return 1;
}

int32_t Z_CALL ZutTraceFlagSet(Trace *trace, uint32_t bits) {
  trace->flags.fetch_or(bits, std::memory_order_relaxed);
  return 1;
}

int32_t Z_CALL ZutTraceFlagClear(Trace *trace, uint32_t bits) {
  trace->flags.fetch_and(~bits, std::memory_order_relaxed);
  return 1;
}

int32_t Z_CALL ZutTracePrefixSet(Trace *trace, const char *prefix) {
  const ProcessGuard guard;
  Z_FREE(trace->prefix, "(trace->prefix)");
  trace->prefix = prefix && *prefix ? utDup(prefix, "(trace->prefix)") : nullptr;
  return 1;
}

int32_t Z_CALL ZutTracePrefixGet(Trace *trace, const char **out) {
  *out = trace->prefix;
  return 1;
}

int32_t Z_CALL ZutTraceFileSet(Trace *trace, const char *file_name) {
  if (!trace) return utFail(Err::nullPointer);
  ZutProcessMutexLock();
  // The new file is opened before the old one is closed.
  ZutFileNode *file = file_name ? openFile(file_name) : nullptr;
  if (ZutFileNode *old = trace->file.exchange(file)) closeFile(old);
  ZutProcessMutexUnlock();
  return 1;
}

int32_t Z_CALL ZutTraceLevelStrToVal(const char *text, int32_t *out) {
  if (!text || !out) return utFail(Err::nullPointer);
  for (const LevelName &row : levelNames) {
    if (!utSameWord(text, row.name)) continue;
    *out = row.level;
    return 1;
  }
  return 0;
}

int32_t Z_CALL ZutTraceLevelValToStr(int32_t level, const char **out) {
  if (!out) return utFail(Err::nullPointer);
  if (level < Z_TRACE_LEVEL_NEVER) return utFail(Err::invalid);
  for (const LevelName &row : levelNames) {
    if (row.level != level) continue;
    *out = row.name;
    return 1;
  }
  return utFail(Err::invalid);
}

int32_t Z_CALL ZutTraceMapSeverityToTraceLevel(int32_t severity, int32_t *level) {
  if (!level) return utFail(Err::nullPointer);
  constexpr int32_t levels[] = {
      Z_TRACE_LEVEL_ALWAYS, Z_TRACE_LEVEL_NEVER,   Z_TRACE_LEVEL_ERROR, Z_TRACE_LEVEL_WARNING,
      Z_TRACE_LEVEL_INFO,   Z_TRACE_LEVEL_VERBOSE, Z_TRACE_LEVEL_DEBUG,
  };
  *level = severity >= 0 && severity < static_cast<int32_t>(std::size(levels)) ? levels[severity]
                                                                               : 10000;
  return 1;
}

int32_t Z_CALL ZutTrace(Trace *trace, int32_t level, const char *format, ...) {
  if (!trace) return utFail(Err::nullPointer);
  if (!admits(*trace, level)) return 1;
  va_list args;
  va_start(args, format);
  write(*trace, level, format, args);
  va_end(args);
  return 1;
}

int32_t Z_CALL ZutTraceVa(Trace *trace, int32_t level, const char *format, va_list args) {
  if (!trace) return utFail(Err::nullPointer);
  if (admits(*trace, level)) write(*trace, level, format, args);
  return 1;
}

int32_t Z_CALL ZutTraceCat(Trace *trace, int32_t level, int32_t number, ...) {
  if (!trace) return utFail(Err::nullPointer);
  CatText message;
  if (!trace->catalog) return 0;
  if (!utCatTextBegin(*trace->catalog, number, CatArguments::program, message)) return 0;
  if (level == Z_TRACE_LEVEL_DEFAULT) {
    ZutTraceMapSeverityToTraceLevel(static_cast<int32_t>(message.severity), &level);
  }
  if (admits(*trace, level)) {
    va_list args;
    va_start(args, number);
    write(*trace, level, message.format, args);
    va_end(args);
  }
  utCatTextEnd(*trace->catalog);
  return 1;
}

} // extern "C"
