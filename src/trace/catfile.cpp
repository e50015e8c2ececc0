// The list of loaded catalog files and the reading of one: cut in place into lines, each good one
// copied with its record into blocks that the file owns.
//
// The process mutex guards the list and the counts and is held while a file is read, as the bad
// lines are reported: frames that may report hold no object with a destructor.

#include "trace/catfile.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/filename.h"
#include "base/memory.h"
#include "base/print.h"
#include "base/processlock.h"
#include "base/text.h"
#include "containers/hash.h"
#include "platform/platform_file.h"
#include "trace/utcat.h"

#include <algorithm>
#include <new>
#include <string_view>

// Bytes taken from the front to the end; freed as a whole.
struct CatBlock {
  CatBlock *next;
  int32_t used;
  int32_t size;
};

namespace {

using std::string_view;

constexpr int32_t expectedMessages = 10000;
constexpr size_t maxFileName = 255;
constexpr size_t windowSize = 64 * 1024;
// Of the first block; each further one is four times as large, so that most of what a large file
// needs is one piece, which the runtime keeps or returns to the system as a whole.
constexpr int32_t blockSize = 32 * 1024;
constexpr int32_t maxBlockSize = 2 * 1024 * 1024;
static_assert(blockSize > 8 * utCatMaxLine); // any line fits

ZutDqNode *files = nullptr;

// --- The list ---

// Two names of one file: equal but for case, unless the system knows them as two.
bool isSameFile(const char *a, const char *b) {
  return utSame(a, b) || (utSameName(a, b) && !utPlatFilesDiffer(a, b));
}

// The first file in the list for which `take` is true, or null.
template <class Take>
ZutCatalogFile *findFile(Take take) {
  utCheck(utProcessMutexHeld());
  if (!files) ZutDqOpen(&files);
  for (ZutDqNode *node = files->right; node != files; node = node->right) {
    auto *file = reinterpret_cast<ZutCatalogFile *>(node);
    if (take(file)) return file;
  }
  return nullptr;
}

void freeFile(ZutCatalogFile *file) {
  utCheck(file->pins == 0);
  ZutHashDestroy(file->table, nullptr, 0);
  while (CatBlock *block = file->blocks) {
    file->blocks = block->next;
    Z_FREE(block, "catalog_block");
  }
  Z_FREE(file->filename, "(catf->filename)");
  Z_FREE(file, "catf");
}

// --- One line ---

// Cuts a text as strtok does: delimiters before a field are skipped, runs of them are one.
class Fields {
public:
  explicit Fields(string_view text) : at_(text.data()), end_(text.data() + text.size()) {}
  string_view next(char delimiter) {
    while (at_ < end_ && *at_ == delimiter) ++at_;
    const char *start = at_;
    while (at_ < end_ && *at_ != delimiter) ++at_;
    const string_view field(start, static_cast<size_t>(at_ - start));
    if (at_ < end_) ++at_;
    return field;
  }

private:
  const char *at_;
  const char *end_;
};

struct CatLine {
  string_view whole;
  string_view vendor, product, number, severity;
  int32_t id;
  int32_t severityValue;
};

// What is wrong with a line: the format of the message that says so, or null.
const char *parseLine(string_view whole, CatLine &line) {
  Fields fields(whole);
  line.whole = whole;
  line.vendor = fields.next('-');
  line.product = fields.next('-');
  line.number = fields.next('-');
  line.severity = fields.next(' ');
  if (line.severity.empty()) return "ORL-WL-00000-W Corrupt catalog %s: %.*s";
  // The delimiter that follows ends the number; past a blank field it would be read as a sign.
  const bool blank =
      std::all_of(line.number.begin(), line.number.end(), [](char c) { return utIsSpace(c); });
  line.id = blank ? 0 : utParseInt(line.number.data());
  if (line.id == 0) return "ORL-WL-00000-W Invalid ID %s: %.*s";
  line.severityValue = utCatSeverity(line.severity[0]);
  return line.severityValue < 0 ? "ORL-WL-00000-W Invalid severity %s: %.*s" : nullptr;
}

char *takeBytes(ZutCatalogFile *file, int32_t count) {
  utCheck(count > 0 && count <= blockSize - static_cast<int32_t>(sizeof(CatBlock)));
  CatBlock *block = file->blocks;
  if (!block || block->size - block->used < count) {
    const int32_t size = block ? std::min(4 * block->size, maxBlockSize) : blockSize;
    block = static_cast<CatBlock *>(Z_MALLOC(size, "catalog_block"));
    *block = {file->blocks, sizeof(CatBlock), size};
    file->blocks = block;
  }
  block->used += count;
  utCheck(block->used <= block->size);
  return reinterpret_cast<char *>(block) + block->used - count;
}

char *putText(char *&at, string_view text) {
  char *start = at;
  at = std::copy(text.begin(), text.end(), start);
  *at++ = 0;
  return start;
}

// The identifier's length is computed with one delimiter between the fields: more of them shift
// where the identifier ends and the text starts. Kept.
void keepLine(ZutCatalogFile *file, const CatLine &line) {
  const size_t fields = line.vendor.size() + line.product.size();
  const size_t id = fields + line.number.size() + line.severity.size() + 3;
  utCheck(id <= line.whole.size());
  constexpr size_t align = alignof(CatMessage);
  const size_t texts = fields + 2 + id + 1 + line.whole.size() + 1;
  const auto size = static_cast<int32_t>((sizeof(CatMessage) + texts + align - 1) / align * align);
  char *start = takeBytes(file, size);
  char *at = start + sizeof(CatMessage);
  ZutCatMsgKey key{};
  key.id = line.id;
  key.severity = static_cast<uint32_t>(line.severityValue);
  key.vendor = putText(at, line.vendor);
  key.product = putText(at, line.product);
  key.complete_id = putText(at, line.whole.substr(0, id));
  key.complete_str = putText(at, line.whole);
  utCheck(at <= start + size);
  key.display = key.complete_str + id;
  while (utIsSpace(*key.display)) ++key.display;
  auto *message = new (start) CatMessage{key, {}};

  const int32_t before = ZutHashGetSize(file->table);
  ZutHashInsert(file->table, key.id, reinterpret_cast<ZutWord>(message));
  if (ZutHashGetSize(file->table) == before) file->blocks->used -= size; // a number seen before
}

void takeLine(ZutCatalogFile *file, string_view whole) {
  if (whole.starts_with('#') || whole.starts_with('\n')) return;
  CatLine line;
  const char *problem = parseLine(whole, line);
  if (!problem) keepLine(file, line);
  else ZutOut(problem, file->filename, static_cast<int>(whole.size()), whole.data());
}

// --- The whole file ---

// What has been read of a file and not been taken yet.
struct Window {
  FILE *stream;
  char *at;
  char *end;
  bool ended;
  char space[windowSize];
};

// Removes the carriage return before a line's end, where the runtime does not. Returns the new end.
char *dropReturns(char *at, char *end) {
  auto *to = static_cast<char *>(std::memchr(at, '\r', static_cast<size_t>(end - at)));
  if (!to) return end;
  for (char *from = to; from < end; ++from) {
    if (*from != '\r' || from + 1 == end || from[1] != '\n') *to++ = *from;
  }
  return to;
}

void readOn(Window &window) {
  const auto rest = static_cast<size_t>(window.end - window.at);
  utCheck(rest < windowSize); // there is room to read into
  std::memmove(window.space, window.at, rest);
  const size_t count = std::fread(window.space + rest, 1, windowSize - rest, window.stream);
  window.ended = count == 0;
  window.at = window.space;
  window.end = dropReturns(window.space, window.space + rest + count);
}

void takeLines(ZutCatalogFile *file, Window &window) {
  for (;;) {
    // One character more than a line: what follows a carriage return decides whether it stays.
    if (!window.ended && window.end - window.at <= static_cast<ptrdiff_t>(utCatMaxLine))
      readOn(window);
    if (window.at == window.end) return;
    string_view piece(window.at, static_cast<size_t>(window.end - window.at));
    piece = piece.substr(0, utCatMaxLine);
    if (const size_t newline = piece.find('\n'); newline != piece.npos) {
      piece = piece.substr(0, newline + 1);
    }
    utCheck(!piece.empty() && piece.size() <= utCatMaxLine);
    window.at += piece.size();
    takeLine(file, piece.substr(0, piece.find('\0'))); // a NUL ends a line
  }
}

// False when it cannot be read to its end.
bool readLines(ZutCatalogFile *file, FILE *stream) {
  std::setvbuf(stream, nullptr, _IONBF, 0); // the window is the buffer
  auto *window = static_cast<Window *>(Z_MALLOC(sizeof(Window), "catalog_text"));
  window->stream = stream;
  window->at = window->end = window->space;
  window->ended = false;
  takeLines(file, *window);
  Z_FREE(window, "catalog_text");
  return !std::ferror(stream);
}

ZutCatalogFile *readFile(const char *filename) {
  if (std::strlen(filename) > maxFileName) return nullptr;
  auto *file = utNew<ZutCatalogFile>("catf");
  file->table = ZutHashCreateInt(expectedMessages);
  file->filename = utDup(filename, "(catf->filename)");
  file->refcount = 1;
  if (!ZutCatFileLoad(file)) {
    freeFile(file);
    return nullptr;
  }
  ZutDqRightInsert(&file->links, files->left);
  return file;
}

void freeUnused(ZutCatalogFile *file) {
  if (file->refcount <= 0 && file->pins == 0) freeFile(file);
}

} // namespace

