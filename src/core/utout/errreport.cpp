// Error reports: the error-message file and the parameters of its texts.
//
// Parameters, file and reports belong to the process and have no lock: only one thread at a time
// may report. The file stays open and stands at its start between reports. Its lines are data: any
// content leads to a report or to an error message. A value is printed with the caller's own
// conversion, which was parsed and checked when the parameter was set. No other text of the caller
// or the file is used as a format.
#include "base/check.h"
#include "base/env.h"
#include "base/errword.h"
#include "base/jump.h"
#include "base/memory.h"
#include "base/places.h"
#include "base/text.h"
#include "base/threadblock.h"
#include "core/utout/fatal.h"
#include "format/textformat.h"
#include "platform/platform_file.h"

#include <cstdlib>
#include <utility>

namespace {

constexpr int32_t paramLimit = 10;
constexpr size_t lineSize = 255; // of a piece of a line, with its end
constexpr const char *entryWord = "-----";
constexpr const char *label = "error parameter";

enum class Type : int32_t {
  none = 0,
  string = 1,
  real = 3,
  character = 4, // can be set, but not printed. Kept.
  integer = 7,
  longInteger = 9,
  shortInteger = 11,
};

// A slot of the parameter table; all zeros: not set.
struct Param {
  char *name;       // from the file
  char *before;     // the caller's format: the text before the conversion,
  char *conversion; // the one conversion,
  char *after;      // and the text after it
  Type type;
  union {
    char *string; // a copy
    double real;
    int integer;
    long longInteger;
    short shortInteger;
  };
};

Param params[paramLimit];
int32_t paramCount = 0; // of the entry that is reported
FILE *errorFile = nullptr;

// --- Parameters ---

void freeFormat(Param &param) {
  Z_FREE(param.before, label);
  Z_FREE(param.conversion, label);
  Z_FREE(param.after, label);
  if (param.type == Type::string) Z_FREE(param.string, label);
  param.type = Type::none;
}

// The parts of a conversion: percent sign, flags and sizes, size letters, letter.
struct Conversion {
  const char *start;
  const char *sizes;
  const char *letter;
};

// The first percent sign that is not one of a pair, or null.
const char *findPercent(const char *format) {
  while ((format = std::strchr(format, '%')) != nullptr && format[1] == '%') format += 2;
  return format;
}

// Takes the first character that can be the letter; isPlain checks what precedes it.
bool findConversion(const char *format, Conversion &c) {
  c.start = findPercent(format);
  c.letter = c.start ? std::strpbrk(c.start, "diouxXfeEgGcsn") : nullptr;
  if (!c.letter) return false;
  c.sizes = c.letter;
  while (std::strchr("hlL", c.sizes[-1])) --c.sizes;
  return true;
}

// Skips a number; false when it is above what a format may ask for.
bool skipNumber(const char *&at) {
  int32_t number = 0;
  for (; utIsDigit(*at); ++at) {
    number = number * 10 + (*at - '0');
    if (number > utFormatMaxWidth) return false;
  }
  return true;
}

// Nothing but flags, a width and a precision between the percent sign and the size letters?
bool isPlain(const Conversion &c) {
  const char *at = c.start + 1;
  at += std::strspn(at, "-+ #0");
  if (!skipNumber(at)) return false;
  if (*at == '.' && !skipNumber(++at)) return false;
  return at == c.sizes;
}

// The type of the conversion's value; none for a size that the letter does not take.
Type typeOf(const Conversion &c) {
  utCheck(c.start < c.sizes && c.sizes <= c.letter);
  const auto sizeLetters = c.letter - c.sizes;
  const char size = sizeLetters == 0 ? ' ' : *c.sizes;
  if (sizeLetters > 1 || size == 'L') return Type::none;
  if (std::strchr("diouxXn", *c.letter)) {
    return size == 'h' ? Type::shortInteger : size == 'l' ? Type::longInteger : Type::integer;
  }
  if (size != ' ') return Type::none;
  return *c.letter == 's' ? Type::string : *c.letter == 'c' ? Type::character : Type::real;
}

// Copies what `value` points at, at any address.
void copyValue(Param &param, const void *value) {
  switch (param.type) {
  case Type::string: param.string = utDup(static_cast<const char *>(value), label); break;
  case Type::real: std::memcpy(&param.real, value, sizeof param.real); break;
  case Type::integer: std::memcpy(&param.integer, value, sizeof param.integer); break;
  case Type::longInteger: std::memcpy(&param.longInteger, value, sizeof param.longInteger); break;
  case Type::shortInteger:
    std::memcpy(&param.shortInteger, value, sizeof param.shortInteger);
    break;
  case Type::character:
  case Type::none: break;
  }
}

void setParam(Param &param, const char *format, const Conversion &c, const void *value) {
  freeFormat(param);
  const char *end = c.letter + 1;
  param.before = utDupPart(format, static_cast<size_t>(c.start - format), label);
  param.conversion = utDupPart(c.start, static_cast<size_t>(end - c.start), label);
  param.after = utDup(end, label);
  param.type = typeOf(c);
  utCheck(param.type != Type::none);
  copyValue(param, value);
}

// A text of the caller's format around its conversion: a pair of percent signs is one.
void printAround(const char *text) {
  for (; *text; ++text) {
    if (text[0] == '%' && text[1] == '%') ++text;
    std::printf("%c", *text);
  }
}

void printReal(const Param &param) {
  char text[1024]; // 309 digits and a precision of 255 are the longest
  utFormatReal(text, sizeof text, param.conversion, param.real);
  std::printf("%s", text);
}

void printValue(const Param &param) {
  if (param.conversion[std::strlen(param.conversion) - 1] == 'n') return; // never writes
  switch (param.type) {
  case Type::string: std::printf(param.conversion, param.string); break;
  case Type::real: printReal(param); break;
  case Type::longInteger: std::printf(param.conversion, param.longInteger); break;
  default:
    std::printf(param.conversion,
                param.type == Type::shortInteger ? param.shortInteger : param.integer);
  }
}

void printParam(const Param &param) {
  if (param.type == Type::none || param.type == Type::character) {
    std::printf("\nutErrPrintLine: Undefined arg type.\n");
    return;
  }
  utCheck(*param.conversion == '%');
  printAround(param.before);
  printValue(param);
  printAround(param.after);
}

// --- Lines of the file ---

struct Line {
  char text[lineSize];
  bool starts;       // false for a further piece of a long line
  bool ended = true; // the piece ends its line

