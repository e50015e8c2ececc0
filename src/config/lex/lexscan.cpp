// Scanning one token.
//
// The cursor runs over the input in place: over the string, or over the 512-byte buffer of a
// stream. A NUL follows the last character. In a stream's buffer a NUL may also be data: it
// is the end of the buffer only at `limit`, where more is read. Runs of one class of characters
// are copied into the token's text as a whole.
//
// Errors jump: no frame here holds anything but plain words. See lex.h for what false means.
#include "config/lex/lexscan.h"

#include "base/check.h"
#include "base/memory.h"
#include "base/text.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

// Classes of characters, as bits. Bytes of 128 and more belong to none.
enum : uint16_t {
  isSpace = 1, // white space
  isSkip = 2,  // white space, or may begin a comment
  isStart = 4, // begins a name
  isName = 8,  // goes on in a name
  isMark = 16, // the question mark of patterns
  isDigit = 32,
  isHex = 64,
  isPair = 128,     // may begin a token of two characters
  isTextStop = 256, // in a string constant: what is not simply copied
  isLineStop = 512, // in a comment to the line's end
  isCommentStop = 1024,
};

constexpr std::array<uint16_t, 256> classes = [] {
  std::array<uint16_t, 256> table{};
  for (int i = 1; i < 128; ++i) {
    const char c = static_cast<char>(i);
    uint16_t bits = 0;
    if (utIsSpace(c)) bits |= isSpace | isSkip;
    if (utIsAlpha(c) || c == '_') bits |= isStart | isName;
    if (utIsDigit(c)) bits |= isDigit | isName;
    if (utIsHex(c)) bits |= isHex;
    table[i] = bits;
  }
  table['%'] |= isName;
  table['?'] |= isName | isMark;
  for (const char c : {'/', '('}) table[c] |= isSkip;
  for (const char c : {'+', '-', '*', '/', '<', '>', ':'}) table[c] |= isPair;
  for (const char c : {'\0', '"', '\\', '\n'}) table[c] |= isTextStop;
  for (const char c : {'\0', '\n'}) table[c] |= isLineStop;
  for (const char c : {'\0', '\n', '*', '/', '('}) table[c] |= isCommentStop;
  return table;
}();

uint16_t classOf(char c) { return classes[static_cast<unsigned char>(c)]; }

// The kind of the token that a character is by itself.
constexpr std::array<int8_t, 256> singles = [] {
  constexpr std::string_view characters = "+-*/=<>()[]{}:.,;!$^@#%&~|\\";
  constexpr int8_t kinds[] = {
      Z_LEX_PLUS,        Z_LEX_MINUS,        Z_LEX_STAR,          Z_LEX_SLASH,
      Z_LEX_EQUAL,       Z_LEX_LESS,         Z_LEX_GREATER,       Z_LEX_LEFT_PAREN,
      Z_LEX_RIGHT_PAREN, Z_LEX_LEFT_BRACKET, Z_LEX_RIGHT_BRACKET, Z_LEX_LEFT_BRACE,
      Z_LEX_RIGHT_BRACE, Z_LEX_COLON,        Z_LEX_DOT,           Z_LEX_COMMA,
      Z_LEX_SEMICOLON,   Z_LEX_EXCLAMATION,  Z_LEX_DOLLAR,        Z_LEX_CARET,
      Z_LEX_AT,          Z_LEX_HASH,         Z_LEX_PERCENT,       Z_LEX_AMPERSAND,
      Z_LEX_TILDE,       Z_LEX_BAR,          Z_LEX_BACKSLASH};
  static_assert(std::size(kinds) == characters.size());
  std::array<int8_t, 256> table;
  table.fill(Z_LEX_ERROR);
  for (size_t i = 0; i < characters.size(); ++i) table[characters[i]] = kinds[i];
  return table;
}();

// The tokens of two characters.
constexpr struct {
  char first, second;
  int8_t kind;
} pairs[] = {
    {'+', '+', Z_LEX_PLUS_PLUS},   {'+', '=', Z_LEX_PLUS_EQUAL}, {'-', '-', Z_LEX_MINUS_MINUS},
    {'-', '=', Z_LEX_MINUS_EQUAL}, {'*', '=', Z_LEX_STAR_EQUAL}, {'/', '=', Z_LEX_SLASH_EQUAL},
    {'<', '=', Z_LEX_LESS_EQUAL},  {'<', '>', Z_LEX_NOT_EQUAL},  {'>', '=', Z_LEX_GREATER_EQUAL},
    {':', '=', Z_LEX_ASSIGN},
};

