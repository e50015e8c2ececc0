// Options: the table, the records, and setting a value.
//
// The process mutex guards the table and how a value is kept; it is not held while verify functions
// and change callbacks run. The getters for callers read without it: threads
// that set and read the same option must synchronize among themselves.
//
// A verify function or a callback may destroy the option or set it anew. So a set holds the record
// from its first step to its last: a destroyed option is freed when the last set that holds it
// ends. While callbacks run, a value that is replaced by a set inside of them is put aside and
// freed when the outermost set ends.
//
// Each text option has two buffers: a new text is copied into the spare one, if it fits, and the
// two are swapped, so that a set neither allocates nor frees.
#include "config/option/option.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/processlock.h"
#include "base/report.h"
#include "base/text.h"
#include "containers/hash.h"
#include "containers/strlist.h"

#include <cmath>
#include <cstring>

struct RetiredValue {
  RetiredValue *next;
  void *value;
};

namespace {

ZutHashTable *table;          // name -> option; null until the first use
ZutCbType *changeType;        // "option_change"
std::atomic<bool> isComplete; // the standard set is made
uint32_t tableState = 1;      // another one after each change of the table

constexpr const char *typeNames[] = {"boolean",         "enumerated",   "numeric",    "string",
                                     "enumerated list", "numeric list", "string list"};
static_assert(std::size(typeNames) == Z_OPTION_STR_LIST + 1);

bool isText(int32_t type) { return type == Z_OPTION_STR || type == Z_OPTION_ENUM; }
bool isList(int32_t type) { return type == Z_OPTION_STR_LIST || type == Z_OPTION_ENUM_LIST; }
bool isFlag(int32_t value) { return value == 0 || value == 1; }

ZutOption *asOption(ZutWord value) { return reinterpret_cast<ZutOption *>(value); }
ZutWord asKey(const char *name) { return reinterpret_cast<ZutWord>(name); }

// Making the standard set runs commands and callbacks, which look options up: this thread, which
// holds the mutex, then sees the table as far as it is built. All others wait.
void makeTable() {
  const ProcessGuard guard;
  if (table) return;
  utCheck(!isComplete.load(std::memory_order_relaxed));
  table = ZutHashCreateStri(32);
  changeType = ZutCbTypeCreate(Z_CB_TYPE_OPTION_CHANGE, "option_change");
  utStdOptionsCreate();
  isComplete.store(true, std::memory_order_release);
}

// Under the process mutex.
ZutOption *find(const char *name) {
  utCheck(utProcessMutexHeld());
  const ZutHashBucket *bucket = utHashFind(utOptionTable(), asKey(utOptionName(name)));
  return bucket ? asOption(bucket->value) : nullptr;
}

ZutOption *lookup(const char *name) {
  const ProcessGuard guard;
  ZutOption *option = find(name);
  return option ? option : utFailNull(Err::notFound);
}

// The same, held.
ZutOption *hold(const char *name) {
  const ProcessGuard guard;
  ZutOption *option = lookup(name);
  if (option) ++option->holds;
  return option;
}

// --- Values ---

ZutStrList *copyList(const ZutStrList *list) {
  ZutStrList *copy = nullptr, **end = &copy;
  for (; list; list = list->next) {
    *end = utNew<ZutStrList>("one_str_copy");
    (*end)->string = utDup(list->string, "(one_str_copy->string)");
    end = &(*end)->next;
  }
  return copy;
}

// Numbers are kept in the record.
void freeValue(int32_t type, void *value) {
  if (isText(type)) Z_FREE(value, "copy_value");
  else if (isList(type)) utStrListFree(static_cast<ZutStrList *>(value));
}

// Storage for a text of `size` bytes, the spare one if it is large enough.
char *takeStorage(ZutOption &option, int32_t size, int32_t &capacity) {
  {
    const ProcessGuard guard;
    utCheck((option.spare == nullptr) == (option.spareCapacity == 0));
    if (option.spareCapacity >= size) {
      char *spare = option.spare;
      capacity = option.spareCapacity;
      option.spare = nullptr;
      option.spareCapacity = 0;
      return spare;
    }
  }
  capacity = size;
  return static_cast<char *>(Z_MALLOC(size, "copy_value"));
}

// The spare storage is the larger one of what it was and `text`.
void keepStorage(ZutOption &option, char *text, int32_t capacity) {
  const ProcessGuard guard;
  utCheck((option.spare == nullptr) == (option.spareCapacity == 0));
  if (capacity > option.spareCapacity) {
    std::swap(option.spare, text);
    option.spareCapacity = capacity;
  }
  Z_FREE(text, "copy_value");
}

// Frees a value that is not the option's; the storage of a text is kept for the next.
void discard(ZutOption &option, void *value, int32_t capacity) {
  if (!value) return;
  if (isText(option.type)) keepStorage(option, static_cast<char *>(value), capacity);
  else freeValue(option.type, value);
}

// Under the process mutex: `value` is no longer the option's.
void retire(ZutOption &option, void *value, int32_t capacity) {
  utCheck(option.holds > 0);
  utCheck(utProcessMutexHeld());
  if (!value || option.notifying == 0) return discard(option, value, capacity);
  auto *retired = utNew<RetiredValue>("retired");
  *retired = {option.retired, value};
  option.retired = retired;
}

void freeRetired(int32_t type, RetiredValue *retired) {
  while (retired) {
    RetiredValue *next = retired->next;
    utCheck(retired->value);
    freeValue(type, retired->value);
    Z_FREE(retired, "retired");
    retired = next;
  }
}

void freeLegal(LegalValues *legal) {
  if (!legal) return;
  {
    const ProcessGuard guard;
    utCheck(legal->words && legal->users > 0);
    if (--legal->users > 0) return;
  }
  ZutHashDestroyFreeValue(legal->words);
  Z_FREE(legal, "legal");
}

void freeOption(ZutOption *option) {
  utCheck(option->destroyed && option->holds == 0);
  utCheck(option->notifying == 0 && !option->retired);
  if (option->type == Z_OPTION_NUM_LIST && option->value)
    utReport<Msg::destroyBadType>(Z_TRACE_LEVEL_WARNING, option->type, option->name);
  freeValue(option->type, option->value);
  freeRetired(option->type, option->retired);
  Z_FREE(option->spare, "copy_value");
  freeLegal(option->legal);
  Z_FREE(option->name, "name");
  Z_FREE(option, "option");
}

// --- Setting ---

// Ends a hold, and `notified` sets whose callbacks have run. The last of these frees the retired
// values, the last hold frees a destroyed option.
void letGo(ZutOption &option, int32_t notified = 0) {
  const int32_t type = option.type;
  RetiredValue *retired = nullptr;
  bool isLast;
  {
    const ProcessGuard guard;
    utCheck(option.holds > 0 && option.notifying >= notified);
    option.notifying -= notified;
    if (option.notifying == 0) std::swap(retired, option.retired);
    isLast = --option.holds == 0 && option.destroyed;
  }
  freeRetired(type, retired);
  if (isLast) freeOption(&option);
}

bool refused(ZutOption &option, void *fresh) {
  if (option.readOnly) {
    utErrSet(Err::readOnly);
    return true;
  }
  if (!option.verify) return false;
  utErrSet(Err::none);
  if (!option.verify(&option, fresh, option.verifyArg)) {
    if (utErrGet() == Err::none) utErrSet(Err::verifyFailed);
    return true;
  }
  const ProcessGuard guard;
  if (option.destroyed) utErrSet(Err::notFound);
  return option.destroyed;
}

// Puts `fresh` in the place of the value. A number is taken from where it points to, a text or a
// list becomes the option's.
void replace(ZutOption &option, void *fresh, int32_t capacity) {
  const ProcessGuard guard;
  utCheck(option.holds > 0);
  if (option.type == Z_OPTION_BOOL) {
    if (fresh) option.boolean = *static_cast<int32_t *>(fresh);
    option.value = fresh ? &option.boolean : nullptr;
  } else if (option.type == Z_OPTION_NUM) {
    if (fresh) option.number = *static_cast<double *>(fresh);
    option.value = fresh ? &option.number : nullptr;
  } else {
    retire(option, option.value, option.capacity);
    option.value = fresh;
    option.capacity = capacity;
  }
  ++option.notifying;
}

// The common steps of every set. True: `fresh` was the option's.
bool setValue(ZutOption &option, void *fresh, int32_t capacity = 0) {
  ++option.holds;
  if (refused(option, fresh)) {
    discard(option, fresh, capacity);
    letGo(option);
    return false;
  }
  replace(option, fresh, capacity);
  // Of the value that this set has stored; another thread's set may have replaced it already.
  ZutOptionChangeData data{nullptr, fresh};
  ZutCbTypeCall(changeType, &option, &data);
  letGo(option, 1);
  return true;
}

// Two options pass the type checks under another type than their own.
bool isType(const ZutOption &option, int32_t type) {
  if (option.type == type) return true;
  if (type == Z_OPTION_ENUM) {
    return option.type == Z_OPTION_STR && utSame(option.name, "unique_subject");
  }
  return type == Z_OPTION_ENUM_LIST && option.type == Z_OPTION_STR_LIST &&
         utSame(option.name, "subjects");
}

int32_t setBool(ZutOption &option, int32_t value) {
  if (!isFlag(value)) return utFail(Err::invalid);
  if (!isType(option, Z_OPTION_BOOL)) return utFail(Err::typeInvalid);
  return setValue(option, &value);
}

int32_t setNumber(ZutOption &option, double value) {
  if (!isType(option, Z_OPTION_NUM)) return utFail(Err::typeInvalid);
  return setValue(option, &value);
}

int32_t setText(ZutOption &option, const char *text, int32_t type) {
  if (!isType(option, type)) return utFail(Err::typeInvalid);
  if (!utOptionIsLegal(option, text)) return utFail(Err::invalid);
  const size_t size = std::strlen(text) + 1;
  int32_t capacity;
  char *fresh = takeStorage(option, static_cast<int32_t>(size), capacity);
  utCheck(fresh && capacity >= static_cast<int32_t>(size));
  std::memcpy(fresh, text, size);
  return setValue(option, fresh, capacity);
}

int32_t setList(ZutOption &option, const ZutStrList *list, int32_t type) {
  if (!isType(option, type)) return utFail(Err::typeInvalid);
  return setValue(option, copyList(list));
}

int32_t setUnknown(ZutOption &option) {
  if (option.required) return utFail(Err::required);
  return setValue(option, nullptr);
}

int32_t setAny(ZutOption &option, const void *value) {
  switch (option.type) {
  case Z_OPTION_BOOL: return setBool(option, *static_cast<const int32_t *>(value));
  case Z_OPTION_NUM: return setNumber(option, *static_cast<const double *>(value));
  case Z_OPTION_ENUM:
  case Z_OPTION_STR: return setText(option, static_cast<const char *>(value), option.type);
  case Z_OPTION_ENUM_LIST:
  case Z_OPTION_STR_LIST:
    return setList(option, static_cast<const ZutStrList *>(value), option.type);
  default: // numeric lists exist by name only
    utReport<Msg::setBadTypeName>(Z_TRACE_LEVEL_WARNING, option.name);
    utReport<Msg::setBadType>(Z_TRACE_LEVEL_WARNING, option.type);
    return utFail(Err::typeInvalid);
  }
}

// The value after a set; none when a callback destroyed the option.
void *storedOf(const ZutOption &option) {
  utCheck(option.holds > 0);
  const ProcessGuard guard;
  return option.destroyed ? utFailNull(Err::notFound) : option.value;
}

int32_t setFlag(ZutOption *option, int32_t ZutOption::*field, int32_t flag) {
  if (!option) return utFail(Err::nullPointer);
  if (!isFlag(flag)) return utFail(Err::invalid);
  option->*field = flag;
  return 1;
}

int32_t getFlag(const ZutOption *option, int32_t ZutOption::*field, int32_t *out) {
  if (!option || !out) return utFail(Err::nullPointer);
  *out = option->*field;
  return 1;
}

// Sets the reason why an option cannot be read. Not inlined, so that the fast path of the getters
// needs no frame.
[[gnu::noinline]] int32_t failRead(const ZutOption *option, const void *out, int32_t type) {
  if (!option || !out) return utFail(Err::nullPointer);
  return utFail(isType(*option, type) ? Err::unknown : Err::typeInvalid);
}

template <class Out>
int32_t get(const ZutOption *option, Out *out, int32_t type) {
  if (!option || !out || !isType(*option, type) || !option->value)
    return failRead(option, out, type);
  if constexpr (std::is_pointer_v<Out>) *out = static_cast<Out>(option->value);
  else *out = *static_cast<const Out *>(option->value);
  return 1;
}

double numberOf(const ZutOption *option, double otherwise) {
  return option && option->type == Z_OPTION_NUM && option->value ? option->number : otherwise;
}

struct OptionVisit {
  ZutOptionTraverseFunc function;
  ZutWord argument;
};

int32_t Z_CALL visitOption(ZutWord key, ZutWord value, ZutWord argument) {
  const auto &visit = *reinterpret_cast<OptionVisit *>(argument);
  return visit.function(reinterpret_cast<const char *>(key), asOption(value), visit.argument);
}

// The variable may be read by other threads of the library.
void copyNumber(ZutWord variable, int32_t value) {
  if (!variable) return;
  std::atomic_ref(*reinterpret_cast<int32_t *>(variable)).store(value, std::memory_order_relaxed);
}

void copyBool(void *callData, ZutWord variable) {
  const void *value = static_cast<ZutOptionChangeData *>(callData)->value;
  copyNumber(variable, value ? *static_cast<const int32_t *>(value) : 0);
}

void copyInt4(void *callData, ZutWord variable) {
  const void *value = static_cast<ZutOptionChangeData *>(callData)->value;
  copyNumber(variable, value ? utToInt32(*static_cast<const double *>(value)) : 0);
}

// The name of a log's file: a leading "@" says to append.
const char *logFileName(const char *value) { return value + (*value == '@'); }

bool openLog(const char *value, const char *log) {
  const bool append = *value == '@';
  const char *name = logFileName(value);
  if (append) utReport<Msg::logAppend>(Z_TRACE_LEVEL_INFO, name);
  if (!ZutOpenFile(name, append ? "a+b" : "w+b")) {
    utReport<Msg::logOpen>(Z_TRACE_LEVEL_INFO, name);
    return utFail(Err::verifyFailed);
  }
  utReport<Msg::logOpened>(Z_TRACE_LEVEL_INFO, log, name);
  return true;
}

void closeLog(const char *value) {
  if (FILE *stream = ZutLookupFile(logFileName(value))) ZutCloseFile(stream);
}

} // namespace

