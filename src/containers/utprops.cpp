// Property lists: a hash table from names to records that own both texts. The key is the record's
// own name. No lock.
#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/text.h"
#include "containers/hash.h"

struct ZutProperties {
  ZutHashTable *table;
};

namespace {

ZutWord keyOf(const char *name) { return reinterpret_cast<ZutWord>(name); }

ZutProperty *find(const ZutProperties &list, const char *name) {
  auto *property = utHashGet<ZutProperty>(list.table, keyOf(name));
  utCheck(!property || utSameWord(property->name, name));
  return property;
}

ZutProperty *make(const char *name, const char *value) {
  auto *property = utNew<ZutProperty>("prop");
  property->name = utDup(name, "(prop->name)");
  property->value = utDup(value, "(prop->value)");
  return property;
}

void release(ZutProperty *property) {
  Z_FREE(property->name, "return_prop->name");
  Z_FREE(property->value, "return_prop->value");
  Z_FREE(property, "return_prop");
}

// The texts may be the replaced property's own, so it is released last.
void set(ZutProperties &list, const char *name, const char *value) {
  ZutProperty *fresh = value ? make(name, value) : nullptr;
  ZutProperty *old = find(list, name);
  if (old) ZutHashDelete(list.table, keyOf(name));
  if (fresh) ZutHashInsert(list.table, keyOf(fresh->name), reinterpret_cast<ZutWord>(fresh));
  if (old) release(old);
}

void Z_CALL releaseOne(ZutWord, ZutWord property, ZutWord) {
  release(reinterpret_cast<ZutProperty *>(property));
}

struct Visit {
  ZutPropertiesFunc function;
  ZutWord argument;
};

int32_t Z_CALL visitOne(ZutWord name, ZutWord property, ZutWord visitWord) {
  const auto &visit = *reinterpret_cast<const Visit *>(visitWord);
  return visit.function(reinterpret_cast<const char *>(name),
                        reinterpret_cast<ZutProperty *>(property), visit.argument);
}

int32_t Z_CALL copyOne(const char *name, ZutProperty *property, ZutWord destination) {
  set(*reinterpret_cast<ZutProperties *>(destination), name, property->value);
  return 0;
}

} // namespace

extern "C" {

ZutProperties *Z_CALL ZutPropertiesCreate() {
  auto *list = utNew<ZutProperties>("properties");
  list->table = ZutHashCreateStri(4);
  return list;
}

int32_t Z_CALL ZutPropertiesSet(ZutProperties *list, const char *name, const char *value) {
  if (!list || !name) return utFail(Err::nullPointer);
  set(*list, name, value);
  return 1;
}

const char *Z_CALL ZutPropertiesGet(ZutProperties *list, const char *name) {
  return ZutPropertiesGetDefault(list, name, nullptr);
}

const char *Z_CALL ZutPropertiesGetDefault(ZutProperties *list, const char *name,
                                           const char *otherwise) {
  if (!list || !name) return utFailNull(Err::nullPointer);
  const ZutProperty *property = find(*list, name);
  return property ? property->value : otherwise;
}

int32_t Z_CALL ZutPropertiesGetCount(ZutProperties *list, int32_t *count) {
  if (!list || !count) return utFail(Err::nullPointer);
  *count = ZutHashGetSize(list->table);
  return 1;
}

int32_t Z_CALL ZutPropertiesTraverse(ZutProperties *list, ZutPropertiesFunc function,
                                     ZutWord argument) {
  if (!list || !function) return utFail(Err::nullPointer);
  Visit visit = {function, argument};
  return ZutHashTraverse(list->table, visitOne, reinterpret_cast<ZutWord>(&visit));
}

int32_t Z_CALL ZutPropertiesCopy(ZutProperties *source, ZutProperties *destination) {
  if (!source || !destination) return utFail(Err::nullPointer);
  if (source == destination) return 1;
  const Err before = utErrGet(); // the end of the traversal is no failure
  ZutPropertiesTraverse(source, copyOne, reinterpret_cast<ZutWord>(destination));
  utErrSet(before);
  return 1;
}

int32_t Z_CALL ZutPropertiesReset(ZutProperties *list) {
  if (!list) return utFail(Err::nullPointer);
  ZutHashReset(list->table, releaseOne, 0);
  return 1;
}

int32_t Z_CALL ZutPropertiesDestroy(ZutProperties *list) {
  if (!list) return utFail(Err::nullPointer);
  ZutHashDestroy(list->table, releaseOne, 0);
  Z_FREE(list, "properties");
  return 1;
}

} // extern "C"