// Moves the unread part of a stream's buffer, from `p` on, to its front and appends more input.
// `p` follows. True when something was added.
bool fill(Lexer &lex, const char *&p) {
  if (!lex.stream || lex.streamEnded) return false;
  utCheck(p >= lex.buffer && p <= lex.limit && *lex.limit == '\0');
  const size_t rest = static_cast<size_t>(lex.limit - p);
  std::memmove(lex.buffer, p, rest);
  const size_t added = std::fread(lex.buffer + rest, 1, Z_LEX_BUFFER_SIZE - rest, lex.stream);
  lex.streamEnded = added == 0;
  p = lex.buffer;
  lex.limit = p + rest + added;
  lex.buffer[rest + added] = '\0';
  return added != 0;
}

// Is the NUL at `p` a character of a stream?
bool isData(const Lexer &lex, const char *p) { return lex.stream && p < lex.limit; }

// At a NUL: is the input at its end? If more is read, `p` points at the first new character.
bool ends(Lexer &lex, const char *&p) { return !isData(lex, p) && !fill(lex, p); }

// The character `n` places on, up to 3.
char peek(Lexer &lex, const char *&p, int n) {
  utCheck(n >= 1 && n <= 3);
  if (lex.stream && lex.limit - p <= n) fill(lex, p);
  for (int i = 0; i < n; ++i) {
    if (p[i] == '\0') return '\0';
  }
  return p[n];
}

// Adds to the token's text; `finish` terminates it.
void addText(Lexer &lex, std::string_view text) {
  const int64_t length = lex.text_length + static_cast<int64_t>(text.size());
  if (length >= lex.text_capacity) {
    int64_t capacity = lex.text_capacity;
    while (capacity <= length) capacity *= 2;
    char *bigger = utNewArray<char>(capacity, "((lexer)->token_buffer)");
    std::memcpy(bigger, lex.text, lex.text_length);
    Z_FREE(lex.text, "((lexer)->token_buffer)");
    lex.text = bigger;
    lex.text_capacity = static_cast<int32_t>(capacity);
  }
  std::memcpy(lex.text + lex.text_length, text.data(), text.size());
  lex.text_length = static_cast<int32_t>(length);
  utCheck(lex.text_length < lex.text_capacity);
}

// Copies the run of characters whose class has one of `bits` into the token's text.
void takeRun(Lexer &lex, const char *&p, uint16_t bits) {
  do {
    const char *start = p;
    while (classOf(*p) & bits) ++p;
    addText(lex, {start, static_cast<size_t>(p - start)});
  } while (p == lex.limit && fill(lex, p));
}

// Passes the run of characters whose class has none of `bits`; a NUL in the data is one of them.
// Copies it with `keep`.
void passUntil(Lexer &lex, const char *&p, uint16_t bits, bool keep) {
  for (;;) {
    const char *start = p;
    while (!(classOf(*p) & bits)) ++p;
    const bool data = *p == '\0' && isData(lex, p);
    if (data) ++p;
    if (keep) addText(lex, {start, static_cast<size_t>(p - start)});
    if (!data && (*p != '\0' || ends(lex, p))) return;
  }
}

inline void moveTo(Lexer &lex, const char *p) {
  const bool ended = *p == '\0' && ends(lex, p);
  utCheck(!lex.stream || (p >= lex.buffer && p <= lex.limit));
  lex.read = p + 1;
  lex.character = ended ? -1 : static_cast<unsigned char>(*p);
}

// Completes the token; `p` is the first character after it.
bool finish(Lexer &lex, const char *p, int32_t kind) {
  utCheck(lex.text_length < lex.text_capacity);
  lex.token = kind;
  lex.text_end = lex.text + lex.text_length;
  *lex.text_end = '\0';
  moveTo(lex, p);
  return true;
}

// May jump. The error function finds the text so far in the lexer.
template <class... Args>
bool fail(Lexer &lex, const char *p, const char *format, Args... args) {
  finish(lex, p, Z_LEX_ERROR);
  ZutLexError(&lex, format, args...);
  return false;
}

// --- White space and comments ---

