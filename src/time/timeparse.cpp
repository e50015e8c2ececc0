// Text to time for the built-in converters. The tokens are those of the library's lexer: white
// space and comments between them are free, names have up to 63 letters, numbers an optional
// fraction and exponent. They are scanned here, because a text of thirty characters is read many
// times faster without a lexer's record and its reserved words.
#include "time/timeparse.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/print.h"
#include "base/report.h"
#include "base/text.h"
#include "platform/platform_time.h"
#include "time/calendar.h"
#include "time/clock.h"

#include <charconv>
#include <cmath>

namespace {

constexpr int64_t daySeconds = 86400;

enum class Kind { word, number, mark, end, bad };

struct Reader {
  const char *next; // after the token
  Kind kind;        // the look-ahead token
  std::string_view token;
  double value;  // of a number
  bool reported; // a message has named the bad value
};

// A date and time of day as it was read.
struct Fields {
  int32_t year;
  int32_t month;
  int32_t day;
  int32_t hour;
  int32_t minute;
  double second;
};

// --- Tokens ---

constexpr bool isWordStart(char c) { return utIsAlpha(c) || c == '_'; }
constexpr bool isWordPart(char c) { return isWordStart(c) || utIsDigit(c) || c == '%' || c == '?'; }

// Passes a bracketed comment; false when it has no end or another one begins in it.
bool skipComment(const char *&p) {
  utCheck((*p == '(' || *p == '/') && p[1] == '*');
  const char open = *p;
  const char close = open == '(' ? ')' : '/';
  for (p += 2; *p; ++p) {
    if (p[0] == open && p[1] == '*') return false;
    if (p[0] == '*' && p[1] == close) {
      p += 2;
      return true;
    }
  }
  return false;
}

bool skipSpace(const char *&p) {
  for (;;) {
    while (utIsSpace(*p)) ++p;
    if ((*p == '/' || *p == '(') && p[1] == '*') {
      if (!skipComment(p)) return false;
    } else if (*p == '/' && p[1] == '/') {
      while (*p && *p != '\n') ++p;
    } else {
      return true;
    }
  }
}

Kind scanWord(const char *&p) {
  utCheck(isWordStart(*p));
  const char *start = p;
  bool pattern = false;
  for (; isWordPart(*p); ++p) pattern |= *p == '?';
  return !pattern && p - start < Z_LEX_ID_SIZE ? Kind::word : Kind::bad;
}

void skipDigits(const char *&p) {
  while (utIsDigit(*p)) ++p;
}

Kind scanNumber(const char *&p, double &value) {
  utCheck(utIsDigit(*p));
  const char *start = p;
  int32_t whole = 0;
  for (; utIsDigit(*p) && p - start < 9; ++p) whole = whole * 10 + (*p - '0');
  value = whole;
  if (!utIsDigit(*p) && *p != '.' && utLower(*p) != 'e') return Kind::number;
  skipDigits(p);
  if (*p == '.') skipDigits(++p);
  if (utLower(*p) == 'e') {
    const char *exponent = p + (p[1] == '+' || p[1] == '-' ? 2 : 1);
    if (utIsDigit(*exponent)) skipDigits(p = exponent);
  }
  value = utParseReal(start);
  return Kind::number;
}

void advance(Reader &in) {
  const char *p = in.next;
  const bool readable = skipSpace(p);
  const char *start = p;
  if (!readable) in.kind = Kind::bad;
  else if (*p == 0) in.kind = Kind::end;
  else if (isWordStart(*p)) in.kind = scanWord(p);
  else if (utIsDigit(*p)) in.kind = scanNumber(p, in.value);
  else ++p, in.kind = Kind::mark;
  in.token = {start, static_cast<size_t>(p - start)};
  in.next = p;
}

Reader openText(const char *text) {
  Reader in = {text, Kind::bad, {}, 0, false};
  advance(in);
  return in;
}

// --- Fields; false where the text is not what it must be ---

// The message names the look-ahead token.
template <Msg M>
bool reject(Reader &in) {
  char text[Z_LEX_ID_SIZE];
  utCopyCut(text, sizeof text, in.token);
  utReport<M>(Z_TRACE_LEVEL_WARNING, text);
  in.reported = true;
  return false;
}

bool take(Reader &in, Kind kind) {
  if (in.kind != kind) return false;
  advance(in);
  return true;
}

bool atMark(const Reader &in, char mark) {
  utCheck(in.kind != Kind::mark || in.token.size() == 1);
  return in.kind == Kind::mark && in.token[0] == mark;
}

bool takeMark(Reader &in, char mark) { return atMark(in, mark) && take(in, Kind::mark); }

template <Msg Integer, Msg Range>
bool takeInteger(Reader &in, int32_t least, int32_t most, int32_t &out) {
  if (in.kind != Kind::number) return false;
  if (in.value != std::floor(in.value)) return reject<Integer>(in);
  if (in.value < least || in.value > most) return reject<Range>(in);
  out = static_cast<int32_t>(in.value);
  advance(in);
  return true;
}

// A number of which only the part before the point is wanted, whatever it is.
bool takeWhole(Reader &in, int32_t &out) {
  out = utToInt32(in.value);
  return take(in, Kind::number);
}

template <Msg Range>
bool takeSecond(Reader &in, double &out) {
  if (in.kind != Kind::number) return false;
  if (in.value >= 60) return reject<Range>(in);
  out = in.value;
  advance(in);
  return true;
}

enum class MonthNames { abbreviated, both };

template <Msg Unknown>
bool takeMonth(Reader &in, MonthNames names, int32_t &month) {
  if (in.kind != Kind::word) return false;
  for (month = 1; month <= 12; ++month) {
    const std::string_view full = utMonthNames[month - 1];
    const bool matches = utSameWord(in.token, full.substr(0, 3)) ||
                         (names == MonthNames::both && utSameWord(in.token, full));
    if (matches) return take(in, Kind::word);
  }
  return reject<Unknown>(in);
}

// The two-digit years of the last century, and four digits up to 2020: a bound of the definition.
bool takeYear(Reader &in, int32_t &year) {
  if (in.kind != Kind::number) return false;
  const double value = in.value;
  const bool isShort = value >= 70 && value <= 99;
  if (value != std::floor(value) || !(isShort || (value >= 1970 && value <= 2020))) {
    return reject<Msg::dateYearRange>(in);
  }
  year = static_cast<int32_t>(value) + (isShort ? 1900 : 0);
  advance(in);
  return true;
}

template <Msg Extra>
bool atEnd(Reader &in) {
  return in.kind == Kind::end || reject<Extra>(in);
}

// --- The forms ---

// Mmm dd hh:mm:ss yyyy. Hour and minute are not checked; too large ones lead into the next day.
bool readAsctimeForm(Reader &in, Fields &f) {
  return takeMonth<Msg::dateMonth>(in, MonthNames::abbreviated, f.month) &&
         (in.kind != Kind::number || (in.value >= 1 && in.value < 32) ||
          reject<Msg::asctimeDayRange>(in)) &&
         takeWhole(in, f.day) && takeWhole(in, f.hour) && takeMark(in, ':') &&
         takeWhole(in, f.minute) && takeMark(in, ':') &&
         takeSecond<Msg::asctimeSecondRange>(in, f.second) && takeYear(in, f.year);
}

// Mmm yyyy, or -Mmm-yy.
bool readMonthAndYear(Reader &in, Fields &f) {
  const bool dashes = takeMark(in, '-');
  if (!takeMonth<Msg::dateMonth>(in, MonthNames::abbreviated, f.month)) return false;
  if (dashes) {
    if (!takeMark(in, '-')) return false;
    if (in.kind == Kind::number && in.value != std::floor(in.value)) {
      return reject<Msg::dateYearInteger>(in);
    }
  }
  return takeYear(in, f.year);
}

// dd Mmm yyyy hh:mm:ss zone
bool readZoneForm(Reader &in, Fields &f) {
  return takeInteger<Msg::dateDayInteger, Msg::dateDayRange>(in, 1, 31, f.day) &&
         readMonthAndYear(in, f) &&
         takeInteger<Msg::dateHourInteger, Msg::dateHourRange>(in, 0, 23, f.hour) &&
         takeMark(in, ':') &&
         takeInteger<Msg::dateMinuteInteger, Msg::dateMinuteRange>(in, 0, 59, f.minute) &&
         takeMark(in, ':') && takeSecond<Msg::dateSecondRange>(in, f.second) &&
         take(in, Kind::word);
}

bool readDate(Reader &in, Fields &f) {
  if (!take(in, Kind::word)) return false;
  const bool read = takeMark(in, ',') ? readZoneForm(in, f) : readAsctimeForm(in, f);
  return read && atEnd<Msg::dateExtra>(in);
}

bool readFull(Reader &in, Fields &f) {
  return take(in, Kind::word) && takeMonth<Msg::fullMonth>(in, MonthNames::both, f.month) &&
         takeInteger<Msg::fullDayInteger, Msg::fullDayRange>(in, 1, 31, f.day) &&
         takeInteger<Msg::fullHourInteger, Msg::fullHourRange>(in, 0, 23, f.hour) &&
         takeMark(in, ':') &&
         takeInteger<Msg::fullMinuteInteger, Msg::fullMinuteRange>(in, 0, 59, f.minute) &&
         takeMark(in, ':') && takeSecond<Msg::fullSecondRange>(in, f.second) &&
         takeInteger<Msg::fullYear, Msg::fullYear>(in, 1970, 9999, f.year) &&
         atEnd<Msg::fullExtra>(in);
}

bool readHms(Reader &in, Fields &f) {
  if (!takeInteger<Msg::hmsHourInteger, Msg::hmsHourRange>(in, 0, 23, f.hour) ||
      !takeMark(in, ':') ||
      !takeInteger<Msg::hmsMinuteInteger, Msg::hmsMinuteRange>(in, 0, 59, f.minute) ||
      !takeMark(in, ':') || in.kind != Kind::number) {
    return false;
  }
  in.reported = true;
  if (in.value >= 60) {
    ZutWarning("utTimeCvtHmsStrToNum: %.*s is not a valid second.\n",
               static_cast<int>(in.token.size()), in.token.data());
    return false;
  }
  f.second = in.value;
  advance(in);
  if (in.kind == Kind::end) return true;
  ZutWarning("utTimeCvtHmsToNum: found extra tokens after second.\n");
  return false;
}

// --- Moments ---

// The current time, or the system's when none was set.
int64_t currentSeconds() {
  const double time = utCurrentTimeUnlocked();
  if (time == 0) return utPlatWallMilliseconds() / 1000;
  return time < static_cast<double>(utTimeEnd) ? static_cast<int64_t>(time) : utTimeEnd - 1;
}

// The moment as if the fields were universal time. Days beyond the month lead into the next.
int64_t localSeconds(const Fields &f) {
  return utDaysOfDate(f.year, f.month, f.day) * daySeconds + f.hour * int64_t{3600} +
         f.minute * int64_t{60} + static_cast<int64_t>(f.second);
}

double fractionOf(const Fields &f) { return f.second - std::floor(f.second); }

// What has not been reported by name yet is reported as no time. Moments before 1970, to which a
// zone east of Greenwich can lead, are none.
int32_t finish(const Reader &in, bool read, const char *text, int64_t moment, double fraction,
               double *time) {
  utCheck(fraction >= 0 && fraction < 1);
  if (read && moment >= 0) {
    *time = static_cast<double>(moment) + fraction;
    return 1;
  }
  if (!in.reported) utReport<Msg::timeSyntax>(Z_TRACE_LEVEL_WARNING, text);
  return 0;
}

} // namespace