double utOptionNumber(const char *name, double otherwise) {
  const ProcessGuard guard;
  return numberOf(find(name), otherwise);
}

double utOptionNumber(SettingCache &cache, double otherwise) {
  if (cache.tableState != tableState) {
    cache.option = find(cache.name);
    cache.tableState = tableState;
  }
  return numberOf(cache.option, otherwise);
}

bool utOptionFlag(const char *name, bool otherwise) {
  const ProcessGuard guard;
  const ZutOption *option = find(name);
  return option && option->type == Z_OPTION_BOOL && option->value ? option->boolean : otherwise;
}

bool utOptionText(const char *name, char *out, size_t size) {
  const ProcessGuard guard;
  const ZutOption *option = find(name);
  if (!option || !isText(option->type) || !option->value) return false;
  utCopyCut(out, size, static_cast<const char *>(option->value));
  return true;
}

char *utOptionDup(const char *name) {
  const ProcessGuard guard;
  const ZutOption *option = find(name);
  if (!option || !isText(option->type)) return nullptr;
  return utDup(static_cast<const char *>(option->value), name);
}

ZutHashTable *utOptionTable() {
  if (!isComplete.load(std::memory_order_acquire)) makeTable();
  return table;
}

const char *utOptionName(const char *name) {
  constexpr struct {
    std::string_view old;
    const char *current;
  } names[] = {{"application", "project"},
               {"datagroups", "subjects"},
               {"unique_datagroup", "unique_subject"}};
  const char first = utLower(name[0]);
  for (const auto &row : names) {
    if (first == row.old[0] && utSameWord(name, row.old)) return row.current;
  }
  return name;
}

