#include "platform/platform.h"

#include <cstring>
#include <dlfcn.h>

const char utPlatLibrarySuffix[] = ".so";

// dlopen looks for a name without a slash where the system keeps libraries, and for every other
// name that is not absolute in the current directory.
void *utPlatLibraryLoad(const char *name) {
  if (name[0] != '/' && std::strchr(name, '/')) return nullptr;
  return dlopen(name, RTLD_NOW | RTLD_LOCAL);
}

void *utPlatLibrarySymbol(void *library, const char *symbol) { return dlsym(library, symbol); }
