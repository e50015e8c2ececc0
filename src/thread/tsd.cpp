// Thread-specific data. The values are the system's; what is kept here are the destructors, one
// pair for each key that has one, oldest first, guarded by the process mutex.
#include "thread/tsd.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/processlock.h"
#include "platform/platform_thread.h"

namespace {

struct DataPair {
  ZutDqNode links;
  ZutTsdKey key;
  uint32_t serial; // rises along the list
  ZutTsdDestroyFunc destructor;
};

ZutDqNode *pairs; // made with the first key
uint32_t lastSerial;

DataPair *pairOf(ZutDqNode *node) {
  return node == pairs ? nullptr : reinterpret_cast<DataPair *>(node);
}

DataPair *firstPair() { return pairs ? pairOf(pairs->right) : nullptr; }

DataPair *nextPair(DataPair *pair) { return pairOf(pair->links.right); }

void addPair(ZutTsdKey key, ZutTsdDestroyFunc destructor) {
  utCheck(utProcessMutexHeld() && pairs && destructor);
  auto *pair = utNew<DataPair>("data_pair");
  pair->key = key;
  pair->serial = ++lastSerial;
  pair->destructor = destructor;
  ZutDqRightInsert(&pair->links, pairs->left);
}

void removePair(ZutTsdKey key) {
  utCheck(utProcessMutexHeld());
  DataPair *pair = firstPair();
  while (pair && pair->key != key) pair = nextPair(pair);
  if (!pair) return;
  ZutDqDetach(pairs, &pair->links);
  Z_FREE(pair, "pair");
}

DataPair *pairAfter(uint32_t serial) {
  DataPair *pair = firstPair();
  while (pair && pair->serial <= serial) pair = nextPair(pair);
  return pair;
}

} // namespace

// A destructor may change the list: the walk keeps a serial, not a place, and ends with the pairs
// that were there when it began. The lock is held during the calls, as the header says.
void utTsdRunDestructors() {
  ZutProcessMutexLock();
  const uint32_t last = lastSerial;
  DataPair *pair = firstPair();
  while (pair && pair->serial <= last) {
    const uint32_t serial = pair->serial;
    utCheck(pair->destructor && serial > 0);
    void *value = utPlatKeyGet(pair->key);
    utPlatKeySet(pair->key, nullptr);
    pair->destructor(value);
    pair = pairAfter(serial);
  }
  ZutProcessMutexUnlock();
}

extern "C" {

int32_t Z_CALL ZutTsdKeyCreate(ZutTsdKey *key_out, ZutTsdDestroyFunc destructor) {
  if (!key_out) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  if (!utPlatKeyCreate(key_out)) return 0;
  if (!pairs) ZutDqOpen(&pairs);
  if (destructor) addPair(*key_out, destructor);
  return 1;
}

int32_t Z_CALL ZutTsdKeyDestroy(ZutTsdKey key) {
  if (key == Z_TSD_KEY_INVALID) return utFail(Err::invalid);
  const ProcessGuard guard;
  if (!utPlatKeyDestroy(key)) return 0;
  removePair(key);
  return 1;
}

int32_t Z_CALL ZutTsdGetValue(ZutTsdKey key, void **value_out) {
  if (key == Z_TSD_KEY_INVALID) return utFail(Err::invalid);
  if (!value_out) return utFail(Err::nullPointer);
  *value_out = utPlatKeyGet(key);
  return *value_out ? 1 : 0;
}

int32_t Z_CALL ZutTsdSetValue(ZutTsdKey key, void *value) {
  if (key == Z_TSD_KEY_INVALID) return utFail(Err::invalid);
  return utPlatKeySet(key, value) ? 1 : 0;
}

void *Z_CALL ZutGetLibTsdValue(void) { return &utThreadBlock(); }

} // extern "C"
