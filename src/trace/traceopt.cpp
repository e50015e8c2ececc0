// The options that trace objects follow: their making, binding and unbinding, and the options that
// an object has for itself.

#include "base/check.h"
#include "base/env.h"
#include "base/errword.h"
#include "base/text.h"
#include "trace/binding.h"
#include "trace/uttrace.h"

namespace {

using Trace = struct ZutTrace;

// --- What a change does ---

void takeLevel(Trace *trace, ZutOption *option) {
  const char *word = nullptr;
  int32_t level = 0;
  if (ZutOptionGetEnum(option, &word) && ZutTraceLevelStrToVal(word, &level)) {
    ZutTraceLevelSet(trace, level);
  }
}

void takeFile(Trace *trace, ZutOption *option) {
  int32_t known = 0;
  const char *name = nullptr;
  if (ZutOptionGetKnown(option, &known) && known && ZutOptionGetStr(option, &name)) {
    ZutTraceFileSet(trace, name);
  }
}

uint32_t flagOf(const char *word) {
  if (utSameWord(word, "timestamp")) return Z_TRACE_FLAG_TIMESTAMP;
  if (utSameWord(word, "prefix")) return Z_TRACE_FLAG_PREFIX;
  return utSameWord(word, "level") ? Z_TRACE_FLAG_LEVEL : 0;
}

void takeFlags(Trace *trace, ZutOption *option) {
  const ZutStrList *list = nullptr;
  if (ZutOptionGetEnumList(option, &list)) {
    uint32_t flags = 0;
    for (; list; list = list->next) flags |= flagOf(list->string);
    trace->flags = flags;
  } else if (utErrGet() == Err::unknown) {
    trace->flags = 0;
  }
  if (utEnvIsSet("VNTIMESTAMPOUTPUT")) ZutTraceFlagSet(trace, Z_TRACE_FLAG_TIMESTAMP);
}

template <void take(Trace *, ZutOption *)>
void Z_CALL changed(void *option, void *, ZutWord argument) {
  auto *trace = static_cast<Trace *>(utLiveEnter(argument));
  if (!trace) return;
  utCheck(trace->number == argument);
  take(trace, static_cast<ZutOption *>(option));
  utLiveLeave();
}

// A missing option is no failure: nothing is bound.
int32_t bind(Trace *trace, const char *option_name, ZutCbFunc handler) {
  if (!trace || !option_name) return utFail(Err::nullPointer);
  ZutOption *option = utFindOption(option_name);
  return option ? utBind(option, handler, trace->number) : 1;
}

int32_t unbind(Trace *trace, const char *option_name, ZutCbFunc handler) {
  if (!trace || !option_name) return utFail(Err::nullPointer);
  return utUnbind(option_name, handler, trace->number);
}

// --- An object's own options ---

struct OwnOption {
  const char *prefix;
  ZutOption *(Z_CALL *create)(const char *name);
  ZutCbFunc handler;
};
constexpr OwnOption ownLevel = {"trace_level_", ZutTraceLevelOptionCreate, changed<takeLevel>};
constexpr OwnOption ownFile = {"trace_file_", ZutTraceFileOptionCreate, changed<takeFile>};
// Its words are used as a file's name. Kept.
constexpr OwnOption ownFlags = {"trace_flags_", ZutTraceFlagsOptionCreate, changed<takeFile>};

void ownName(ZutSafeString *name, const OwnOption &own, const Trace *trace) {
  utCheck(trace->name);
  ZutSafeStringCreate(name);
  ZutSafeStringAppend(name, own.prefix);
  ZutSafeStringAppend(name, trace->name);
}

ZutOption *createOwn(const OwnOption &own, Trace *trace) {
  if (!trace) return utFailNull(Err::nullPointer);
  ZutSafeString name;
  ownName(&name, own, trace);
  ZutOption *option = own.create(name.str);
  if (option) utBind(option, own.handler, trace->number);
  ZutSafeStringDestroy(name);
  return option;
}

ZutOption *lookupOwn(const OwnOption &own, const Trace *trace) {
  if (!trace) return utFailNull(Err::nullPointer);
  ZutSafeString name;
  ownName(&name, own, trace);
  ZutOption *option = ZutOptionLookup(name.str);
  ZutSafeStringDestroy(name);
  return option;
}

int32_t destroyOwn(const OwnOption &own, Trace *trace) {
  ZutOption *option = lookupOwn(own, trace);
  if (!option) return 0;
  utUnbind(ZutOptionGetName(option), own.handler, trace->number);
  return ZutOptionDestroy(option);
}

void takeNow(Trace *trace, const char *option_name, ZutCbFunc handler) {
  utCheck(trace->number != 0);
  if (ZutOption *option = ZutOptionLookup(option_name)) handler(option, nullptr, trace->number);
}

} // namespace

