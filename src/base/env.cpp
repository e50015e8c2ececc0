// The environment of the process. `lock` is held around every access to the runtime's copy and
// never across an allocation: exhausted memory ends in a report that reads the environment.
#include "base/env.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/fastlock.h"
#include "base/memory.h"
#include "base/report.h"
#include "base/text.h"
#include "base/threadblock.h"
#include "platform/platform.h"
#include "platform/platform_time.h"

#include <cstdlib>
#include <cstring>

namespace {

FastLock lock;

// The family's own variables name files to write and switch checks off: a process that runs with
// rights its user does not have must not follow them.
bool mayRead(const char *name) { return std::strncmp(name, "VN", 2) != 0 || !utPlatPrivileged(); }

// Under the lock.
const char *lookup(const char *name) {
  utCheck(utFastHeld(lock));
  return mayRead(name) ? std::getenv(name) : nullptr;
}

// The value's size with its end, 0 when the variable is not set; copies it where it fits.
size_t copyValue(const char *name, char *buffer, size_t size) {
  const FastGuard guard(lock);
  const char *value = lookup(name);
  if (!value) return 0;
  const size_t needed = std::strlen(value) + 1;
  if (needed <= size) std::memcpy(buffer, value, needed);
  return needed;
}

} // namespace

char *utEnvDup(const char *name) {
  char *copy = nullptr;
  size_t size = 0;
  // Another thread may lengthen the value after its size was read.
  for (;;) {
    const size_t needed = copyValue(name, copy, size);
    if (needed != 0 && needed <= size) return copy;
    ZutFree(copy);
    if (needed == 0) return nullptr;
    copy = utNewArray<char>(static_cast<int64_t>(needed), "environment value");
    size = needed;
  }
}

bool utEnvIsSet(const char *name) {
  const FastGuard guard(lock);
  return lookup(name) != nullptr;
}

extern "C" {

int32_t Z_CALL ZutGetenv(const char *name, const char **out) {
  if (!name || !out) return utFail(Err::nullPointer);
  const EnvText value(name);
  *out = nullptr;
  if (value) {
    const size_t size = std::strlen(value.get()) + 1;
    char *text = utThreadNamedText(name, static_cast<int32_t>(size));
    std::memcpy(text, value.get(), size);
    *out = text;
  }
  return 1;
}

int32_t Z_CALL ZutPutenv(const char *assignment) {
  if (!assignment) return utFail(Err::nullPointer);
  const char *equals = std::strchr(assignment, '=');
  if (!equals) return utFail(Err::invalid);
  char *name = utDupPart(assignment, static_cast<size_t>(equals - assignment), "(enviroment)");
  bool done = false;
  {
    const FastGuard guard(lock);
    done = utPlatSetVariable(name, equals + 1);
    if (done && utSameWord(name, "TZ")) utPlatZoneRefresh();
  }
  Z_FREE(name, "(enviroment)");
  if (done) return 1;
  utReport<Msg::putenvFailed>(Z_TRACE_LEVEL_WARNING, assignment);
  return utFail(Err::none);
}

} // extern "C"
