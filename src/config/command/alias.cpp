// The aliases of the process, name to text, both copies.
//
// The table is made by the first definition, which is the registry's. `lock` guards it; it is never
// held during a call into a caller's code. An alias may be changed or removed while it is being
// expanded: the parse has a copy of the text and refers to the alias by name.
#include "config/command/alias.h"

#include "base/check.h"
#include "base/fastlock.h"
#include "base/memory.h"
#include "base/text.h"
#include "containers/hash.h"

#include <algorithm>

namespace {

struct Alias {
  char *name;
  char *value;
};

constinit FastLock lock{};
ZutHashTable *table;

ZutWord keyOf(const char *name) { return reinterpret_cast<ZutWord>(name); }

Alias *find(const char *name) {
  utCheck(table && utFastDepth(lock) > 0);
  const ZutHashBucket *bucket = utHashFind(table, keyOf(name));
  return bucket ? reinterpret_cast<Alias *>(bucket->value) : nullptr;
}

void destroy(Alias &alias) {
  utCheck(alias.name && alias.value);
  Z_FREE(alias.name, "(alias_ptr->name)");
  Z_FREE(alias.value, "(alias_ptr->value)");
  Z_FREE(&alias, "alias");
}

int32_t Z_CALL collect(ZutWord, ZutWord value, ZutWord argument) {
  const Alias &alias = *reinterpret_cast<Alias *>(value);
  Alias *&next = *reinterpret_cast<Alias **>(argument);
  next->name = utDup(alias.name, "(alias_ptr->name)");
  next->value = utDup(alias.value, "(alias_ptr->value)");
  ++next;
  return 0;
}

// A sorted copy of the table to free under "aliases", and how many there are.
Alias *snapshot(int32_t &count) {
  const FastGuard guard(lock);
  count = ZutHashGetSize(table);
  Alias *copies = utNewArray<Alias>(count + 1, "aliases");
  Alias *next = copies;
  ZutHashTraverse(table, collect, reinterpret_cast<ZutWord>(&next));
  utCheck(next == copies + count);
  std::sort(copies, next,
            [](const Alias &a, const Alias &b) { return std::strcmp(a.name, b.name) < 0; });
  return copies;
}

} // namespace

void utAliasSet(const char *name, const char *text) {
  char *value = utDup(text, "(alias_ptr->value)");
  const FastGuard guard(lock);
  if (!table) table = ZutHashCreateStr(32);
  if (Alias *old = find(name)) {
    std::swap(old->value, value);
    Z_FREE(value, "(alias_ptr->value)");
    return;
  }
  Alias *alias = utNew<Alias>("alias");
  alias->name = utDup(name, "(alias_ptr->name)");
  alias->value = value;
  ZutHashInsert(table, keyOf(alias->name), reinterpret_cast<ZutWord>(alias));
}

char *utAliasText(const char *name) {
  const FastGuard guard(lock);
  const Alias *alias = find(name);
  return alias ? utDup(alias->value, "(alias_ptr->value)") : nullptr;
}

bool utAliasPrintText(const char *name) {
  char *text = utAliasText(name);
  if (!text) return false;
  ZutOut("%s\n", text);
  Z_FREE(text, "(alias_ptr->value)");
  return true;
}

bool utAliasRemove(const char *name) {
  const FastGuard guard(lock);
  Alias *alias = find(name);
  if (!alias) return false;
  ZutHashDelete(table, keyOf(name));
  destroy(*alias);
  return true;
}

void utAliasPrint() {
  int32_t count = 0;
  Alias *copies = snapshot(count);
  for (int32_t i = 0; i < count; ++i) {
    ZutOut("%s\t%s\n", copies[i].name, copies[i].value);
    Z_FREE(copies[i].name, "(alias_ptr->name)");
    Z_FREE(copies[i].value, "(alias_ptr->value)");
  }
  Z_FREE(copies, "aliases");
}