void utTraceTakeOptions(Trace *trace, const char *level, const char *file, const char *flags) {
  takeNow(trace, level, changed<takeLevel>);
  takeNow(trace, file, changed<takeFile>);
  takeNow(trace, flags, changed<takeFlags>);
}

extern "C" {

ZutOption *Z_CALL ZutTraceLevelOptionCreate(const char *option_name) {
  ZutOption *option = ZutOptionCreate(option_name, Z_OPTION_ENUM);
  if (!option) return nullptr;
  ZutOptionSetRequired(option, 1);
  const char *word = nullptr;
  for (int32_t level = Z_TRACE_LEVEL_NEVER; level <= Z_TRACE_LEVEL_DEBUG; ++level) {
    ZutTraceLevelValToStr(level, &word);
    if (!ZutOptionLegValAdd(option, word)) break;
  }
  return option;
}

ZutOption *Z_CALL ZutTraceFileOptionCreate(const char *option_name) {
  return ZutOptionCreate(option_name, Z_OPTION_STR);
}

ZutOption *Z_CALL ZutTraceFlagsOptionCreate(const char *option_name) {
  ZutOption *option = ZutOptionCreate(option_name, Z_OPTION_ENUM_LIST);
  if (!option) return nullptr;
  char word[] = "prefix";
  const ZutStrList list = {nullptr, word};
  ZutOptionSetEnumList(option, &list);
  return option;
}

int32_t Z_CALL ZutTraceLevelOptionBind(Trace *trace, const char *option_name) {
  return bind(trace, option_name, changed<takeLevel>);
}

int32_t Z_CALL ZutTraceFileOptionBind(Trace *trace, const char *option_name) {
  return bind(trace, option_name, changed<takeFile>);
}

int32_t Z_CALL ZutTraceFlagsOptionBind(Trace *trace, const char *option_name) {
  return bind(trace, option_name, changed<takeFlags>);
}

int32_t Z_CALL ZutTraceLevelOptionUnbind(Trace *trace, const char *option_name) {
  return unbind(trace, option_name, changed<takeLevel>);
}

int32_t Z_CALL ZutTraceFileOptionUnbind(Trace *trace, const char *option_name) {
  return unbind(trace, option_name, changed<takeFile>);
}

int32_t Z_CALL ZutTraceFlagsOptionUnbind(Trace *trace, const char *option_name) {
  return unbind(trace, option_name, changed<takeFlags>);
}

ZutOption *Z_CALL ZutTraceLevelDefaultOptionCreate(Trace *trace) {
  return createOwn(ownLevel, trace);
}

ZutOption *Z_CALL ZutTraceFileDefaultOptionCreate(Trace *trace) {
  return createOwn(ownFile, trace);
}

ZutOption *Z_CALL ZutTraceFlagsDefaultOptionCreate(Trace *trace) {
  return createOwn(ownFlags, trace);
}

ZutOption *Z_CALL ZutTraceLevelDefaultOptionLookup(Trace *trace) {
  return lookupOwn(ownLevel, trace);
}

ZutOption *Z_CALL ZutTraceFileDefaultOptionLookup(Trace *trace) {
  return lookupOwn(ownFile, trace);
}

ZutOption *Z_CALL ZutTraceFlagsDefaultOptionLookup(Trace *trace) {
  return lookupOwn(ownFlags, trace);
}

int32_t Z_CALL ZutTraceLevelDefaultOptionDestroy(Trace *trace) {
  return destroyOwn(ownLevel, trace);
}

int32_t Z_CALL ZutTraceFileDefaultOptionDestroy(Trace *trace) { return destroyOwn(ownFile, trace); }

int32_t Z_CALL ZutTraceFlagsDefaultOptionDestroy(Trace *trace) {
  return destroyOwn(ownFlags, trace);
}

} // extern "C"