bool utOptionIsGlobal(const ZutOption &option) {
  const ProcessGuard guard;
  return find(option.name) == &option;
}

bool utOptionIsLegal(const ZutOption &option, const char *word) {
  if (option.type != Z_OPTION_ENUM) return true;
  const ProcessGuard guard;
  utCheck(!option.legal || option.legal->users > 0);
  return !option.legal || utHashFind(option.legal->words, asKey(word));
}

ZutOption *utOptionClone(const ZutOption &option) {
  utCheck(!option.destroyed);
  ZutOption *clone = utNew<ZutOption>("cloned_option");
  clone->name = utDup(option.name, "name");
  clone->type = option.type;
  clone->verify = option.verify;
  clone->verifyArg = option.verifyArg;
  clone->required = option.required;
  clone->isProtected = option.isProtected;
  clone->legal = option.legal;
  if (clone->legal) ++clone->legal->users;
  clone->boolean = option.boolean;
  clone->number = option.number;
  if (!option.value) return clone;
  if (isText(option.type)) {
    const auto *text = static_cast<const char *>(option.value);
    clone->value = utDup(text, "copy_value");
    clone->capacity = static_cast<int32_t>(std::strlen(text) + 1);
  } else if (isList(option.type)) {
    clone->value = copyList(static_cast<const ZutStrList *>(option.value));
  } else {
    clone->value = option.type == Z_OPTION_BOOL ? static_cast<void *>(&clone->boolean)
                                                : static_cast<void *>(&clone->number);
  }
  return clone;
}