ZutCatalogFile *utCatFileShare(const char *filename) {
  ZutProcessMutexLock();
  ZutCatalogFile *file =
      findFile([&](ZutCatalogFile *each) { return isSameFile(each->filename, filename); });
  utCheck(!file || file->refcount > 0); // at 0 it leaves the list
  if (file) ++file->refcount;
  else file = readFile(filename);
  ZutProcessMutexUnlock();
  return file;
}

void utCatFileRelease(ZutCatalogFile *file) {
  const ProcessGuard guard;
  utCheck(file->pins >= 0);
  if (--file->refcount != 0) return; // below 0 it has left the list already
  ZutDqDetach(files, &file->links);
  freeUnused(file);
}

void utCatFilePin(ZutCatalogFile *file) {
  const ProcessGuard guard;
  utCheck(file->pins >= 0);
  ++file->pins;
}

void utCatFileUnpin(ZutCatalogFile *file) {
  const ProcessGuard guard;
  utCheck(file->pins > 0);
  --file->pins;
  freeUnused(file);
}

extern "C" {

// A file that cannot be read leaves the process mutex held. Kept; the library's own catalogs share
// their files by utCatFileShare, which does not.
ZutCatalogFile *Z_CALL ZutCatFileCreate(const char *filename) {
  if (!filename) return utFailNull(Err::nullPointer);
  ZutProcessMutexLock();
  ZutCatalogFile *file = utCatFileShare(filename);
  if (file) ZutProcessMutexUnlock();
  return file;
}

int32_t Z_CALL ZutCatFileDestroy(ZutCatalogFile *file) {
  if (!file) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  if (!findFile([&](ZutCatalogFile *each) { return each == file; })) return utFail(Err::notFound);
  utCatFileRelease(file);
  return 1;
}

int32_t Z_CALL ZutCatFileLoad(ZutCatalogFile *file) {
  if (!file || !file->table) return utFail(Err::nullPointer);
  if (!file->filename) return 0;
  if (!ZutFileExists(file->filename)) {
    ZutVerbose("ORL-WL-00000-W : The file \"%s\" does not exist\n", file->filename);
    return 0;
  }
  file->present = 1;
  FILE *stream = ZutFOpen(file->filename, "rb");
  const bool read = stream && readLines(file, stream);
  if (stream) std::fclose(stream);
  if (!read) ZutVerbose("ORL-WL-00000-W File %s exists, but unable to open.\n", file->filename);
  return read;
}

} // extern "C"
