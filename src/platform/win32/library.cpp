#include "platform/platform.h"

#include "wide_name.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <cwchar>

const char utPlatLibrarySuffix[] = ".dll";

namespace {

bool isAbsolute(const char *name) {
  const bool drive = std::isalpha(static_cast<unsigned char>(name[0])) && name[1] == ':';
  return drive ? name[2] == '\\' || name[2] == '/' : name[0] == '\\' && name[1] == '\\';
}

} // namespace

void *utPlatLibraryLoad(const char *name) {
  const bool absolute = isAbsolute(name);
  if (!absolute && std::strpbrk(name, "/\\:")) return nullptr;
  // An absolute library may bring others along in its own directory.
  const DWORD where =
      LOAD_LIBRARY_SEARCH_DEFAULT_DIRS | (absolute ? LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR : 0);
  WideName wide(name);
  if (!wide) return nullptr;
  // What is searched takes only the system's own separator for absolute.
  std::replace(wide.text, wide.text + std::wcslen(wide.text), L'/', L'\\');
  return reinterpret_cast<void *>(LoadLibraryExW(wide.text, nullptr, where));
}

void *utPlatLibrarySymbol(void *library, const char *symbol) {
  return reinterpret_cast<void *>(GetProcAddress(static_cast<HMODULE>(library), symbol));
}
