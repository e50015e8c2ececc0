// The pool of ready compressors behind ZutCompress and ZutUncompress.
#pragma once

#include "zut.h"

// Fills the pool with compressors of the default driver when it is first called. 0 when none could
// be made then; the empty pool stays.
int32_t utCompressorPoolInit();
// A compressor at the start of a stream for this thread alone, as the options say at the moment:
// from the pool, or a new one when all are in use or the next one is not such a one any more. Null
// when none can be made.
ZutCompressor *utCompressorPoolGet();
// Gives one back. The pool has no upper bound: it grows to what was in use at one time.
int32_t utCompressorPoolPut(ZutCompressor *compressor);