int32_t Z_CALL utTimeCvtFullStrToNum(const char *text, double *time) {
  if (!text || !time) return utFail(Err::nullPointer);
  Reader in = openText(text);
  Fields f = {};
  const bool read = readFull(in, f);
  const int64_t moment = read ? utLocalMoment(localSeconds(f)) : 0;
  return finish(in, read, text, moment, fractionOf(f), time);
}

int32_t Z_CALL utTimeCvtHmsStrToNum(const char *text, double *time) {
  if (!text || !time) return utFail(Err::nullPointer);
  Reader in = openText(text);
  Fields f = {1970, 1, 1, 0, 0, 0};
  const bool read = readHms(in, f);
  const int64_t now = currentSeconds();
  const int64_t local = now + utZone(now).offset;
  const int64_t today = local - (local % daySeconds + daySeconds) % daySeconds;
  const int64_t moment = read ? utLocalMomentLike(today + localSeconds(f), now) : 0;
  return finish(in, read, text, moment, fractionOf(f), time);
}

int32_t Z_CALL utTimeCvtNumericStrToNum(const char *text, double *time) {
  if (!text || !time) return utFail(Err::nullPointer);
  while (utIsSpace(*text)) ++text;
  if (*text == '+' && text[1] != '-') ++text;
  double value;
  const auto [end, error] = std::from_chars(text, text + std::strlen(text), value);
  if (error != std::errc() || !std::isfinite(value)) return 0;
  *time = value;
  return 1;
}

int32_t Z_CALL utTimeCvtDateStrToNum(const char *text, double *time) {
  if (!text || !time) return utFail(Err::nullPointer);
  Reader in = openText(text);
  Fields f = {};
  const bool read = readDate(in, f);
  const int64_t moment = read ? utLocalMomentLike(localSeconds(f), currentSeconds()) : 0;
  return finish(in, read, text, moment, 0.0, time);
}
