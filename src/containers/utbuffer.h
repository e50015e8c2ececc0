// Growing a buffer without a size to reach.
#pragma once

#include "zut.h"

// One step of the growth rule. False with error 7 for a static buffer, 5 for one that is as large
// as one can be.
bool utBufEnlarge(ZutBuf &buffer);