extern "C" {

ZutOption *Z_CALL ZutOptionCreate(const char *name, int32_t type) {
  if (!name) return utFailNull(Err::nullPointer);
  if (type < Z_OPTION_BOOL || type > Z_OPTION_STR_LIST) return utFailNull(Err::invalid);
  const ProcessGuard guard;
  if (find(name)) return utFailNull(Err::exists);
  ZutOption *option = utNew<ZutOption>("option");
  option->name = utLowerText(utDup(utOptionName(name), "name"));
  option->type = type;
  ZutHashInsert(table, asKey(option->name), reinterpret_cast<ZutWord>(option));
  ++tableState;
  return option;
}

int32_t Z_CALL ZutOptionDestroy(ZutOption *option) {
  if (!option) return utFail(Err::nullPointer);
  {
    const ProcessGuard guard;
    if (find(option->name) != option) return utFail(Err::notFound);
    utCheck(!option->destroyed);
    ZutHashDelete(table, asKey(option->name));
    ++tableState;
    option->destroyed = true;
    ++option->holds;
  }
  ZutCbObjClear(changeType, option);
  letGo(*option);
  return 1;
}

ZutOption *Z_CALL ZutOptionLookup(const char *name) {
  return name ? lookup(name) : utFailNull(Err::nullPointer);
}

ZutOption **Z_CALL ZutOptionSort(int32_t *count) {
  if (!count) return utFailNull(Err::nullPointer);
  const ProcessGuard guard;
  return reinterpret_cast<ZutOption **>(ZutHashSort(utOptionTable(), count, nullptr, nullptr));
}

int32_t Z_CALL ZutOptionTraverse(ZutOptionTraverseFunc function, ZutWord argument) {
  if (!function) return utFail(Err::nullPointer);
  OptionVisit visit{function, argument};
  const ProcessGuard guard;
  return ZutHashTraverse(utOptionTable(), visitOption, reinterpret_cast<ZutWord>(&visit));
}

const char *Z_CALL ZutOptionGetName(ZutOption *option) {
  return option ? option->name : utFailNull(Err::nullPointer);
}

int32_t Z_CALL ZutOptionGetBool(ZutOption *option, int32_t *out) {
  return get(option, out, Z_OPTION_BOOL);
}

int32_t Z_CALL ZutOptionGetEnum(ZutOption *option, const char **out) {
  return get(option, out, Z_OPTION_ENUM);
}

int32_t Z_CALL ZutOptionGetNum(ZutOption *option, double *out) {
  return get(option, out, Z_OPTION_NUM);
}

int32_t Z_CALL ZutOptionGetStr(ZutOption *option, const char **out) {
  return get(option, out, Z_OPTION_STR);
}

int32_t Z_CALL ZutOptionGetEnumList(ZutOption *option, const ZutStrList **out) {
  return get(option, out, Z_OPTION_ENUM_LIST);
}

int32_t Z_CALL ZutOptionGetStrList(ZutOption *option, const ZutStrList **out) {
  return get(option, out, Z_OPTION_STR_LIST);
}

int32_t Z_CALL ZutOptionSetBool(ZutOption *option, int32_t value) {
  return option ? setBool(*option, value) : utFail(Err::nullPointer);
}

int32_t Z_CALL ZutOptionSetEnum(ZutOption *option, const char *word) {
  return option && word ? setText(*option, word, Z_OPTION_ENUM) : utFail(Err::nullPointer);
}

int32_t Z_CALL ZutOptionSetNum(ZutOption *option, double value) {
  return option ? setNumber(*option, value) : utFail(Err::nullPointer);
}

int32_t Z_CALL ZutOptionSetStr(ZutOption *option, const char *text) {
  return option && text ? setText(*option, text, Z_OPTION_STR) : utFail(Err::nullPointer);
}

int32_t Z_CALL ZutOptionSetEnumList(ZutOption *option, const ZutStrList *list) {
  return option && list ? setList(*option, list, Z_OPTION_ENUM_LIST) : utFail(Err::nullPointer);
}

int32_t Z_CALL ZutOptionSetStrList(ZutOption *option, const ZutStrList *list) {
  return option && list ? setList(*option, list, Z_OPTION_STR_LIST) : utFail(Err::nullPointer);
}

int32_t Z_CALL ZutOptionSetUnknown(ZutOption *option) {
  return option ? setUnknown(*option) : utFail(Err::nullPointer);
}

int32_t Z_CALL ZutOptionGetKnown(ZutOption *option, int32_t *out) {
  if (!option || !out) return utFail(Err::nullPointer);
  *out = option->value != nullptr;
  return 1;
}

int32_t Z_CALL ZutOptionSetRequired(ZutOption *option, int32_t flag) {
  return setFlag(option, &ZutOption::required, flag);
}

int32_t Z_CALL ZutOptionGetRequired(ZutOption *option, int32_t *out) {
  return getFlag(option, &ZutOption::required, out);
}

int32_t Z_CALL ZutOptionSetReadOnly(ZutOption *option, int32_t flag) {
  return setFlag(option, &ZutOption::readOnly, flag);
}

int32_t Z_CALL ZutOptionGetReadOnly(ZutOption *option, int32_t *out) {
  return getFlag(option, &ZutOption::readOnly, out);
}

int32_t Z_CALL ZutOptionSetProtected(ZutOption *option, int32_t flag) {
  return setFlag(option, &ZutOption::isProtected, flag);
}

int32_t Z_CALL ZutOptionGetProtected(ZutOption *option, int32_t *out) {
  return getFlag(option, &ZutOption::isProtected, out);
}

int32_t Z_CALL ZutOptionSetVerifyFunc(ZutOption *option, ZutOptionVerifyFunc function,
                                      ZutWord argument) {
  if (!option) return utFail(Err::nullPointer);
  option->verify = function;
  option->verifyArg = argument;
  return 1;
}

void *Z_CALL ZutOptionGetValue(const char *name) {
  const ZutOption *option = ZutOptionLookup(name);
  if (option) return option->value;
  if (name) utReport<Msg::valueUnknownOption>(Z_TRACE_LEVEL_WARNING, name);
  return nullptr;
}

void *Z_CALL ZutOptionSet(const char *name, const void *value) {
  if (!name || !value) return utFailNull(Err::nullPointer);
  ZutOption *option = hold(name);
  if (!option) {
    utReport<Msg::setUnknownOption>(Z_TRACE_LEVEL_INFO, name);
    return nullptr;
  }
  void *stored = setAny(*option, value) ? storedOf(*option) : nullptr;
  letGo(*option);
  return stored;
}

int32_t Z_CALL ZutOptionUnset(const char *name) {
  if (!name) return utFail(Err::nullPointer);
  if (ZutOption *option = hold(name)) {
    const int32_t result = setUnknown(*option);
    letGo(*option);
    return result;
  }
  utReport<Msg::unsetUnknownOption>(Z_TRACE_LEVEL_INFO, name);
  return 0;
}

double Z_CALL ZutOptionGetNumValue(const char *name) {
  if (!name) return utFail(Err::nullPointer);
  const ZutOption *option = lookup(name);
  if (!option) {
    utReport<Msg::numGetUnknown>(Z_TRACE_LEVEL_INFO, name);
  } else if (option->type != Z_OPTION_NUM) {
    utReport<Msg::numGetType>(Z_TRACE_LEVEL_INFO, name);
    utErrSet(Err::typeInvalid);
  } else if (option->value) {
    return option->number;
  } else {
    utErrSet(Err::unknown);
  }
  return 0.0;
}

int32_t Z_CALL ZutOptionSetNumValue(const char *name, double value) {
  if (!name) return utFail(Err::nullPointer);
  ZutOption *option = hold(name);
  if (!option) {
    utReport<Msg::numSetUnknown>(Z_TRACE_LEVEL_INFO, name);
    return 0;
  }
  if (option->type != Z_OPTION_NUM) utReport<Msg::numSetType>(Z_TRACE_LEVEL_INFO, name);
  const int32_t result = setNumber(*option, value);
  letGo(*option);
  return result;
}

ZutCb *Z_CALL ZutOptionChangeCbCreate(ZutOption *option, ZutCbFunc function, ZutWord argument) {
  if (!function) return utFailNull(Err::nullPointer);
  utOptionTable();
  utCheck(changeType);
  return ZutCbTypeCbCreate(changeType, option, function, argument);
}

ZutCb *Z_CALL ZutOptionChangeCbLookup(ZutOption *option, ZutCbFunc function, ZutWord argument) {
  if (!function) return utFailNull(Err::nullPointer);
  utOptionTable();
  return ZutCbTypeCbLookup(changeType, option, function, argument);
}

void Z_CALL ZutCbOptionCopyBool(void *, void *call_data, ZutWord argument) {
  copyBool(call_data, argument);
}

void Z_CALL ZutCbOptionCopyBool2(void *, void *call_data, ZutWord argument) {
  copyBool(call_data, argument);
}

void Z_CALL ZutCbOptionCopyInt4(void *, void *call_data, ZutWord argument) {
  copyInt4(call_data, argument);
}

void Z_CALL ZutCbOptionCopyInt42(void *, void *call_data, ZutWord argument) {
  copyInt4(call_data, argument);
}

int32_t Z_CALL ZutOptionVerifyNonNeg(ZutOption *option, void *value, ZutWord) {
  if (!value || *static_cast<double *>(value) >= 0.0) return 1;
  utReport<Msg::verifyNonNeg>(Z_TRACE_LEVEL_INFO, option->name);
  return utFail(Err::tooSmall);
}

int32_t Z_CALL ZutOptionVerifyInt2(ZutOption *option, void *value, ZutWord) {
  if (!value) return 1;
  const double number = *static_cast<double *>(value);
  if (number >= INT16_MIN && number <= INT16_MAX && number == std::trunc(number)) return 1;
  utReport<Msg::verifyInt2>(Z_TRACE_LEVEL_INFO, option->name);
  return utFail(Err::invalid);
}

int32_t Z_CALL ZutOptionVerifyLogFile(ZutOption *option, void *value, ZutWord argument) {
  if (!utOptionIsGlobal(*option)) return 1;
  const char *log = argument ? reinterpret_cast<const char *>(argument) : option->name;
  if (value && !openLog(static_cast<const char *>(value), log)) return 0;
  if (option->value) closeLog(static_cast<const char *>(option->value));
  return 1;
}

const char *Z_CALL ZutOptionTypeToStr(int32_t type) {
  if (type >= Z_OPTION_BOOL && type <= Z_OPTION_STR_LIST) return typeNames[type];
  utReport<Msg::optionBadType>(Z_TRACE_LEVEL_WARNING, type);
  return "bad type";
}

} // extern "C"
