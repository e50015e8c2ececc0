// Event types and the way from an owner to its list: see include/zut.h, "Callback types and
// callback lists".
#pragma once

#include "callback/callback.h"
#include "containers/lobe.h"

struct ZutCbType {
  ZutLobe *lobe;                   // owner to ZutCbList *; null when it could not be declared
  std::atomic<ZutCbList *> global; // made on first use, under the process mutex
  int32_t number;
  char *name; // or null
  std::atomic<int32_t> globalFlag;
  std::atomic<int32_t> localFlag;
};

// How many types there are. While it stays the same, a type that was not found is not there.
extern std::atomic<uint32_t> utCbTypesMade;

// False: an event of this type calls nothing, for any owner. Reads a few words, takes no lock;
// may be true in vain.
inline bool utCbTypeHasCallbacks(const ZutCbType &type) {
  const ZutCbList *global = type.global.load(std::memory_order_acquire);
  return (global && global->count.load(std::memory_order_relaxed)) ||
         (type.lobe && !utLobeEmpty(*type.lobe));
}

// Makes a list that is being destroyed unknown to its type.
void utCbTypeForgetList(ZutCbList &list);
