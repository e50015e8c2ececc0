// The lexer over 4 MB of command text against a flex scanner with full tables. Both give each token
// as a command's parser wants it: names in lower case, numbers as values, strings as copies.
#include "support/row.h"
#include "zut.h"

#include "lex_bench_tokens.h"
extern "C" {
#include "lex_bench_scanner.h"
}

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>

namespace {

constexpr size_t size = 4 << 20;

const std::string &theText() {
  static const std::string text = [] {
    constexpr const char *lines[] = {
        "setopt server_names tcp:node_12:5101, tcp:node_7:5101;\n",
        "setopt socket_connect_timeout 12.5 // seconds\n",
        "alias st \"show the state of everything\";\n",
        "/* the values of the night run */ setopt real_number_format \"%10.3f\"\n",
        "create variable Pressure_4 (12, 4.25e-3, 7) := alpha + beta * 3;\n",
        "subscribe /news/sports/football, /news/weather; source start.cm\n",
    };
    std::mt19937 random(5);
    std::string made;
    while (made.size() < size) made += lines[random() % std::size(lines)];
    return made;
  }();
  return text;
}

const char *theFile() {
  static const bool written = [] { return bool(std::ofstream("lines.cm") << theText()); }();
  return written ? "lines.cm" : nullptr;
}

void drain(ZutLexer *lexer) {
  while (lexer->token != Z_LEX_END) ZutLexAccept(lexer, lexer->token);
  ZutLexDestroy(lexer);
}

void textOurs(benchmark::State &state) {
  const char *text = theText().c_str();
  for (auto _ : state) drain(ZutLexCreate(Z_LEX_OPT_STRING, text, Z_LEX_OPT_END));
}

void fileOurs(benchmark::State &state) {
  const char *name = theFile();
  for (auto _ : state) drain(ZutLexCreate(Z_LEX_OPT_FILE_NAME, name, Z_LEX_OPT_END));
}

void keepWord(const char *text, int length) {
  char word[Z_LEX_ID_SIZE];
  for (int i = 0; i < length; ++i) {
    const bool upper = text[i] >= 'A' && text[i] <= 'Z';
    word[i] = static_cast<char>(upper ? text[i] + ('a' - 'A') : text[i]);
  }
  word[length] = '\0';
  benchmark::DoNotOptimize(word);
}

void drain(yyscan_t scanner) {
  std::string string;
  while (const int kind = peerlex(scanner)) {
    const char *text = peerget_text(scanner);
    const int length = peerget_leng(scanner);
    if (kind == PEER_WORD) {
      keepWord(text, length);
    } else if (kind == PEER_NUMBER) {
      benchmark::DoNotOptimize(std::strtod(text, nullptr));
    } else if (kind == PEER_STRING) {
      string.assign(text + 1, static_cast<size_t>(length) - 2);
    }
  }
}

void textFlex(benchmark::State &state) {
  std::string text = theText();
  text.append(2, '\0'); // scanned in place, up to two zeros
  for (auto _ : state) {
    yyscan_t scanner;
    peerlex_init(&scanner);
    peer_scan_buffer(text.data(), text.size(), scanner);
    drain(scanner);
    peerlex_destroy(scanner);
  }
}

void fileFlex(benchmark::State &state) {
  const char *name = theFile();
  for (auto _ : state) {
    yyscan_t scanner;
    peerlex_init(&scanner);
    std::FILE *file = std::fopen(name, "r");
    peerset_in(file, scanner);
    drain(scanner);
    peerlex_destroy(scanner);
    std::fclose(file);
  }
}

} // namespace

void addRows() {
  Row("lexing", "text").ours(textOurs).peer("flex", textFlex);
  Row("lexing", "file").ours(fileOurs).peer("flex", fileFlex);
}
