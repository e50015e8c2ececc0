// Catalogs: counted handles that point at a shared catalog file.
//
// A look-up takes no lock. Once threads are initialised it is counted in the catalog, and a file
// that the catalog no longer points at is freed only when no look-up is under way. The catalog is
// pointed at another file under the process mutex. It pins the files it points at: a file whose
// reference was released (a null file name) can still be read from.

#include "trace/utcat.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/messages.h"
#include "base/print.h"
#include "base/processlock.h"
#include "base/text.h"
#include "containers/hash.h"
#include "format/textformat.h"
#include "trace/binding.h"
#include "trace/catfile.h"

#include <atomic>

struct ZutCatalog {
  std::atomic<ZutCatalogFile *> file; // null: none, or it could not be read
  int32_t refcount;                   // under the resource lock of its address
  std::atomic<uint32_t> flags;
  std::atomic<int32_t> readers; // look-ups under way
  bool holds;                   // a reference to `file`; under the process mutex
  ZutPstNode *retired;          // files that a look-up may still read; likewise
  ZutWord number;               // for its bindings, see binding.h
};

namespace {

ZutWord wordOf(const void *pointer) { return reinterpret_cast<ZutWord>(pointer); }

// --- Pointing at a file ---

void retire(ZutCatalog &catalog, ZutCatalogFile *file) {
  if (file) ZutPushPstNode(&catalog.retired, wordOf(file));
  // A later look-up reads the new pointer: all these operations have one total order.
  if (catalog.readers.load() != 0) return;
  while (catalog.retired) {
    utCatFileUnpin(reinterpret_cast<ZutCatalogFile *>(ZutPopPstNode(&catalog.retired)));
  }
}

void giveUp(ZutCatalog &catalog) {
  utCheck(!catalog.holds || catalog.file.load());
  if (catalog.holds) utCatFileRelease(catalog.file);
  catalog.holds = false;
}

void pointAt(ZutCatalog &catalog, const char *filename) {
  utCheck(!catalog.holds); // what it held was given up
  ZutCatalogFile *file = filename ? utCatFileShare(filename) : nullptr;
  if (file) utCatFilePin(file);
  catalog.holds = file != nullptr;
  retire(catalog, catalog.file.exchange(file));
}

// --- Look-ups ---

// Counts only once threads are initialised: before, no file is changed during a look-up.
class Reading {
public:
  explicit Reading(ZutCatalog &catalog) : catalog_(catalog), counted_(utThreadsOn()) {
    if (counted_) catalog_.readers.fetch_add(1);
  }
  ~Reading() {
    utCheck(!counted_ || catalog_.readers.load() > 0);
    if (counted_) catalog_.readers.fetch_sub(1);
  }
  Reading(const Reading &) = delete;
  Reading &operator=(const Reading &) = delete;

private:
  ZutCatalog &catalog_;
  const bool counted_;
};

enum class Search { found, missing, noFile, absent };

Search find(ZutCatalog &catalog, int32_t id, CatMessage *&message) {
  const ZutCatalogFile *file = catalog.file.load();
  if (!file) return Search::noFile;
  if (!file->present) return Search::absent;
  const ZutHashBucket *bucket = utHashFind(file->table, id);
  if (!bucket) return Search::missing;
  message = reinterpret_cast<CatMessage *>(bucket->value);
  utCheck(message->key.id == id);
  return Search::found;
}

// Reports a look-up that found nothing. Prints, so the look-up must not be counted any more.
int32_t fail(Search search, int32_t id) {
  if (search == Search::noFile) return utFail(Err::nullPointer);
  if (search == Search::missing)
    ZutOut("ORL-WL-00000-W String lookup failed for message id %d\n", id);
  return 0;
}

const char *displayOf(const ZutCatalog &catalog, const ZutCatMsgKey &key) {
  return catalog.flags & Z_CAT_FLAG_ID ? key.complete_str : key.display;
}

// --- The text against the arguments ---

// The kinds of what the library passes with a number of its own.
MessageKinds kindsOf(int32_t id) {
  const Message *row = utMessageFind(id);
  return row ? utMessageKinds(row->text) : MessageKinds{};
}

// Where the arguments are not known the conversions must at least be plain ones. The text is
// checked from both its starts, because a conversion may extend across the second.
bool agrees(const ZutCatMsgKey &key, CatArguments whose) {
  if (whose == CatArguments::program) {
    return utFormatSafe(key.complete_str) && utFormatSafe(key.display);
  }
  const MessageKinds kinds = kindsOf(key.id);
  return utFormatAgrees(key.complete_str, kinds.list()) &&
         utFormatAgrees(key.display, kinds.list());
}

bool takesArguments(CatMessage &message, CatArguments whose) {
  std::atomic<CatVerdict> &known = message.verdicts[static_cast<int>(whose)];
  CatVerdict verdict = known.load(std::memory_order_relaxed);
  if (verdict == CatVerdict::unknown) {
    verdict = agrees(message.key, whose) ? CatVerdict::agrees : CatVerdict::differs;
    known.store(verdict, std::memory_order_relaxed);
  }
  return verdict == CatVerdict::agrees;
}

// A format that prints the text unchanged and then the arguments where they are known: the reader
// needs them whatever the catalog says.
const char *listingFormat(CatText &out, std::string_view text, const MessageKinds &kinds) {
  const bool hasEnd = text.ends_with('\n');
  if (hasEnd) text.remove_suffix(1);
  utCheck(text.size() <= utCatMaxLine);
  char *at = out.space;
  for (char c : text) {
    if (c == '%') *at++ = '%';
    *at++ = c;
  }
  for (char kind : kinds.list()) {
    const bool isLong = kind == 'l';
    at += std::snprintf(at, 8, " <%%%s%c>", isLong ? "l" : "", isLong ? 'd' : kind);
  }
  if (hasEnd) *at++ = '\n';
  *at = 0;
  utCheck(at < std::end(out.space));
  return out.space;
}

// --- Options ---

// Under the process mutex.
bool isReading(const ZutCatalog &catalog, const char *filename) {
  return catalog.holds && utSame(catalog.file.load()->filename, filename);
}

// A call without data comes from binding: it need not read again the file that the catalog has.
void Z_CALL filenameChanged(void *option, void *data, ZutWord argument) {
  auto *catalog = static_cast<ZutCatalog *>(utLiveEnter(argument));
  if (!catalog) return;
  const char *name = nullptr;
  if (ZutOptionGetStr(static_cast<ZutOption *>(option), &name)) {
    if (data || !isReading(*catalog, name)) ZutCatFilenameSet(catalog, name);
  } else if (utErrGet() == Err::unknown) {
    ZutCatFilenameSet(catalog, nullptr);
  }
  utLiveLeave();
}

void Z_CALL flagsChanged(void *option, void *, ZutWord argument) {
  auto *catalog = static_cast<ZutCatalog *>(utLiveEnter(argument));
  if (!catalog) return;
  const ZutStrList *list = nullptr;
  if (ZutOptionGetEnumList(static_cast<ZutOption *>(option), &list)) {
    uint32_t flags = 0;
    for (; list; list = list->next) {
      if (utSameWord(list->string, "id")) flags = Z_CAT_FLAG_ID;
    }
    catalog->flags = flags;
  } else if (utErrGet() == Err::unknown) {
    catalog->flags = 0;
  }
  utLiveLeave();
}

int32_t bind(ZutCatalog *catalog, const char *option_name, ZutCbFunc handler) {
  if (!catalog || !option_name) return utFail(Err::nullPointer);
  ZutOption *option = utFindOption(option_name);
  return option ? utBind(option, handler, catalog->number) : 0;
}

int32_t unbind(ZutCatalog *catalog, const char *option_name, ZutCbFunc handler) {
  if (!catalog || !option_name) return utFail(Err::nullPointer);
  return utUnbind(option_name, handler, catalog->number);
}

// Adds to the count of references; returns the new count.
int32_t count(ZutCatalog *catalog, int32_t change) {
  const ZutWord resource = wordOf(&catalog->refcount);
  ZutResourceLock(resource);
  utCheck(catalog->refcount > 0);
  const int32_t references = catalog->refcount += change;
  ZutResourceUnlock(resource);
  return references;
}

} // namespace

