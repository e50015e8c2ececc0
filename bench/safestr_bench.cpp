// Safe strings against std::string, GString and Tcl_DString.
#include "support/row.h"
#include "zut.h"

#include <glib.h>
#include <tcl.h>

#include <array>
#include <charconv>
#include <string>

namespace {

constexpr int appends = 1000; // to one string, before it is emptied

constexpr std::array words = {"option", "trace_level ",           "set",  "to ",
                              "a",      "somewhat longer text, ", "info", ".\n"};

const char *word(int i) { return words[static_cast<size_t>(i) % words.size()]; }

// One, three, five and ten digits, and a sign.
int32_t number(int i) {
  constexpr std::array<int32_t, 5> numbers = {7, 512, 65535, 2147483647, -40};
  return numbers[static_cast<size_t>(i) % numbers.size()];
}

void wordsOurs(benchmark::State &state) {
  ZutSafeString text;
  ZutSafeStringCreate(&text);
  for (auto _ : state) {
    ZutSafeStringClear(&text);
    for (int i = 0; i < appends; ++i) ZutSafeStringAppend(&text, word(i));
    benchmark::DoNotOptimize(text.str);
  }
  ZutSafeStringDestroy(text);
}

void wordsStd(benchmark::State &state) {
  std::string text;
  for (auto _ : state) {
    text.clear();
    for (int i = 0; i < appends; ++i) text += word(i);
    benchmark::DoNotOptimize(text.data());
  }
}

void wordsGlib(benchmark::State &state) {
  GString *text = g_string_new("");
  for (auto _ : state) {
    g_string_truncate(text, 0);
    for (int i = 0; i < appends; ++i) g_string_append(text, word(i));
    benchmark::DoNotOptimize(text->str);
  }
  g_string_free(text, TRUE);
}

void wordsTcl(benchmark::State &state) {
  Tcl_DString text;
  Tcl_DStringInit(&text);
  for (auto _ : state) {
    Tcl_DStringSetLength(&text, 0);
    for (int i = 0; i < appends; ++i) Tcl_DStringAppend(&text, word(i), -1);
    benchmark::DoNotOptimize(Tcl_DStringValue(&text));
  }
  Tcl_DStringFree(&text);
}

void integersOurs(benchmark::State &state) {
  ZutSafeString text;
  ZutSafeStringCreate(&text);
  for (auto _ : state) {
    ZutSafeStringClear(&text);
    for (int i = 0; i < appends; ++i) ZutSafeStringAppendInt4(&text, number(i));
    benchmark::DoNotOptimize(text.str);
  }
  ZutSafeStringDestroy(text);
}

void integersStd(benchmark::State &state) {
  std::string text;
  char digits[16];
  for (auto _ : state) {
    text.clear();
    for (int i = 0; i < appends; ++i) {
      text.append(digits, std::to_chars(digits, digits + sizeof digits, number(i)).ptr);
    }
    benchmark::DoNotOptimize(text.data());
  }
}

void integersGlib(benchmark::State &state) {
  GString *text = g_string_new("");
  for (auto _ : state) {
    g_string_truncate(text, 0);
    for (int i = 0; i < appends; ++i) g_string_append_printf(text, "%d", number(i));
    benchmark::DoNotOptimize(text->str);
  }
  g_string_free(text, TRUE);
}

} // namespace

void addRows() {
  Row("safe string: append", "words")
      .ours(wordsOurs)
      .peer("std::string", wordsStd)
      .peer("GString", wordsGlib)
      .peer("Tcl_DString", wordsTcl);
  Row("safe string: append", "integer")
      .ours(integersOurs)
      .peer("std::string", integersStd)
      .peer("GString", integersGlib);
}
