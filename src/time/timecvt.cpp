// The registry of time converters and the number-to-text half of the built-in ones. Registry and
// current converter are made by the first call, live until the process ends and are guarded by the
// process mutex, which is held while the current converter runs. Each thread has result buffers of
// its own, so the built-in converters have nothing to free when they are destroyed.
#include "base/check.h"
#include "base/env.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/processlock.h"
#include "base/setting.h"
#include "base/text.h"
#include "base/threadblock.h"
#include "containers/hash.h"
#include "format/textformat.h"
#include "time/calendar.h"
#include "time/timeparse.h"

#include <cstring>

struct ZutTimeCvt {
  char *name; // in lower case; the registry's key
  ZutTimeNumToStrFunc num_to_str;
  ZutTimeStrToNumFunc str_to_num;
  ZutTimeDestroyFunc destroy;
};

namespace {

constexpr char noText[] = "<UNKNOWN>";

ZutHashTable *registry;
ZutTimeCvt *current;

// Times before 1970, after 9999 and NaN have no text.
bool wholeSeconds(double time, int64_t *seconds) {
  if (!(time >= 0 && time < static_cast<double>(utTimeEnd))) return false;
  *seconds = static_cast<int64_t>(time);
  return true;
}

int32_t fail(char *text) {
  std::strcpy(text, "error");
  return 0;
}

using UtcWriter = void (*)(char *text, const CivilTime &civil);

template <TextSlot Slot, int32_t Size, UtcWriter Write>
int32_t Z_CALL numToUtc(double time, const char **text) {
  char *out = utThreadText(Slot, Size);
  *text = out;
  int64_t seconds;
  if (!wholeSeconds(time, &seconds)) return fail(out);
  Write(out, utCivilTime(seconds));
  return 1;
}

void putYear(char *out, int32_t year) {
  utCheck(year >= 1970 && year <= 9999);
  utTwoDigits(out, year / 100);
  utTwoDigits(out + 2, year % 100);
}

void writeHttp(char *text, const CivilTime &civil) {
  std::memcpy(text, "Www, dd Mmm yyyy hh:mm:ss GMT", sizeof "Www, dd Mmm yyyy hh:mm:ss GMT");
  std::memcpy(text, utDayNames[civil.weekday], 3);
  utTwoDigits(text + 5, civil.day);
  std::memcpy(text + 8, utMonthNames[civil.month - 1], 3);
  putYear(text + 12, civil.year);
  utClockText(text + 17, civil.second);
}

void writeSmtp(char *text, const CivilTime &civil) {
  const size_t day = std::strlen(utDayNames[civil.weekday]);
  std::memcpy(text, utDayNames[civil.weekday], day);
  text += day;
  std::memcpy(text, ", dd-Mmm-yy hh:mm:ss GMT", sizeof ", dd-Mmm-yy hh:mm:ss GMT");
  utTwoDigits(text + 2, civil.day);
  std::memcpy(text + 5, utMonthNames[civil.month - 1], 3);
  utTwoDigits(text + 9, civil.year % 100);
  utClockText(text + 12, civil.second);
}

// December alone has one blank and two digits of the day, as it always had.
void writeAsctime(char *text, const CivilTime &civil) {
  std::memcpy(text, utDayNames[civil.weekday], 3);
  text[3] = ' ';
  std::memcpy(text + 4, utMonthNames[civil.month - 1], 3);
  text += 7;
  *text++ = ' ';
  if (civil.month != 12) *text++ = ' ';
  if (civil.month == 12 || civil.day >= 10) *text++ = static_cast<char>('0' + civil.day / 10);
  *text++ = static_cast<char>('0' + civil.day % 10);
  *text++ = ' ';
  utClockText(text, civil.second);
  text[8] = ' ';
  putYear(text + 9, civil.year);
  text[13] = 0;
}

int32_t Z_CALL numToHms(double time, const char **text) {
  char *out = utThreadText(TextSlot::timeHms, sizeof "hh:mm:ss");
  *text = out;
  int64_t seconds, local;
  if (!wholeSeconds(time, &seconds) || !utLocalClock(seconds, &local)) return fail(out);
  utClockText(out, static_cast<int32_t>((local + 86400) % 86400));
  out[8] = 0;
  return 1;
}

// The fraction without its leading 0, in the format of the environment.
void formatFraction(double fraction, char *out, int32_t size) {
  const EnvText format("VNFULLFORMAT");
  const int32_t length = utFormatReal(out, size, format ? format.get() : "%.3f", fraction);
  utCheck(length >= 0 && length < size);
  if (length > 0) std::memmove(out, out + 1, static_cast<size_t>(length));
}

// The local text with the fraction between the time of day and the year, which is never cut off.
int32_t Z_CALL numToFull(double time, const char **text) {
  constexpr size_t timeLength = 19;
  constexpr size_t yearLength = 5;
  char *out = utThreadText(TextSlot::timeFull, Z_TIME_TEXT_SIZE);
  *text = out;
  int64_t seconds;
  char local[utLocalTextSize];
  if (!wholeSeconds(time, &seconds) || !utLocalText(seconds, local)) return fail(out);
  char fraction[Z_TIME_TEXT_SIZE - timeLength - yearLength + 1]; // and the 0 that is dropped
  formatFraction(time - static_cast<double>(seconds), fraction, sizeof fraction);
  utCheck(timeLength + std::strlen(fraction) + yearLength < Z_TIME_TEXT_SIZE);
  std::memcpy(out, local, timeLength);
  std::strcpy(out + timeLength, fraction);
  std::strcpy(out + timeLength + std::strlen(fraction), local + timeLength);
  return 1;
}

int32_t Z_CALL numToNumeric(double time, const char **text) {
  char number[Z_REAL_TEXT_SIZE];
  char *out = utThreadText(TextSlot::timeNumeric, Z_TIME_TEXT_SIZE);
  utCopyCut(out, Z_TIME_TEXT_SIZE, ZutRealToStrCopy(time, number));
  *text = out;
  return 1;
}

constexpr struct {
  const char *name;
  ZutTimeNumToStrFunc num_to_str;
  ZutTimeStrToNumFunc str_to_num;
} builtins[] = {
    {"full", numToFull, utTimeCvtFullStrToNum},
    {"hms", numToHms, utTimeCvtHmsStrToNum},
    {"numeric", numToNumeric, utTimeCvtNumericStrToNum},
    {"http", numToUtc<TextSlot::timeHttp, 30, writeHttp>, utTimeCvtDateStrToNum},
    {"smtp", numToUtc<TextSlot::timeSmtp, 35, writeSmtp>, utTimeCvtDateStrToNum},
    {"asctime", numToUtc<TextSlot::timeAsctime, 26, writeAsctime>, utTimeCvtDateStrToNum},
};

ZutTimeCvt *find(const char *name) {
  const ZutHashBucket *bucket = utHashFind(registry, reinterpret_cast<ZutWord>(name));
  return bucket ? reinterpret_cast<ZutTimeCvt *>(bucket->value) : nullptr;
}

ZutTimeCvt *add(const char *name, ZutTimeNumToStrFunc num_to_str, ZutTimeStrToNumFunc str_to_num,
                ZutTimeDestroyFunc destroy) {
  utCheck(registry && !find(name));
  auto *cvt = utNew<ZutTimeCvt>("time_cvtr");
  cvt->name = utLowerText(utDup(name, "(((time_cvtr)->name))"));
  cvt->num_to_str = num_to_str;
  cvt->str_to_num = str_to_num;
  cvt->destroy = destroy;
  ZutHashInsert(registry, reinterpret_cast<ZutWord>(cvt->name), reinterpret_cast<ZutWord>(cvt));
  return cvt;
}

// Under the process mutex, before anything else here is used.
void ensure() {
  utCheck(utProcessMutexHeld());
  if (registry) return;
  registry = ZutHashCreateStri(8);
  for (const auto &row : builtins) add(row.name, row.num_to_str, row.str_to_num, nullptr);
  current = find("hms");
}

// Under the process mutex: the text may be a buffer that any thread's next call overwrites.
const char *currentText(double time) {
  ensure();
  const char *text = nullptr;
  return current && current->num_to_str(time, &text) && text ? text : noText;
}

struct Traversal {
  ZutTimeCvtTraverseFunc function;
  ZutWord argument;
};

int32_t Z_CALL visit(ZutWord key, ZutWord value, ZutWord argument) {
  const auto &traversal = *reinterpret_cast<const Traversal *>(argument);
  return traversal.function(reinterpret_cast<const char *>(key),
                            reinterpret_cast<ZutTimeCvt *>(value), traversal.argument);
}

} // namespace

