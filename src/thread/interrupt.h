// What the system says when it refuses to change the handling of SIGINT.
#pragma once

#include "base/errword.h"
#include "base/report.h"

// Reports it, with the reason `error` of the C runtime. Result: 0.
template <Msg M>
int32_t utInterruptRefused(int error) {
  ZutErrNumSetC(error);
  ZutPerror("signal");
  utReport<M>(Z_TRACE_LEVEL_WARNING);
  return 0;
}
