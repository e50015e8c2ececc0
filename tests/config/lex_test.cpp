// The lexer: tokens from strings and streams, accept operations, errors.
#include "support/child.h"
#include "support/errors.h"

#include <csetjmp>
#include <cstdarg>
#include <cstring>
#include <future>
#include <random>
#include <thread>

namespace {

// A jump runs no destructor and may lose locals: what a parse finds is kept outside of it.
std::string seen;  // what the parse noted
std::string error; // the message of the error that ended it
int32_t errorLine;
jmp_buf recover;

void Z_CALL keepError(ZutLexer *lexer, const char *format, va_list args, void *argument) {
  char text[1000];
  vsnprintf(text, sizeof text, format, args);
  error = text;
  errorLine = lexer->line;
  ZutLexDestroy(lexer);
  longjmp(*static_cast<jmp_buf *>(argument), Z_LEX_JUMP);
}

using Body = void (*)(ZutLexer *);

// Notes every token: its kind's name, and its text where the kind does not imply it.
void noteTokens(ZutLexer *lexer) {
  while (lexer->token != Z_LEX_END) {
    char name[64];
    ZutLexTokenToString(lexer->token, name);
    if (lexer->token == Z_LEX_NUMBER) strcpy(name, "<number>");
    seen += name;
    if (strlen(name) > 2) seen.append("[").append(lexer->text).append("]");
    seen += ' ';
    ZutLexAccept(lexer, lexer->token);
  }
}

// Runs `body` on an input; its notes, or the error's message.
template <class Input>
std::string parseInput(int32_t kind, Input *input, Body body, int32_t option) {
  seen.clear();
  error.clear();
  if (setjmp(recover) == 0) {
    ZutLexer *lexer = ZutLexCreate(kind, input, Z_LEX_OPT_ERROR_FUNC, keepError,
                                   Z_LEX_OPT_ERROR_ARG, &recover, option, Z_LEX_OPT_END);
    body(lexer);
    ZutLexDestroy(lexer);
  }
  return error.empty() ? seen : error;
}

std::string parse(const char *text, Body body = noteTokens, int32_t option = Z_LEX_OPT_END) {
  return parseInput(Z_LEX_OPT_STRING, text, body, option);
}

std::string parseStream(const std::string &bytes) {
  FILE *stream = fopen("stream.txt", "w+b");
  fwrite(bytes.data(), 1, bytes.size(), stream);
  rewind(stream);
  const std::string result = parseInput(Z_LEX_OPT_STREAM, stream, noteTokens, Z_LEX_OPT_END);
  fclose(stream);
  return result;
}

const std::string name63(63, 'n');

// From a stream, every token lies across the end of the buffer once.
TEST(LexTokens, areTheSameFromTextsAndStreams) {
  TempDir directory;
  const struct {
    std::string text, tokens;
  } cases[] = {
      {"", ""},
      {"+++= ---= **= //\n/= <<=<> >>= ::= = ( ) [ ] { } . , ; ! $ ^ @ # % & ~ | \\",
       "++ += -- -= * *= /= < <= <> > >= : := = ( ) [ ] { } . , ; ! $ ^ @ # % & ~ | \\ "},
      {"x/*c*/y(*d*)z // e", "<identifier>[x] <identifier>[y] <identifier>[z] "},
      {"/* (* ** * / // */ a (* /* *) b /**/", "<identifier>[a] <identifier>[b] "},
      {"_a%1 B " + name63, "<identifier>[_a%1] <identifier>[B] <identifier>[" + name63 + "] "},
      {"a?b?c a?b a?b?c?", "<pattern>[a?b?c] <error>[a?b] <error>[a?b?c?] "},
      {"1 1.5 2. 1.5e3 1e-3 2E+1", "<number>[1] <number>[1.5] <number>[2.] <number>[1.5e3] "
                                   "<number>[1e-3] <number>[2E+1] "},
      {"2e 3e+x", "<number>[2] <identifier>[e] <number>[3] <identifier>[e] + <identifier>[x] "},
      {R"("a\"b\\c\td\ne\q" "")", "<string constant>[a\"b\\c\td\ne\\q] <string constant>[] "},
      {"\"a\\\nb\\\r\nc\"", "<string constant>[abc] "},
      {"\xff \x80'`", "<error>[\xff] <error>[\x80] <error>['] <error>[`] "},
  };
  for (const auto &row : cases) {
    EXPECT_EQ(parse(row.text.c_str()), row.tokens) << row.text;
    for (size_t shift = 508 - row.text.size(); shift <= 516; ++shift)
      ASSERT_EQ(parseStream(std::string(shift, ' ') + row.text), row.tokens) << shift;
  }
  EXPECT_EQ(parseStream(std::string("a\0b", 3)), "<identifier>[a] <error>[] <identifier>[b] ");
  EXPECT_EQ(parseStream(std::string(3000, '7')), "<number>[" + std::string(3000, '7') + "] ");
  EXPECT_EQ(parseStream(std::string(511, ' ') + "\"x"), "ERROR: Found EOF in string constant x");
  ZutInitThreads();
  ZutProcessMutexLock(); // not needed: a stream may be a pipe that stays silent
  auto other = std::async(std::launch::async, parseStream, "a");
  EXPECT_EQ(other.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  ZutProcessMutexUnlock();
}

TEST(LexTokens, whiteSpaceOnRequest) {
  EXPECT_EQ(parse("a := b/*c*/\n", noteTokens, Z_LEX_OPT_SPACES),
            "<identifier>[a] <white space>[ ] := <white space>[ ] <identifier>[b] "
            "<white space>[/*c*/] <white space>[\n] ");
  const auto switching = [](ZutLexer *lexer) {
    ZutLexAcceptId(lexer);
    lexer->return_spaces = 1;
    ZutLexAcceptId(lexer);
    EXPECT_EQ(lexer->token, Z_LEX_SPACE);
    lexer->return_spaces = 0;
    ZutLexGobbleWhitespace(lexer);
    ZutLexAcceptId(lexer);
    seen = lexer->text;
  };
  EXPECT_EQ(parse("echo a b c", switching), "c");
}

TEST(LexErrors, haveTheirTexts) {
  const Body acceptA = [](ZutLexer *lexer) { ZutLexAccept(lexer, Z_LEX_ASSIGN); };
  const Body acceptBool = [](ZutLexer *lexer) { ZutLexAcceptBool(lexer); };
  const struct {
    const char *text;
    Body body;
    const char *message;
    int32_t line = 1;
  } cases[] = {
      {"\n/* a\n/* b", noteTokens,
       "ERROR: Start Of Nested Comment\nComment began on line 2, nesting occured on line 3", 3},
      {"(*)(*", noteTokens,
       "ERROR: Start Of Nested Comment\nComment began on line 1, nesting occured on line 1"},
      {"\n(* a\n\n", noteTokens,
       "ERROR: No Closing Comment *) Found\nFor Comment Started on Line Number 2\n", 2},
      {"\"ab\nc\"", noteTokens, "ERROR: Found newline in string constant ab"},
      {"\"ab\\", noteTokens, "ERROR: Found EOF in string constant ab\\"},
      {"a??b", noteTokens, "ERROR: Pattern <a??b> Has Two Adjacent Question Marks\n"},
      {"b", acceptA, "ERROR: Expected: :=,  Found: <identifier> <b>"},
      {"", acceptA, "ERROR: Expected: :=,  Found: <end of file> <>"},
      {"5", ZutLexAcceptId,
       "ERROR: Expected: <identifier>,  Found: <unsigned numeric constant> <5>"},
      {"5", ZutLexAcceptPattern,
       "ERROR: Expected: <pattern>,  Found: <unsigned numeric constant> <5>"},
      {"yes", acceptBool, "ERROR: Expected: boolean constant,  Found: <identifier> <yes>"},
      {"2.5", ZutLexAcceptUnsignedInt,
       "ERROR: Expected: unsigned integer,  Found: signed real <2.5>"},
      {"-2.5", ZutLexAcceptSignedInt,
       "ERROR: Expected: signed integer,  Found: signed real <-2.5>"},
      {" ;", ZutLexAcceptFileName, "ERROR: Expected: flexible string,  Found: ; <;>\n"},
      {"5", ZutLexAcceptSlot,
       "ERROR: Expected: slot name,  Found: <unsigned numeric constant> <5>"},
      {"ab", ZutLexAcceptSlot, "ERROR: slot name <ab> does not contain any dots"},
      {"a .b", ZutLexAcceptSlot, "ERROR: slot name <a> does not contain any dots"},
      {".a.", ZutLexAcceptSlot, "ERROR: slot name <.a.> cannot end with a dot"},
      {".a", ZutLexAcceptSlotOrAlias, "ERROR: slot name <.a> cannot start with a dot"},
      {"{0123456-0-0-0-0}", ZutLexAcceptGuidStr, "ERROR: Malformed GUID string\n"},
      {"{0123456g-0-0-0-0}", ZutLexAcceptGuidStr,
       "ERROR: Bad digit '103' in octet string constant\n"},
  };
  for (const auto &row : cases) {
    EXPECT_EQ(parse(row.text, row.body), row.message);
    EXPECT_EQ(errorLine, row.line) << row.message;
  }
  EXPECT_EQ(parse((name63 + "n").c_str()),
            "ERROR: utLexIdOrPattern\nIdentifier Too Long\n<" + name63 + "n>\n");
}

TEST(LexAccept, keepsValues) {
  const Body body = [](ZutLexer *lexer) {
    EXPECT_EQ(ZutLexAcceptBool(lexer), 1);
    EXPECT_EQ(ZutLexAcceptBool(lexer), 0);
    ZutLexAcceptSignedReal(lexer);
    EXPECT_EQ(lexer->number_value, -2.5);
    ZutLexAcceptUnsignedInt(lexer);
    EXPECT_EQ(lexer->number_value, 2.0);
    ZutLexAcceptPattern(lexer);
    ZutLexAccept(lexer, Z_LEX_STRING);
    seen += lexer->string_value.str;
    ZutLexAcceptSlot(lexer);
    seen += lexer->string_value.str;
    ZutLexAcceptGuidStr(lexer);
    seen += lexer->string_value.str;
    ZutLexSkipToEoln(lexer);
    ZutLexAcceptId(lexer);
    seen += lexer->id_value;
  };
  const std::string kept = std::string(1000, 's') + "a.B{01234567-89ab-cdef-0000-0123456789AB}";
  const std::string text = " false -2.5 2.0 P?q?r \"" + std::string(1000, 's') +
                           "\" a.B {01234567-89ab-cdef-0000-0123456789AB} dropped \"too\n LAST";
  EXPECT_EQ(parse(("TRUE" + text).c_str(), body), kept + "last");
  EXPECT_EQ(parse(("true" + text).c_str(), body, Z_LEX_OPT_KEEP_CASE), kept + "LAST");
}

TEST(LexAccept, fileNames) {
  ZutPutenv("LEX_TEST_DIR=/some/where");
  const Body body = [](ZutLexer *lexer) {
    ZutLexAcceptFileName(lexer);
    seen = std::string(lexer->string_value.str) + "|" + lexer->text;
  };
  const struct {
    const char *text, *result;
  } cases[] = {
      {"dir/a.cm next", "dir/a.cm|next"},
      {"C:\\Dir\\x-1.2.tmp;", "C:\\Dir\\x-1.2.tmp|;"},
      {"@log/*c*/x", "@log|x"},
      {"a,b", "a|,"},
      {"\"a b\" c", "a b|c"},
      {"$LEX_TEST_DIR/f", "/some/where/f|"},
      {"$LEX_TEST_NONE/$ LEX_TEST_DIR", "$LEX_TEST_NONE/$|LEX_TEST_DIR"},
      {"net//share", "net|"},
  };
  for (const auto &row : cases) {
    EXPECT_EQ(parse(row.text, body), row.result);
    EXPECT_EQ(parse(row.text, body, Z_LEX_OPT_SPACES), row.result);
  }
}

TEST(LexCreate, laterStringWinsOthersAreIgnored) {
  TempDir directory;
  writeFile("first.txt", "first");
  ZutLexer *lexer = ZutLexCreate(Z_LEX_OPT_FILE_NAME, "first.txt", Z_LEX_OPT_FILE_NAME, "none.txt",
                                 Z_LEX_OPT_STREAM, stdin, Z_LEX_OPT_END);
  EXPECT_STREQ(lexer->text, "first");
  ZutLexDestroy(lexer);
  lexer = ZutLexCreate(Z_LEX_OPT_FILE_NAME, "none.txt", Z_LEX_OPT_STRING, "a", Z_LEX_OPT_STRING,
                       "b", 77);
  EXPECT_STREQ(lexer->text, "b");
  ZutLexDestroy(lexer);
  lexer = ZutLexCreate(Z_LEX_OPT_END);
  EXPECT_EQ(lexer->token, Z_LEX_END);
  ZutLexDestroy(lexer);
}

TEST(LexCreate, positionCountsBytesNotRead) {
  TempDir directory;
  writeFile("bytes.txt", "ab cd\r\n" + std::string(1000, '+'));
  ZutLexer *lexer = ZutLexCreate(Z_LEX_OPT_FILE_NAME, "bytes.txt", Z_LEX_OPT_END);
  EXPECT_EQ(ZutLexGetCurrentPositionInFile(lexer), 3); // the current character counts as read
  ZutLexSkipToEoln(lexer);
  EXPECT_EQ(lexer->line, 2);
  EXPECT_EQ(ZutLexGetCurrentPositionInFile(lexer), 10);
  ZutLexDestroy(lexer);
}

TEST(LexWords, areKindsOfTheirOwn) {
  EXPECT_ERROR(4, ZutLexAddReservedWord("LexAlias", 0));
  EXPECT_EQ(ZutLexAddReservedWord("LexAlias", 901), 1);
  EXPECT_ERROR(6, ZutLexAddReservedWord("lexalias", 902));
  const Body accept = [](ZutLexer *lexer) {
    EXPECT_EQ(lexer->token, 901);
    ZutLexAcceptId(lexer);
    EXPECT_STREQ(lexer->id_value, "lexalias");
    ZutLexAccept(lexer, 901);
  };
  EXPECT_EQ(parse("LEXALIAS lexalia", accept),
            "ERROR: Expected: lexalias,  Found: <identifier> <lexalia>");
  char name[64];
  EXPECT_STREQ(ZutLexTokenToString(-44, name), "<UNKNOWN TOKEN -44>");
  EXPECT_STREQ(ZutLexTokenToString(903, name), "<UNKNOWN TOKEN 903>");
  Capture capture;
  EXPECT_EQ(ZutLexPrintReservedWords(ZutOut), 1);
  EXPECT_NE(capture.text().find("Name lexalias, value 901\n"), std::string::npos);
}

void Z_CALL noteToken(void *lexer, void *data, ZutWord argument) {
  const auto *token = static_cast<ZutLexTokenData *>(data);
  EXPECT_STRNE(static_cast<ZutLexer *>(lexer)->id_value, token->text) << "called before it is kept";
  seen += static_cast<char>(argument) + std::string(token->text) + "|";
}

TEST(LexCallbacks, tellOfAcceptedAndSkippedTokens) {
  ZutCb *all = ZutLexTokenCbCreate(nullptr, noteToken, 'g');
  EXPECT_EQ(ZutLexTokenCbLookup(nullptr, noteToken, 'g'), all);
  EXPECT_EQ(parse("a /*c*/ b",
                  [](ZutLexer *lexer) {
                    EXPECT_EQ(ZutLexTokenCbLookup(lexer, noteToken, 'l'), nullptr);
                    EXPECT_EQ(ZutErrNumGet(), 8);
                    ZutLexTokenCbCreate(lexer, noteToken, 'l');
                    ZutLexAcceptId(lexer);
                  }),
            "la|ga|l |g |l/*c*/|g/*c*/|l |g |");
  ZutCbDestroy(all);
  EXPECT_EQ(parse("a b", ZutLexAcceptId), "");
}

CHILD(fatal) {
  ZutLexAcceptId(ZutLexCreate(Z_LEX_OPT_FILE_NAME, "bad.txt", Z_LEX_OPT_END));
  ZutLexer *lexer = ZutLexCreate(Z_LEX_OPT_FILE_NAME, "none.txt", Z_LEX_OPT_END);
  printf("%s:%d\n", lexer->file_name, lexer->token);
}

TEST(LexErrors, areFatalWithoutAnErrorFunction) {
  TempDir directory;
  writeFile("bad.txt", "a\n\"b");
  const std::string out = runChild("fatal", {{"VN_FATAL_ERROR_CONTINUE", "1"}}).out;
  for (const char *part :
       {"ERROR: Found EOF in string constant b", "Lexer Error at line 2 of file bad.txt",
        "ZutLexCreate: cannot open file <none.txt> for reading."})
    EXPECT_NE(out.find(part), std::string::npos) << out;
  EXPECT_TRUE(out.ends_with("none.txt:-42\n")) << out;
}

void Z_CALL noteAndReturn(ZutLexer *, const char *, va_list, void *argument) {
  ++*static_cast<int *>(argument);
}

// The lexer is destroyed under the operation that failed: the sanitizers would see a late access.
TEST(LexErrors, aFunctionThatReturnsLosesTheLexer) {
  int errors = 0;
  const auto open = [&errors](const char *text) {
    return ZutLexCreate(Z_LEX_OPT_STRING, text, Z_LEX_OPT_ERROR_FUNC, noteAndReturn,
                        Z_LEX_OPT_ERROR_ARG, &errors, Z_LEX_OPT_END);
  };
  EXPECT_EQ(open("/* "), nullptr);
  ZutLexAcceptGuidStr(open("{0"));
  ZutLexAcceptFileName(open("a/\"b"));
  ZutLexAcceptSlot(open("a.b (*"));
  ZutLexAcceptSignedInt(open("- 2.5"));
  ZutLexAccept(open("a 1"), Z_LEX_END);
  EXPECT_EQ(errors, 6);
}

// Ten thousand texts, made of pieces that meet in bad ways and of plain noise, while another thread
// adds reserved words.
TEST(LexErrors, leaveNothing) {
  const std::string pieces[] = {
      "a",  "setopt ", "\"",  "\\", "/*", "*/",    "(*", "*)", "//",   "\n", "?",
      "??", "1.e",     "1e+", "{",  "$",  "$HOME", ".",  ";",  "\xff", " ",  std::string(33, 'a')};
  const Body bodies[] = {noteTokens, ZutLexAcceptFileName, ZutLexAcceptSlot, ZutLexAcceptGuidStr,
                         ZutLexAcceptSignedInt};
  ZutInitThreads();
  std::thread adder([] {
    for (int i = 0; i < 500; ++i)
      ZutLexAddReservedWord(("added" + std::to_string(i)).c_str(), 1000 + i);
  });
  std::mt19937 random(4711);
  int failures = 0;
  for (int round = 0; round < 10000; ++round) {
    std::string text;
    for (auto count = random() % 12; count > 0; --count) {
      text += random() % 4 ? pieces[random() % std::size(pieces)]
                           : std::string(1, static_cast<char>(random()));
    }
    parse(text.c_str(), bodies[round % std::size(bodies)],
          round % 2 ? Z_LEX_OPT_SPACES : Z_LEX_OPT_END);
    failures += !error.empty();
  }
  EXPECT_GT(failures, 1000);
  EXPECT_LT(failures, 9000);
  adder.join();
}

} // namespace
