// Whether a catalog message of the library is printed, and its way to the output.

#include "core/report.h"

#include "core/utout.h"
#include "trace/uttrace.h"

bool utReportAllowed(int32_t level) {
  const struct ZutTrace *trace = utDefaultTraceObj.load(std::memory_order_acquire);
  return !trace || trace->level.load(std::memory_order_relaxed) >= level;
}

void utReportNumber(int32_t level, int32_t number, ...) {
  va_list args;
  va_start(args, number);
  utOutCatVa(level, number, args);
  va_end(args);
}
