// The pool of ready compressors that ZutCompress and ZutUncompress use.
#pragma once

#include "zut.h"

// The first call fills the pool with compressors of the default driver. 0 when it can make none;
// the pool then stays empty.
int32_t utCompressorPoolInit();
// A compressor at the start of a stream, for this thread alone, made as the options say now. It
// comes from the pool, or is new when all are in use or the options have changed. Null when none
// can be made.
ZutCompressor *utCompressorPoolGet();
// Returns one to the pool, which has no upper bound: it grows to the most in use at one time.
int32_t utCompressorPoolPut(ZutCompressor *compressor);
