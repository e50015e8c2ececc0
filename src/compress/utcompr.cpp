// The registry of drivers, compressors, and the pool of ready ones.
//
// Drivers stay until the process ends, so a compressor may point to its own. Registry and pool are
// guarded by the process mutex. A compressor has no lock: the pool hands each out to one thread.
#include "compress/utcompr.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/process.h"
#include "base/processlock.h"
#include "base/report.h"
#include "base/setting.h"
#include "base/text.h"
#include "containers/utbuffer.h"

#include <algorithm>
#include <cstdio>
#include <utility>

struct Driver {
  char *name;
  ZutCompressorCreateFunc create;
  ZutCompressorWorkFunc compress;
  ZutCompressorWorkFunc uncompress;
  ZutCompressorStatsFunc getStats;
  ZutCompressorResetFunc reset;
  ZutCompressorDestroyFunc destroy;
};

struct ZutCompressor {
  ZutDqNode links; // while it is in the pool
  void *state;
  const Driver *driver;
  char *args; // what it was made with, or null
  ZutCompressorStats stats;
  double nextStatsTime; // wall time before which no statistics are printed
  char *ident;
};

namespace {

constexpr int32_t poolSize = 8;
constexpr double statsInterval = 30.0;
constexpr int32_t finish = 2;

ZutHashTable *drivers = nullptr;
ZutDqNode *pool = nullptr;

// --- Drivers ---

const Driver *findDriver(const char *name) {
  const ProcessGuard guard;
  if (!drivers) return nullptr;
  return reinterpret_cast<const Driver *>(ZutHashLookup(drivers, reinterpret_cast<ZutWord>(name)));
}

// When two threads load one driver at once, the second finds the name registered and uses it.
const Driver *driverOfLibrary(const char *library, const char *name) {
  using Init = int32_t(Z_CALL *)();
  ZutLibrary *loaded = ZutLibraryLoad(library, 1);
  void *symbol = loaded ? ZutLibrarySymbolLookup(loaded, "ZcompressorDriverInit") : nullptr;
  if (!symbol) return nullptr;
  reinterpret_cast<Init>(symbol)();
  return findDriver(name);
}

// Names of drivers ignore case, file names may not: lower case is tried as well.
const Driver *loadDriver(const char *name) {
  if (const Driver *driver = driverOfLibrary(name, name)) return driver;
  char *lower = utLowerText(utDup(name, "driver name"));
  const Driver *driver = driverOfLibrary(lower, name);
  Z_FREE(lower, "driver name");
  if (driver) return driver;
  char *file = utLibraryFileName(name);
  utReport<Msg::compressorDriver>(Z_TRACE_LEVEL_WARNING, file);
  Z_FREE(file, "library name");
  return utFailNull(Err::notFound);
}

// Null when there is no such driver or it refuses the arguments, which may be null.
ZutCompressor *create(const char *name, const char *args) {
  const Driver *driver = findDriver(name);
  if (!driver) driver = loadDriver(name);
  if (!driver) return nullptr;
  void *state = driver->create(args);
  if (!state) return nullptr;
  auto *compressor = utNew<ZutCompressor>("comp");
  compressor->state = state;
  compressor->driver = driver;
  compressor->args = args ? utDup(args, "comp->args") : nullptr;
  return compressor;
}

void printStats(ZutCompressor &compressor) {
  if (!utOptionFlag("Compression_Stats", false)) return;
  const double now = ZutGetWallTime();
  if (!(now > compressor.nextStatsTime)) return;
  const ZutCompressorStats &stats = compressor.stats;
  if (ZutCompressorGetStats(&compressor, &compressor.stats)) {
    const double ratio = static_cast<double>(stats.bytes_in) / stats.bytes_out;
    utReport<Msg::compressorStats>(Z_TRACE_LEVEL_DEFAULT,
                                   compressor.ident ? compressor.ident : "<unknown>", stats.driver,
                                   stats.operations, ZutRealToStr(ratio));
  }
  compressor.nextStatsTime = now + statsInterval;
}

int32_t checkWork(const ZutCompressor *compressor, const ZutBuf *destination, const ZutBuf *source,
                  int32_t mode) {
  if (!compressor || !destination || !source) return utFail(Err::nullPointer);
  return mode >= 0 && mode <= finish ? 1 : utFail(Err::invalid);
}

// Calls the driver. Drivers are foreign code: a size beyond the capacity would make later writes
// overrun the buffer.
int32_t work(ZutCompressorWorkFunc function, ZutCompressor &compressor, ZutBuf &destination,
             ZutBuf &source, int32_t mode) {
  const int32_t size = destination.size, offset = source.offset;
  const int32_t result = function(compressor.state, &destination, &source, mode);
  const bool written = destination.size >= 0 && destination.size <= destination.capacity;
  const bool read = source.offset >= 0 && source.offset <= std::max(source.size, offset);
  if (written && read) return result;
  destination.size = std::min(size, destination.capacity);
  source.offset = offset;
  return utFail(Err::corrupt);
}

// --- The pool ---

bool sameText(const char *a, const char *b) { return a && b ? utSame(a, b) : a == b; }

// Was it made as the options say now?
bool isAsWanted(const ZutCompressor &compressor) {
  char *name = utOptionDup("Compression_Name");
  char *args = utOptionDup("Compression_Args");
  const bool same = name && utSameWord(name, compressor.driver->name);
  const bool wanted = same && sameText(args, compressor.args);
  ZutFree(name);
  ZutFree(args);
  return wanted;
}

// A new compressor with the ident of the old one, which may be null. Null when none can be made.
ZutCompressor *replace(ZutCompressor *old) {
  char *ident = old ? std::exchange(old->ident, nullptr) : nullptr;
  if (old) ZutCompressorDestroy(old);
  ZutCompressor *compressor = ZutCompressorCreate(nullptr, nullptr);
  utCheck(!compressor || !compressor->ident);
  if (compressor) compressor->ident = ident;
  else Z_FREE(ident, "comp->ident_str");
  return compressor;
}

// A compressor that failed may be in the middle of a stream. Without a reset function it is of no
// further use.
void giveBack(ZutCompressor *compressor, bool failed) {
  if (!failed || compressor->driver->reset) {
    utCompressorPoolPut(compressor);
    return;
  }
  ZutErrState reason;
  ZutErrNumSave(&reason);
  ZutCompressorDestroy(compressor);
  ZutErrNumRestore(&reason);
}

// --- Whole messages ---

using Work = int32_t(Z_CALL *)(ZutCompressor *, ZutBuf *, ZutBuf *, int32_t);

// Works until the destination is large enough.
int32_t workGrowing(Work work, ZutCompressor *compressor, ZutBuf *destination, ZutBuf *source) {
  for (;;) {
    if (const int32_t result = work(compressor, destination, source, finish)) return result;
    if (utErrGet() != Err::tooSmall) return 0;
    if (!utBufEnlarge(*destination)) return 0;
    utCheck(destination->capacity > destination->size);
  }
}

int32_t serve(Work work, ZutBuf *destination, ZutBuf *source) {
  if (!destination || !source) return utFail(Err::nullPointer);
  if (destination->is_static) return utFail(Err::invalid);
  ZutCompressor *compressor = utCompressorPoolGet();
  if (!compressor) return 0;
  const int32_t result = workGrowing(work, compressor, destination, source);
  giveBack(compressor, result == 0);
  return result;
}

} // namespace

