#include "wide_name.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <iterator>

namespace {

constexpr wchar_t mark = L'?';
constexpr size_t markedLength = 5;

// The narrow form of a unit and its length; a form that means another character is none.
size_t plainForm(wchar_t unit, char (&out)[8]) {
  wchar_t back[2];
  const int length =
      WideCharToMultiByte(utWinFileCodePage(), 0, &unit, 1, out, sizeof out, nullptr, nullptr);
  if (length <= 0 || MultiByteToWideChar(utWinFileCodePage(), 0, out, length, back, 2) != 1)
    return 0;
  return back[0] == unit ? static_cast<size_t>(length) : 0;
}

// The unit that a mark and its digits stand for, 0 for none. Those of ASCII need no mark, and one
// that became a separator or a dot would lead elsewhere than the name seems to.
wchar_t markedUnit(const wchar_t *text) {
  if (text[0] != mark || std::wcsspn(text + 1, L"0123456789ABCDEFabcdef") < markedLength - 1)
    return 0;
  wchar_t digits[markedLength] = {};
  std::wmemcpy(digits, text + 1, markedLength - 1);
  const auto unit = static_cast<wchar_t>(std::wcstoul(digits, nullptr, 16));
  return unit < 0x80 ? 0 : unit;
}

} // namespace

unsigned utWinFileCodePage() { return AreFileApisANSI() ? CP_ACP : CP_OEMCP; }

bool utWinNarrowName(const wchar_t *wide, char *out, size_t size) {
  for (; *wide; ++wide) {
    char form[8];
    size_t length = plainForm(*wide, form);
    if (length == 0) {
      length = markedLength;
      std::snprintf(form, sizeof form, "%c%04X", static_cast<char>(mark),
                    static_cast<unsigned>(*wide));
    }
    if (length >= size) return false;
    std::memcpy(out, form, length);
    out += length;
    size -= length;
  }
  *out = '\0';
  return size > 0;
}

WideName::WideName(const char *name) {
  const int length = MultiByteToWideChar(utWinFileCodePage(), 0, name, -1, text, std::size(text));
  if (length <= 1) {
    text[0] = 0;
    errno = ENOENT;
    SetLastError(length == 1 ? ERROR_PATH_NOT_FOUND : ERROR_FILENAME_EXCED_RANGE);
    return;
  }
  wchar_t *end = text;
  for (const wchar_t *at = text; *at;) {
    const wchar_t unit = markedUnit(at);
    at += unit ? markedLength : 1;
    *end++ = unit ? unit : at[-1];
  }
  *end = 0;
}