void scanSpace(Lexer &lex, const char *&p, bool keep) {
  do {
    const char *start = p;
    for (; classOf(*p) & isSpace; ++p) {
      if (*p == '\n') ++lex.line;
    }
    if (keep) addText(lex, {start, static_cast<size_t>(p - start)});
  } while (p == lex.limit && fill(lex, p));
}

// An error in a comment shows the comment's beginning as its place. May jump.
template <class... Args>
bool failComment(Lexer &lex, const char *p, char open, const char *format, Args... args) {
  const char beginning[] = {open, '*'};
  lex.text_length = 0;
  addText(lex, {beginning, sizeof beginning});
  return fail(lex, p, format, args...);
}

// A bracketed comment that begins with `open` and a star, and ends with a star and `close`. May
// jump.
bool scanComment(Lexer &lex, const char *&p, char open, char close, bool keep) {
  const int32_t firstLine = lex.line;
  utCheck(p[0] == open);
  if (keep) addText(lex, {p, 2});
  p += 2;
  for (;;) {
    passUntil(lex, p, isCommentStop, keep);
    const char c = *p;
    if (c == '\0') {
      lex.line = firstLine;
      return failComment(
          lex, p, open,
          "ERROR: No Closing Comment *%c Found\nFor Comment Started on Line Number %ld\n", close,
          static_cast<long>(firstLine));
    }
    const char next = peek(lex, p, 1);
    if (c == open && next == '*') {
      return failComment(lex, p, open,
                         "ERROR: Start Of Nested Comment\n"
                         "Comment began on line %ld, nesting occured on line %ld",
                         static_cast<long>(firstLine), static_cast<long>(lex.line));
    }
    const bool closes = c == '*' && next == close;
    lex.line += c == '\n';
    if (keep) addText(lex, {p, closes ? 2u : 1u});
    p += closes ? 2 : 1;
    if (closes) return true;
  }
}

enum class Skip { nothing, space, failed };

// Passes one run of white space or one comment, if there is one, and copies it with `keep`. May
// jump.
Skip skip(Lexer &lex, const char *&p, bool keep) {
  const uint16_t bits = classOf(*p);
  if (!(bits & isSkip)) return Skip::nothing;
  if (bits & isSpace) {
    scanSpace(lex, p, keep);
    return Skip::space;
  }
  const char next = peek(lex, p, 1);
  if (next == '*') {
    const char close = *p == '/' ? '/' : ')';
    return scanComment(lex, p, *p, close, keep) ? Skip::space : Skip::failed;
  }
  if (*p != '/' || next != '/') return Skip::nothing;
  passUntil(lex, p, isLineStop, keep);
  return Skip::space;
}

// --- Tokens ---

// A name with question marks: a pattern has exactly two, apart. May jump.
bool finishPattern(Lexer &lex, const char *p) {
  const std::string_view text(lex.text, lex.text_length);
  utCheck(!text.empty());
  if (std::ranges::count(text, '?') != 2) return finish(lex, p, Z_LEX_ERROR);
  if (text.find("??") != text.npos) {
    return fail(lex, p, "ERROR: Pattern <%s> Has Two Adjacent Question Marks\n", lex.text);
  }
  return finish(lex, p, Z_LEX_PATTERN);
}

bool failName(Lexer &lex, const char *p) {
  takeRun(lex, p, isName);
  return fail(lex, p, "ERROR: utLexIdOrPattern\nIdentifier Too Long\n<%s>\n", lex.text);
}

// The text's storage has always room for the longest name.
bool scanName(Lexer &lex, const char *p) {
  utCheck(lex.text_capacity > Z_LEX_ID_SIZE);
  char *text = lex.text;
  int32_t length = 0;
  uint16_t all = 0;
  do {
    const char *end = p + (Z_LEX_ID_SIZE - length);
    const char *at = p;
    for (uint16_t bits; at < end && (bits = classOf(*at)) & isName; ++at) {
      all |= bits;
      text[length++] = *at;
    }
    p = at;
  } while (p == lex.limit && fill(lex, p));
  lex.text_length = length;
  if (length == Z_LEX_ID_SIZE) return failName(lex, p);
  if (all & isMark) return finishPattern(lex, p);
  lex.text[length] = '\0';
  return finish(lex, p, utLexReservedKind(lex.text));
}