int32_t utCompressorPoolInit() {
  const ProcessGuard guard;
  if (pool) return 1;
  ZutDqOpen(&pool);
  for (int32_t i = 0; i < poolSize; ++i) {
    ZutCompressor *compressor = ZutCompressorCreate(nullptr, nullptr);
    if (!compressor) return i > 0;
    char ident[24];
    std::snprintf(ident, sizeof ident, "UTIL %d", i);
    ZutCompressorSetIdent(compressor, ident);
    utCompressorPoolPut(compressor);
  }
  return 1;
}

ZutCompressor *utCompressorPoolGet() {
  if (!utCompressorPoolInit()) return nullptr;
  ZutCompressor *compressor;
  {
    const ProcessGuard guard;
    compressor = reinterpret_cast<ZutCompressor *>(ZutDqPop(pool));
  }
  const bool ready = compressor && isAsWanted(*compressor) && ZutCompressorReset(compressor);
  return ready ? compressor : replace(compressor);
}

int32_t utCompressorPoolPut(ZutCompressor *compressor) {
  if (!compressor) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  utCheck(pool);
  ZutDqRightInsert(&compressor->links, pool->left);
  return 1;
}

extern "C" {

int32_t Z_CALL ZutCompressorInit(const char *name, ZutCompressorCreateFunc create,
                                 ZutCompressorWorkFunc compress, ZutCompressorWorkFunc uncompress,
                                 ZutCompressorStatsFunc get_stats, ZutCompressorResetFunc reset,
                                 ZutCompressorDestroyFunc destroy) {
  if (!name) return utFail(Err::nullPointer);
  if (!create || !compress || !uncompress || !get_stats || !destroy) return utFail(Err::invalid);
  const ProcessGuard guard;
  if (!drivers) drivers = ZutHashCreateStri(4);
  if (findDriver(name)) return utFail(Err::exists);
  auto *driver = utNew<Driver>("driver");
  *driver = {
      utDup(name, "(driver->name)"), create, compress, uncompress, get_stats, reset, destroy};
  ZutHashInsert(drivers, reinterpret_cast<ZutWord>(driver->name),
                reinterpret_cast<ZutWord>(driver));
  utCheck(findDriver(name) == driver);
  return 1;
}

ZutCompressor *Z_CALL ZutCompressorCreate(const char *name, const char *args) {
  char *defaultName = name ? nullptr : utOptionDup("Compression_Name");
  char *defaultArgs = args ? nullptr : utOptionDup("Compression_Args");
  if (!name) name = defaultName;
  ZutCompressor *compressor =
      name ? ::create(name, args ? args : defaultArgs) : utFailNull(Err::notFound);
  ZutFree(defaultName);
  ZutFree(defaultArgs);
  return compressor;
}

int32_t Z_CALL ZutCompressorCompress(ZutCompressor *compressor, ZutBuf *destination, ZutBuf *source,
                                     int32_t mode) {
  if (!checkWork(compressor, destination, source, mode)) return 0;
  const int32_t result =
      work(compressor->driver->compress, *compressor, *destination, *source, mode);
  const Err error = utErrGet();
  printStats(*compressor);
  if (!result) utErrSet(error);
  return result;
}

int32_t Z_CALL ZutCompressorUncompress(ZutCompressor *compressor, ZutBuf *destination,
                                       ZutBuf *source, int32_t mode) {
  if (!checkWork(compressor, destination, source, mode)) return 0;
  return work(compressor->driver->uncompress, *compressor, *destination, *source, mode);
}

int32_t Z_CALL ZutCompressorGetStats(ZutCompressor *compressor, ZutCompressorStats *out) {
  if (!compressor || !out) return utFail(Err::nullPointer);
  out->driver = compressor->driver->name;
  return compressor->driver->getStats(compressor->state, out);
}

int32_t Z_CALL ZutCompressorSetIdent(ZutCompressor *compressor, const char *ident) {
  if (!compressor) return utFail(Err::nullPointer);
  char *copy = ident ? utDup(ident, "comp->ident_str") : nullptr;
  Z_FREE(compressor->ident, "comp->ident_str");
  compressor->ident = copy;
  return 1;
}

int32_t Z_CALL ZutCompressorReset(ZutCompressor *compressor) {
  if (!compressor) return utFail(Err::nullPointer);
  compressor->nextStatsTime = 0.0;
  const ZutCompressorResetFunc reset = compressor->driver->reset;
  return reset ? reset(compressor->state) : 1;
}

int32_t Z_CALL ZutCompressorDestroy(ZutCompressor *compressor) {
  if (!compressor) return utFail(Err::nullPointer);
  utCheck(compressor->driver && compressor->state);
  compressor->driver->destroy(compressor->state);
  Z_FREE(compressor->args, "comp->args");
  Z_FREE(compressor->ident, "comp->ident_str");
  Z_FREE(compressor, "comp");
  return 1;
}

int32_t Z_CALL ZutCompress(ZutBuf *destination, ZutBuf *source) {
  return serve(ZutCompressorCompress, destination, source);
}

int32_t Z_CALL ZutUncompress(ZutBuf *destination, ZutBuf *source) {
  return serve(ZutCompressorUncompress, destination, source);
}

} // extern "C"