  bool begins(const char *word) const {
    return starts && std::strncmp(text, word, std::strlen(word)) == 0;
  }
};

// Reads the next line, or the next piece of a long one. NUL bytes and the carriage return of a
// line's end are dropped. False at the end of the file.
bool readLine(Line &line) {
  line.starts = line.ended;
  size_t length = 0;
  int c = 0;
  while (c != '\n' && length < lineSize - 1 && (c = std::getc(errorFile)) != EOF) {
    if (c == '\n' && length > 0 && line.text[length - 1] == '\r') --length;
    if (c != '\0') line.text[length++] = static_cast<char>(c);
  }
  utCheck(length < lineSize);
  line.text[length] = '\0';
  line.ended = c == '\n';
  return length > 0;
}

// Skips the rest of a long line.
void skipRest(Line &line) {
  while (!line.ended) {
    const int c = std::getc(errorFile);
    line.ended = c == '\n' || c == EOF;
  }
}

// Reads a line that is one field of an entry. False when it is missing.
bool readField(Line &line) {
  if (!readLine(line) || line.begins(entryWord)) return false;
  skipRest(line);
  return true;
}

bool parseNumber(const char *text, long &number) {
  char *end = nullptr;
  number = std::strtol(text, &end, 10);
  return end != text;
}

// Finds the entry and leaves the file at its severity.
bool findEntry(Line &line, long wanted) {
  bool inEntry = false;
  while (readLine(line)) {
    skipRest(line);
    const bool first = std::exchange(inEntry, line.begins(entryWord));
    long number = 0;
    if (first && !inEntry && parseNumber(line.text, number) && number == wanted) return true;
  }
  return false;
}

// The next field as a severity; -1 for none.
int32_t readSeverity(Line &line) {
  constexpr const char *words[] = {"warning", "severe", "fatal"};
  if (!readField(line)) return -1;
  for (int32_t severity = 0; severity < 3; ++severity) {
    if (line.begins(words[severity])) return severity;
  }
  return -1;
}

// Keeps the first word of the line as the parameter's name. False when there is none.
bool takeName(Param &param, const char *line) {
  const auto inWord = [](char c) { return c && !utIsSpace(c); };
  while (utIsSpace(*line)) ++line;
  const char *end = line;
  while (inWord(*end)) ++end;
  Z_FREE(param.name, label);
  param.name = utDupPart(line, static_cast<size_t>(end - line), label);
  return end != line;
}

// Reads the number and the names of the entry's parameters; prints what is wrong with them.
bool readParams(Line &line) {
  long count = 0;
  if (!readField(line) || !parseNumber(line.text, count)) {
    std::printf("Error reading number of parameters in error file.\n");
    return false;
  }
  if (count < 0 || count > paramLimit) {
    std::printf("Too many parameters <%ld> requested in error file.\n", count);
    return false;
  }
  paramCount = static_cast<int32_t>(count);
  for (int32_t i = 0; i < paramCount; ++i) {
    if (!readField(line) || !takeName(params[i], line.text)) {
      std::printf("Error parsing parameter name in error file.\n");
      return false;
    }
  }
  return true;
}

// --- The report ---

// The first parameter whose name is what the text begins with, or null.
const Param *paramAt(const char *text) {
  utCheck(paramCount >= 0 && paramCount <= paramLimit);
  for (int32_t i = 0; i < paramCount; ++i) {
    utCheck(params[i].name);
    if (std::strncmp(text, params[i].name, std::strlen(params[i].name)) == 0) return &params[i];
  }
  return nullptr;
}

// A "$" with a word that is no parameter is printed unchanged, up to the white space.
void utErrPrintLine(const char *line) {
  while (const char *dollar = std::strchr(line, '$')) {
    std::printf("%.*s", static_cast<int>(dollar - line), line);
    const Param *param = paramAt(dollar + 1);
    if (param) {
      printParam(*param);
      line = dollar + 1 + std::strlen(param->name);
    } else {
      line = dollar;
      while (*line && !utIsSpace(*line)) std::printf("%c", *line++);
    }
  }
  std::printf("%s", line);
}

struct Section {
  const char *start;
  const char *end;
};

Section wantedSection() {
  switch (ZutErrFeedbackGet()) {
  case 0: return {"novice", entryWord};
  case 2: return {"no_output", entryWord};
  default: return {"expert", "novice"};
  }
}

// No section reaches into the next entry.
bool endsSection(const Line &line, const Section &section) {
  return line.begins(section.end) || line.begins(entryWord);
}

bool findSection(Line &line, const Section &section) {
  while (readLine(line)) {
    if (line.begins(section.start)) return true;
    if (endsSection(line, section)) return false;
  }
  return false;
}

void printSection(Line &line, const Section &section) {
  skipRest(line); // of the section's first line
  while (readLine(line) && !endsSection(line, section)) utErrPrintLine(line.text);
}

// The file stands at its start. Returns 0 when the entry's parameters cannot be read.
int32_t printReport(int32_t number) {
  utCheck(errorFile);
  Line line;
  const int32_t severity = findEntry(line, number) ? readSeverity(line) : -1;
  if (severity < 0 || severity < ZutErrSeverityGet()) {
    std::printf("Error message not available for error number <%ld>.\n", static_cast<long>(number));
    return 1;
  }
  if (!readParams(line)) return 0;
  const Section section = wantedSection();
  if (findSection(line, section)) {
    printSection(line, section);
  } else {
    std::printf("Requested feedback level unavailable for error number <%ld>.\n",
                static_cast<long>(number));
  }
  return 1;
}

int32_t report(const char *function, int32_t number) {
  std::printf("\n%s: ", function ? function : "unknown_func_name");
  if (!ZutErrOpenFile()) {
    std::printf("Unable to open error file.\n");
    return 0;
  }
  const int32_t result = printReport(number);
  std::rewind(errorFile);
  return result;
}

// The name of the error-message file, for the caller to free; null when its place is not known.
char *fileName() {
  char *home = utEnvDup("VNERRDIR");
  if (!home) home = utHomeDir();
  if (!home) return nullptr;
  const size_t size = std::strlen(home) + sizeof "/error/errors.txt";
  auto *name = utNewArray<char>(static_cast<int64_t>(size), "file name");
  ZutBuildDirName(name, home, "error");
  ZutBuildFileName(name, name, "errors", ".txt");
  Z_FREE(home, "file name");
  return name;
}

} // namespace

