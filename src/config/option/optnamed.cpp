// Named option tables: clones of all options, kept under a name. Everything here is guarded by the
// process mutex and lives until the process ends.
#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/print.h"
#include "base/processlock.h"
#include "config/option/option.h"
#include "config/option/optvalue.h"
#include "containers/hash.h"

namespace {

struct NamedTable {
  char *name;
  ZutHashTable *options;
};

ZutHashTable *tables; // name -> NamedTable; null until the first

ZutWord asKey(const char *name) { return reinterpret_cast<ZutWord>(name); }

ZutOption *find(const NamedTable &table, const char *name) {
  utCheck(table.options);
  const ZutHashBucket *bucket = utHashFind(table.options, asKey(utOptionName(name)));
  return bucket ? reinterpret_cast<ZutOption *>(bucket->value) : nullptr;
}

ZutOption *addClone(const NamedTable &table, const ZutOption &option) {
  utCheck(!find(table, option.name));
  ZutOption *clone = utOptionClone(option);
  ZutHashInsert(table.options, asKey(clone->name), reinterpret_cast<ZutWord>(clone));
  return clone;
}

int32_t Z_CALL addMissing(const char *name, ZutOption *option, ZutWord argument) {
  const auto &table = *reinterpret_cast<NamedTable *>(argument);
  if (find(table, name)) return 0;
  addClone(table, *option);
  ZutOut("Added missing option %s\n", name);
  return 0;
}

int32_t Z_CALL addFirst(const char *, ZutOption *option, ZutWord argument) {
  addClone(*reinterpret_cast<NamedTable *>(argument), *option);
  return 0;
}

// The table of that name, made by its first use from all options there are.
NamedTable &tableNamed(const char *name) {
  utCheck(utProcessMutexHeld());
  if (!tables) tables = ZutHashCreateStri(4);
  auto *table = reinterpret_cast<NamedTable *>(ZutHashLookup(tables, asKey(name)));
  if (table) return *table;
  table = utNew<NamedTable>("table");
  table->name = utDup(name, "(table->name)");
  table->options = ZutHashCreateStri(32);
  ZutHashInsert(tables, asKey(table->name), reinterpret_cast<ZutWord>(table));
  ZutOptionTraverse(addFirst, reinterpret_cast<ZutWord>(table));
  return *table;
}

} // namespace

extern "C" {

ZutHashTable *Z_CALL ZutGetNamedOptionTable(const char *name) {
  if (!name) return utFailNull(Err::nullPointer);
  const ProcessGuard guard;
  NamedTable &table = tableNamed(name);
  ZutOptionTraverse(addMissing, reinterpret_cast<ZutWord>(&table));
  return table.options;
}

ZutOption *Z_CALL ZutOptionNamedLookup(const char *table_name, const char *option_name) {
  if (!table_name || !option_name) return utFailNull(Err::nullPointer);
  const ProcessGuard guard;
  NamedTable &table = tableNamed(table_name);
  if (ZutOption *clone = find(table, option_name)) return clone;
  ZutOption *option = ZutOptionLookup(option_name);
  return option ? addClone(table, *option) : nullptr;
}

int32_t Z_CALL ZutOptionNamedDump(const char *table_name, const char *option_name,
                                  ZutPrintFunc out) {
  if (!table_name || !out) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  NamedTable &table = tableNamed(table_name);
  if (!option_name) {
    utOptionDumpAll(table.options, table.name, out);
  } else if (const ZutOption *clone = find(table, option_name)) {
    utOptionDumpOne(*clone, table.name, out);
  } else {
    out("No option named <%s/%s>\n", table.name, option_name);
    return utFail(Err::notFound);
  }
  return 1;
}

} // extern "C"
