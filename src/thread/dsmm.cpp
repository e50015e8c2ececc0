// Keyed objects: a table of counted objects made on demand. The process mutex guards every table
// and is held during the create and destroy functions, so that two threads that ask for the same
// key get the same object.
#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/processlock.h"

namespace {

struct Object {
  Object *next;
  ZutWord key;
  void *object;
  int32_t references;
};

} // namespace

struct ZutDSMM {
  ZutDSMMCreateFunc create;
  ZutDSMMDestroyFunc destroy;
  void *argument;
  Object **chains;
  size_t size;
};

namespace {

// The link that holds the key's object, or the null link at the end of its chain.
Object **findLink(ZutDSMM &table, ZutWord key) {
  utCheck(utProcessMutexHeld() && table.size > 0);
  Object **link = &table.chains[static_cast<size_t>(key) % table.size];
  while (*link && (*link)->key != key) link = &(*link)->next;
  return link;
}

Object *makeObject(ZutDSMM &table, ZutWord key) {
  void *object = table.create(key, table.argument);
  if (!object) return nullptr;
  auto *made = utNew<Object>("keyed object");
  made->key = key;
  made->object = object;
  // Looked up only now: the create function may itself have used the table.
  Object **link = findLink(table, key);
  made->next = *link;
  return *link = made;
}

} // namespace

extern "C" {

ZutDSMM *Z_CALL ZutDSMMCreate(int32_t buckets, ZutDSMMCreateFunc create, ZutDSMMDestroyFunc destroy,
                              void *argument) {
  if (!create || !destroy) return utFailNull(Err::nullPointer);
  if (buckets < 1) return utFailNull(Err::tooSmall);
  auto *table = utNew<ZutDSMM>("keyed objects");
  table->create = create;
  table->destroy = destroy;
  table->argument = argument;
  table->chains = utNewArray<Object *>(buckets, "keyed objects");
  table->size = static_cast<size_t>(buckets);
  return table;
}

void *Z_CALL ZutDSMMObjectCreate(ZutDSMM *table, ZutWord key) {
  if (!table) return utFailNull(Err::nullPointer);
  const ProcessGuard guard;
  Object *object = *findLink(*table, key);
  if (!object) object = makeObject(*table, key);
  if (!object) return nullptr;
  ++object->references;
  return object->object;
}

int32_t Z_CALL ZutDSMMObjectDestroy(ZutDSMM *table, ZutWord key) {
  if (!table) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  Object **link = findLink(*table, key);
  Object *object = *link;
  if (!object) return utFail(Err::notFound);
  utCheck(object->key == key && object->references > 0);
  if (--object->references > 0) return 1;
  *link = object->next;
  table->destroy(object->object, table->argument);
  Z_FREE(object, "keyed object");
  return 1;
}

} // extern "C"
