// Port: reporting a catalog message by level, message and typed arguments. Answered by core/utout.
//
// A message of level L is printed only when the default trace object is absent or its level is
// at least L; printing keeps the caller's error state. Both are done there, once. May jump only if
// the program's output function does.
#pragma once

#include "base/messages.h"

// Would a message of this level be printed now?
bool utReportAllowed(int32_t level);

// The untyped way in, for utReport alone.
void utReportNumber(int32_t level, int32_t number, ...);

// %ld prints a long on every platform, so every integer is passed as one.
constexpr const char *utPrintArg(const char *text) { return text ? text : "(null)"; }
constexpr int utPrintArg(char value) { return value; }
template <class T>
requires std::is_integral_v<T>
constexpr long utPrintArg(T value) { return static_cast<long>(value); }

template <Msg M, class... Args>
void utReport(int32_t level, Args... args) {
  static_assert(utMessageTakes<M, Args...>(), "the arguments differ from the text's conversions");
  if (utReportAllowed(level)) utReportNumber(level, static_cast<int32_t>(M), utPrintArg(args)...);
}
