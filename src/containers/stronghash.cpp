// The hash values depend on a random secret of the process, made on first use.
#include "containers/stronghash.h"

#include "base/text.h"
#include "platform/platform.h"

#include <atomic>

namespace {

constinit std::atomic<uint64_t> drawn{0}; // 0: not yet

// Threads that make one at the same time agree on one.
uint64_t secret() {
  uint64_t known = drawn.load(std::memory_order_relaxed);
  if (known) return known;
  const uint64_t mine = utPlatSecret() | 1;
  return drawn.compare_exchange_strong(known, mine) ? mine : known;
}

// Avalanche: every bit of the number affects every bit of the result.
constexpr uint64_t mix(uint64_t number) {
  number ^= number >> 32;
  number *= 0x9E3779B97F4A7C15;
  number ^= number >> 29;
  number *= 0xBF58476D1CE4E5B9;
  return number ^ number >> 32;
}

template <char Fold(char)>
uint32_t strongChars(ZutWord key) {
  uint64_t number = secret();
  for (const char *c = reinterpret_cast<const char *>(key); *c; ++c)
    number = mix(number ^ static_cast<unsigned char>(Fold(*c)));
  return static_cast<uint32_t>(number);
}

} // namespace

uint32_t Z_CALL utStrongNumber(ZutWord key) {
  return static_cast<uint32_t>(mix(secret() ^ static_cast<uintptr_t>(key)));
}

uint32_t Z_CALL utStrongText(ZutWord key) { return strongChars<utAsIs>(key); }

uint32_t Z_CALL utStrongWord(ZutWord key) { return strongChars<utLower>(key); }
