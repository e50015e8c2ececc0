// The library's associative table: see include/zut.h, "Hash tables".
#pragma once

#include "zut.h"

// The entry of a key; null, without an error number, when it is absent.
ZutHashBucket *utHashFind(const ZutHashTable *table, ZutWord key);
