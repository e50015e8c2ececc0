// The table of catalog messages (messages.def) and the compile-time check of a call's arguments.
#pragma once

#include "zut.h"

#include <algorithm>
#include <string_view>
#include <type_traits>

enum class Msg : int32_t {
#define Z_MSG(number, severity, name, text) name = number,
#include "base/messages.def"
#undef Z_MSG
};

struct Message {
  int32_t number;
  char severity;
  std::string_view text; // without the line end
};

inline constexpr Message utMessages[] = {
#define Z_MSG(number, severity, name, text) {number, severity, text},
#include "base/messages.def"
#undef Z_MSG
};

// The row of a number, or null for a number that is not the library's.
constexpr const Message *utMessageFind(int32_t number) {
  for (const Message &row : utMessages) {
    if (row.number == number) return &row;
  }
  return nullptr;
}

// The kinds of a text's conversions in order: 's' text, 'l' long (ld, lx), 'c' character, '?'
// anything else. At most eight. There is none for real numbers: printf would print them as the
// program's locale does, so they are passed as texts of ZutRealToStr.
struct MessageKinds {
  char kind[8] = {};
  int count = 0;
  bool more = false; // beyond the eight

  constexpr std::string_view list() const { return {kind, static_cast<size_t>(count)}; }
};

constexpr MessageKinds utMessageKinds(std::string_view text) {
  MessageKinds kinds;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') continue;
    if (++i < text.size() && text[i] == '%') continue;
    const std::string_view rest = text.substr(i < text.size() ? i : text.size());
    const char kind = rest.starts_with("s")                              ? 's'
                      : rest.starts_with("ld") || rest.starts_with("lx") ? 'l'
                      : rest.starts_with("c")                            ? 'c'
                                                                         : '?';
    if (kinds.count < 8) kinds.kind[kinds.count++] = kind;
    else kinds.more = true;
  }
  return kinds;
}

static_assert(std::ranges::none_of(utMessages, [](const Message &row) {
  return utMessageKinds(row.text).more;
}));

template <class T>
constexpr char utArgKind() {
  if constexpr (std::is_convertible_v<T, const char *>) return 's';
  else if constexpr (std::is_same_v<T, char>) return 'c';
  else if constexpr (std::is_integral_v<T>) return 'l';
  else return '-';
}

template <Msg M, class... Args>
consteval bool utMessageTakes() {
  const MessageKinds kinds = utMessageKinds(utMessageFind(static_cast<int32_t>(M))->text);
  const char given[] = {utArgKind<Args>()..., 0};
  return kinds.list() == std::string_view{given, sizeof...(Args)};
}
