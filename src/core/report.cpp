// Whether a catalog message of the library is printed, and its way to the output.

#include "core/report.h"

#include "core/utout.h"
#include "thread/threadblock.h"
#include "trace/uttrace.h"

bool utReportAllowed(int32_t level) {
  const struct ZutTrace *trace = utDefaultTraceObj.load(std::memory_order_acquire);
  return !trace || trace->level.load(std::memory_order_relaxed) >= level;
}

uint32_t utReportsMade() { return utThreadBlock().reports; }

void utReportNumber(int32_t level, int32_t number, ...) {
  va_list args;
  va_start(args, number);
  const int32_t printed = utOutCatVa(level, number, CatArguments::library, args);
  va_end(args);
  // Makes no block: memory may be exhausted.
  if (auto *block = static_cast<ThreadBlock *>(utPlatThreadBlockGet())) block->reports += printed;
}
