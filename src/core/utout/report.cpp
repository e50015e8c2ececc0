// Whether a catalog message of the library is printed, and how.

#include "base/report.h"

#include "base/check.h"
#include "base/threadblock.h"
#include "core/utout/utout.h"
#include "trace/uttrace.h"

// How many messages the thread has printed.
static uint32_t &reportsOf(ThreadBlock &block) { return utThreadPart<uint32_t>(block.report); }

bool utReportAllowed(int32_t level) {
  const struct ZutTrace *trace = utDefaultTraceObj.load(std::memory_order_acquire);
  return !trace || trace->level.load(std::memory_order_relaxed) >= level;
}

uint32_t utReportsMade() { return reportsOf(utThreadBlock()); }

void utReportNumber(int32_t level, int32_t number, ...) {
  va_list args;
  va_start(args, number);
  const int32_t printed = utOutCatVa(level, number, CatArguments::library, args);
  va_end(args);
  utCheck(printed == 0 || printed == 1);
  // Makes no block: memory may be exhausted.
  if (auto *block = static_cast<ThreadBlock *>(utPlatThreadBlockGet()))
    reportsOf(*block) += printed;
}
