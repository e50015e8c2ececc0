// The interrupt counter. It is read and written by signal handlers, which run in the middle of
// anything (on Windows on a thread of their own): plain lock-free words.
#include "thread/interrupt.h"

#include "base/env.h"
#include "base/print.h"
#include "base/socketlayer.h"
#include "base/text.h"
#include "platform/platform_thread.h"

#include <cerrno>
#include <cstdlib>

namespace {

constinit std::atomic<int32_t> counter{0};
constinit std::atomic<int32_t> limit{5};
static_assert(std::atomic<int32_t>::is_always_lock_free);

// True when VN_INTERRUPT_MAX says what the limit is.
bool readLimit() {
  const EnvText text("VN_INTERRUPT_MAX");
  if (text) limit = utParseInt(text.get());
  return static_cast<bool>(text);
}

} // namespace

extern "C" {

int32_t Z_CALL ZutInterruptInit(void) {
  if (readLimit()) ZutOut("utInterruptMax = %ld\n", static_cast<long>(limit));
  if (utPlatInterruptHandle(ZutSigintHandler)) return 1;
  return utInterruptRefused<Msg::signalInstall>(errno);
}

int32_t Z_CALL ZutInterruptGet(void) { return counter; }

int32_t Z_CALL ZutInterruptSet(int32_t value) {
  counter = value;
  return value;
}

int32_t Z_CALL ZutInterruptIncr(void) { return ++counter; }

int32_t Z_CALL ZutInterruptReset(void) { return counter = 0; }

void ZutSigintHandler(int) {
  const int error = errno;
  if (++counter > limit) {
    ZutWinEndWinsock(); // waits for no lock
    std::abort();
  }
  utPlatInterruptAgain(ZutSigintHandler);
  errno = error;
}

} // extern "C"