extern "C" {

int32_t Z_CALL ZutErrParamSet(int32_t number, const char *format, const void *value) {
  if (!format) {
    std::printf("ZutErrParamSet: Format string is NULL.\n");
    return 0;
  }
  if (number < 1 || number > paramLimit) {
    std::printf("ZutErrParamSet: Parameter number <%ld> must be between <%d> and <%d>.\n",
                static_cast<long>(number), 1, static_cast<int>(paramLimit));
    return 0;
  }
  if (!value) return utFail(Err::nullPointer);
  const char *percent = std::strchr(format, '%');
  if (!percent) {
    std::printf("Format string <%s> for parameter <%ld> is bad.\n", format,
                static_cast<long>(number));
    return 0;
  }
  Conversion c;
  if (!findConversion(format, c)) {
    std::printf("Conversion character error in format string <%s> for parameter <%ld>.\n", percent,
                static_cast<long>(number));
    return 0;
  }
  if (typeOf(c) == Type::none) {
    std::printf("Invalid size spec in format string.\n");
    return 0;
  }
  if (!isPlain(c)) {
    std::printf("ZutErrParamSet: Invalid format specifier <%s>.\n", format);
    return 0;
  }
  setParam(params[number - 1], format, c, value);
  return 1;
}

int32_t Z_CALL ZutErrReportParams(const char *function_name, int32_t error_number, ...) {
  va_list args;
  va_start(args, error_number);
  const int32_t result = ZutErrVReportParams(function_name, error_number, args);
  va_end(args);
  return result;
}

int32_t Z_CALL ZutErrVReportParams(const char *function_name, int32_t error_number, va_list args) {
  int32_t number = 0;
  while (const char *format = va_arg(args, const char *)) {
    if (++number > paramLimit) {
      std::printf("ZutErrReportParams: Too many parameters supplied.\n");
      break;
    }
    ZutErrParamSet(number, format, va_arg(args, const void *));
  }
  ZutErrNumSet(error_number);
  ZutErrState state;
  void *tsd = ZutErrNumSaveTsd(&state);
  const int32_t result = report(function_name, error_number);
  ZutErrClearParams();
  ZutErrNumRestoreTsd(&state, tsd);
  return result;
}

// A jump buffer that only ZutInit has armed belongs to a frame that has returned: what that frame
// would do is done here.
void Z_CALL ZutErrReportParamsJmp(const char *function_name, int32_t error_number,
                                  jmp_buf *jump_buffer, ...) {
  va_list args;
  va_start(args, jump_buffer);
  ZutErrVReportParams(function_name, error_number, args);
  va_end(args);
  if (!jump_buffer) jump_buffer = &utJumpPoint.buffer;
  if (jump_buffer == &utJumpPoint.buffer &&
      // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): one is a copy of the other
      std::memcmp(utJumpPoint.buffer, utJumpPoint.armed, sizeof utJumpPoint.armed) == 0) {
    utEndAfterReport();
  }
  ++utThreadBlock().jumps;
  longjmp(*jump_buffer, 1); // NOLINT(cert-err52-cpp)
}

void Z_CALL ZutErrClearParams() {
  for (Param &param : params) {
    freeFormat(param);
    Z_FREE(param.name, label);
    param = {};
  }
  paramCount = 0;
}

int32_t Z_CALL ZutErrOpenFile() {
  if (errorFile) return 1;
  char *name = fileName();
  if (!name) {
    std::printf("ZutErrOpenFile: Environment variable %s is not set.\n", "VNHOME");
    return 0;
  }
  errorFile = utPlatFileOpen(name, "r");
  if (!errorFile) std::printf("Error opening file \"%s\" \n", name);
  Z_FREE(name, "file name");
  return errorFile ? 1 : 0;
}

int32_t Z_CALL ZutErrCloseFile() {
  FILE *file = std::exchange(errorFile, nullptr);
  if (!file || std::fclose(file) == 0) return 1;
  std::printf("Error while closing error file.\n");
  return 0;
}

} // extern "C"
