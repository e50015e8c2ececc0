// The library's associative table: see include/zut.h, "Hash tables".
#pragma once

#include "zut.h"

// The entry of a key; null, without an error number, when it is absent.
ZutHashBucket *utHashFind(const ZutHashTable *table, ZutWord key);

// The value of a key as a pointer; null, without an error number, when the key is absent.
template <class T>
T *utHashGet(const ZutHashTable *table, ZutWord key) {
  const ZutHashBucket *bucket = utHashFind(table, key);
  return bucket ? reinterpret_cast<T *>(bucket->value) : nullptr;
}