extern "C" {

ZutTimeCvt *Z_CALL ZutTimeCvtCreate(const char *name, ZutTimeNumToStrFunc num_to_str,
                                    ZutTimeStrToNumFunc str_to_num, ZutTimeDestroyFunc destroy) {
  if (!name) return utFailNull(Err::nullPointer);
  const ProcessGuard guard;
  ensure();
  return find(name) ? nullptr : add(name, num_to_str, str_to_num, destroy);
}

ZutTimeCvt *Z_CALL ZutTimeCvtLookup(const char *name) {
  if (!name) return utFailNull(Err::nullPointer);
  const ProcessGuard guard;
  ensure();
  ZutTimeCvt *converter = find(name);
  return converter ? converter : utFailNull(Err::notFound);
}

int32_t Z_CALL ZutTimeCvtDestroy(ZutTimeCvt *converter) {
  if (!converter) return utFail(Err::nullPointer);
  if (converter->destroy) converter->destroy();
  const ProcessGuard guard;
  ensure();
  ZutHashDelete(registry, reinterpret_cast<ZutWord>(converter->name));
  if (current == converter) current = find("hms");
  Z_FREE(converter->name, "(((time_cvtr)->name))");
  Z_FREE(converter, "time_cvtr");
  return 1;
}

int32_t Z_CALL ZutTimeCvtTraverse(ZutTimeCvtTraverseFunc function, ZutWord argument) {
  if (!function) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  ensure();
  const Traversal traversal = {function, argument};
  return ZutHashTraverse(registry, visit, reinterpret_cast<ZutWord>(&traversal));
}

int32_t Z_CALL ZutTimeCvtNumToStr(ZutTimeCvt *converter, double time, const char **out) {
  return converter->num_to_str(time, out);
}

int32_t Z_CALL ZutTimeCvtStrToNum(ZutTimeCvt *converter, const char *text, double *out) {
  return converter->str_to_num(text, out);
}

int32_t Z_CALL ZutTimeCvtSetCurrent(ZutTimeCvt *converter) {
  const ProcessGuard guard;
  ensure();
  current = converter;
  return 1;
}

const char *Z_CALL ZutTimeNumToStr(double time) {
  const ProcessGuard guard;
  return currentText(time);
}

int32_t Z_CALL ZutTimeStrToNum(const char *text, double *out) {
  const ProcessGuard guard;
  ensure();
  return current ? current->str_to_num(text, out) : utFail(Err::notFound);
}

char *Z_CALL ZutTimeToString(double time, char *buffer) {
  if (!buffer) return utFailNull(Err::nullPointer);
  const ProcessGuard guard;
  return std::strcpy(buffer, currentText(time));
}

} // extern "C"