bool utCatTextBegin(ZutCatalog &catalog, int32_t id, CatArguments whose, CatText &out) {
  catalog.readers.fetch_add(1); // always: printing may change the file
  CatMessage *message = nullptr;
  const Search search = find(catalog, id, message);
  if (search != Search::found) {
    utCatTextEnd(catalog);
    return fail(search, id);
  }
  const char *text = displayOf(catalog, message->key);
  out.severity = message->key.severity;
  const bool isOurs = whose == CatArguments::library;
  out.format = takesArguments(*message, whose)
                   ? text
                   : listingFormat(out, text, isOurs ? kindsOf(id) : MessageKinds{});
  return true;
}

void utCatTextEnd(ZutCatalog &catalog) {
  utCheck(catalog.readers.load() > 0);
  catalog.readers.fetch_sub(1);
}

extern "C" {

ZutCatalog *Z_CALL ZutCatCreate(const char *filename) {
  auto *catalog = utNew<ZutCatalog>("cat_return");
  catalog->refcount = 1;
  catalog->number = utLiveAdd(catalog);
  ZutProcessMutexLock();
  pointAt(*catalog, filename);
  ZutProcessMutexUnlock();
  return catalog;
}

int32_t Z_CALL ZutCatAddref(ZutCatalog *catalog) {
  if (!catalog) return utFail(Err::nullPointer);
  count(catalog, 1);
  return 1;
}

int32_t Z_CALL ZutCatRelease(ZutCatalog *catalog) {
  if (!catalog) return utFail(Err::nullPointer);
  return count(catalog, -1) > 0 ? 1 : ZutCatDestroy(catalog);
}

int32_t Z_CALL ZutCatDestroy(ZutCatalog *catalog) {
  if (!catalog) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  utLiveRemove(catalog->number);
  giveUp(*catalog);
  catalog->readers = 0; // a printing that was left by a jump does not count
  pointAt(*catalog, nullptr);
  utCheck(!catalog->retired);
  Z_FREE(catalog, "cat_return");
  return 1;
}

int32_t Z_CALL ZutCatFlagSet(ZutCatalog *catalog, uint32_t bits) {
  if (!catalog) return utFail(Err::nullPointer);
  catalog->flags |= bits;
  return 1;
}

int32_t Z_CALL ZutCatFlagClear(ZutCatalog *catalog, uint32_t bits) {
  if (!catalog) return utFail(Err::nullPointer);
  catalog->flags &= ~bits;
  return 1;
}

int32_t Z_CALL ZutCatSeverityStrToVal(char letter, uint32_t *value) {
  if (!value) return utFail(Err::nullPointer);
  const int32_t severity = utCatSeverity(letter);
  if (severity < 0) return 0;
  *value = static_cast<uint32_t>(severity);
  return 1;
}

int32_t Z_CALL ZutCatLookup(ZutCatalog *catalog, int32_t id, ZutCatMsgKey **out) {
  if (!catalog || !out) return utFail(Err::nullPointer);
  CatMessage *message = nullptr;
  Search search;
  {
    const Reading reading(*catalog);
    search = find(*catalog, id, message);
  }
  if (search == Search::found || search == Search::missing)
    *out = message ? &message->key : nullptr;
  return search == Search::found ? 1 : fail(search, id);
}

int32_t Z_CALL ZutCatGetDisplayStr(ZutCatalog *catalog, ZutCatMsgKey *key, const char **out) {
  if (!catalog || !key || !out) return utFail(Err::nullPointer);
  *out = displayOf(*catalog, *key);
  return 1;
}

int32_t Z_CALL ZutCatGetStr(ZutCatalog *catalog, int32_t id, const char **out) {
  if (!catalog || !out) return utFail(Err::nullPointer);
  Search search;
  {
    const Reading reading(*catalog);
    CatMessage *message = nullptr;
    search = find(*catalog, id, message);
    if (search == Search::found) *out = displayOf(*catalog, message->key);
  }
  return search == Search::found ? 1 : fail(search, id);
}

int32_t Z_CALL ZutCatFilenameSet(ZutCatalog *catalog, const char *filename) {
  if (!catalog) return utFail(Err::nullPointer);
  ZutProcessMutexLock();
  giveUp(*catalog);
  if (filename) pointAt(*catalog, filename);
  ZutProcessMutexUnlock();
  return 1;
}

int32_t Z_CALL ZutCatFilenameGet(ZutCatalog *catalog, const char **out) {
  if (!catalog || !out) return utFail(Err::nullPointer);
  const Reading reading(*catalog);
  const ZutCatalogFile *file = catalog->file;
  if (!file) return utFail(Err::nullPointer);
  *out = file->filename;
  return 1;
}

int32_t Z_CALL ZutCatFilenameOptionBind(ZutCatalog *catalog, const char *option_name) {
  return bind(catalog, option_name, filenameChanged);
}

int32_t Z_CALL ZutCatFilenameOptionUnbind(ZutCatalog *catalog, const char *option_name) {
  return unbind(catalog, option_name, filenameChanged);
}

int32_t Z_CALL ZutCatFlagsOptionBind(ZutCatalog *catalog, const char *option_name) {
  return bind(catalog, option_name, flagsChanged);
}

int32_t Z_CALL ZutCatFlagsOptionUnbind(ZutCatalog *catalog, const char *option_name) {
  return unbind(catalog, option_name, flagsChanged);
}

} // extern "C"