bool scanNumber(Lexer &lex, const char *p) {
  utCheck(utIsDigit(*p));
  takeRun(lex, p, isDigit);
  if (*p == '.') {
    addText(lex, {p++, 1});
    takeRun(lex, p, isDigit);
  }
  if (*p == 'e' || *p == 'E') {
    const char sign = peek(lex, p, 1);
    const size_t length = sign == '+' || sign == '-' ? 2 : 1;
    if (utIsDigit(length == 2 ? peek(lex, p, 2) : sign)) {
      addText(lex, {p, length});
      p += length;
      takeRun(lex, p, isDigit);
    }
  }
  return finish(lex, p, Z_LEX_NUMBER);
}

bool scanOctets(Lexer &lex, const char *p) {
  takeRun(lex, p, isHex);
  if (utIsAlpha(*p)) {
    return fail(lex, p, "ERROR: Bad digit '%ld' in octet string constant\n", static_cast<long>(*p));
  }
  return finish(lex, p, Z_LEX_OCTETS);
}

// The backslash at `p` and what it escapes.
void scanEscape(Lexer &lex, const char *&p) {
  utCheck(*p == '\\');
  const char c = peek(lex, p, 1);
  if (c == '\n' || (c == '\r' && peek(lex, p, 2) == '\n')) {
    p += c == '\n' ? 2 : 3;
    ++lex.line;
    return;
  }
  constexpr std::string_view names = "\"\\nt", values = "\"\\\n\t";
  const size_t which = c ? names.find(c) : names.npos;
  if (which == names.npos) {
    addText(lex, {p++, 1}); // it stands for itself
    return;
  }
  addText(lex, values.substr(which, 1));
  p += 2;
}

bool scanString(Lexer &lex, const char *p) {
  utCheck(*p == '"');
  ++p;
  for (;;) {
    passUntil(lex, p, isTextStop, true);
    switch (*p) {
    case '"': return finish(lex, p + 1, Z_LEX_STRING);
    case '\\': scanEscape(lex, p); break;
    case '\n': return fail(lex, p, "ERROR: Found newline in string constant %s", lex.text);
    default: return fail(lex, p, "ERROR: Found EOF in string constant %s", lex.text);
    }
  }
}

bool scanOther(Lexer &lex, const char *p) {
  const char next = classOf(*p) & isPair ? peek(lex, p, 1) : '\0';
  lex.text[0] = *p;
  lex.text[1] = next;
  if (next) {
    for (const auto &pair : pairs) {
      if (pair.first != *p || pair.second != next) continue;
      lex.text_length = 2;
      return finish(lex, p + 2, pair.kind);
    }
  }
  lex.text_length = 1;
  return finish(lex, p + 1, singles[static_cast<unsigned char>(*p)]);
}

} // namespace

void utLexMoveTo(Lexer &lex, const char *p) { moveTo(lex, p); }

bool utLexSkipLine(Lexer &lex) {
  const char *p = utLexCursor(lex);
  passUntil(lex, p, isLineStop, false);
  utLexMoveTo(lex, p);
  return utLexNext(lex);
}

bool utLexNext(Lexer &lex) {
  const char *p = utLexCursor(lex);
  const bool keep = lex.return_spaces || utLexHasCallbacks();
  lex.spaceBefore = false;
  lex.text_length = 0;
  for (;;) {
    lex.tokenStart = p;
    if (*p == '\0' && ends(lex, p)) return finish(lex, p, Z_LEX_END);
    const Skip skipped = skip(lex, p, keep);
    if (skipped == Skip::nothing) break;
    if (skipped == Skip::failed) return false;
    if (lex.return_spaces) return finish(lex, p, Z_LEX_SPACE);
    lex.spaceBefore = true;
    if (!keep) continue;
    finish(lex, p, Z_LEX_SPACE);
    utLexTellCallbacks(lex, Z_LEX_SPACE);
    p = utLexCursor(lex);
    lex.text_length = 0;
  }
  utCheck(lex.text_length == 0);
  const uint16_t bits = classOf(*p);
  const bool octets = lex.expect_octets && (bits & isHex);
  lex.expect_octets = 0;
  if (octets) return scanOctets(lex, p);
  if (bits & isStart) return scanName(lex, p);
  if (bits & isDigit) return scanNumber(lex, p);
  return *p == '"' ? scanString(lex, p) : scanOther(lex, p);
}
