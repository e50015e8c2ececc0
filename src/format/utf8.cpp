// UTF-8 and UCS-2: conversion, size and copying of texts. No state.
//
// Both conversions know how large their result can be before they allocate it, once. They work on
// runs of characters of one length, because that is what texts are made of: where the machine has
// SSE2, a step takes 16 bytes or 8 units, keeps the characters at its front that are of the length
// of the first one, and goes on after them. What a step writes beyond them is overwritten.
#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"

#include <algorithm>
#include <bit>

#if defined(__SSE2__)
#  include <emmintrin.h>
#endif

namespace {

// A unit of a caller's text, which may stand at any address.
using Unit [[gnu::aligned(1), gnu::may_alias]] = uint16_t;

// A size beyond 31 bits is one that the allocator refuses.
int32_t blockSize(uint64_t size) { return size <= INT32_MAX ? static_cast<int32_t>(size) : -1; }

// --- From UTF-8 ---

constexpr bool isTrail(uint8_t byte) { return (byte & 0xC0) == 0x80; }

// Decodes the first character of a text; returns its length, or 0 if there is none. The terminator
// is no trail byte, so nothing after it is read.
int decodeOne(const uint8_t *text, uint16_t *unit) {
  const uint32_t lead = text[0];
  if (lead < 0x80) {
    *unit = static_cast<uint16_t>(lead);
    return 1;
  }
  if (!isTrail(text[1])) return 0;
  if (lead < 0xE0) {
    *unit = static_cast<uint16_t>((lead & 0x1F) << 6 | (text[1] & 0x3F));
    return lead < 0xC2 ? 0 : 2; // a stray trail byte; a form too long
  }
  if (lead > 0xEF || !isTrail(text[2])) return 0;
  *unit = static_cast<uint16_t>((lead & 0x0F) << 12 | (text[1] & 0x3F) << 6 | (text[2] & 0x3F));
  return *unit < 0x800 ? 0 : 3;
}

#if defined(__SSE2__)

__m128i load(const void *from) { return _mm_loadu_si128(static_cast<const __m128i *>(from)); }
void store(void *to, __m128i value) { _mm_storeu_si128(static_cast<__m128i *>(to), value); }
void storeLow(void *to, __m128i value) { _mm_storel_epi64(static_cast<__m128i *>(to), value); }

// The highest bit of each byte.
uint32_t bitsOf(__m128i v) { return static_cast<uint32_t>(_mm_movemask_epi8(v)); }

__m128i and16(__m128i v, int mask) {
  return _mm_and_si128(v, _mm_set1_epi16(static_cast<int16_t>(mask)));
}
__m128i and32(__m128i v, int mask) { return _mm_and_si128(v, _mm_set1_epi32(mask)); }

// All ones in each lane whose bits under the mask are the value.
__m128i bitsAre16(__m128i v, int mask, int value) {
  return _mm_cmpeq_epi16(and16(v, mask), _mm_set1_epi16(static_cast<int16_t>(value)));
}
__m128i bitsAre32(__m128i v, int mask, int value) {
  return _mm_cmpeq_epi32(and32(v, mask), _mm_set1_epi32(value));
}

// How far a step came.
struct Step {
  int bytes;
  int units;
};

// Each reads 16 bytes and decodes the characters at the front that have its length.
Step decode1(const uint8_t *text, uint16_t *units) {
  const __m128i bytes = load(text);
  const __m128i zero = _mm_setzero_si128();
  store(units, _mm_unpacklo_epi8(bytes, zero));
  store(units + 8, _mm_unpackhi_epi8(bytes, zero));
  const int count = std::countr_zero(bitsOf(bytes) | 0x10000u);
  return {count, count};
}

// Also one ASCII character after the others, because a blank ends most words: it may be the 17th
// byte.
Step decode2(const uint8_t *text, uint16_t *units) {
  const __m128i pairs = load(text); // the trail byte on top
  const __m128i high = _mm_slli_epi16(and16(pairs, 0x1F), 6);
  const __m128i low = and16(_mm_srli_epi16(pairs, 8), 0x3F);
  store(units, _mm_or_si128(high, low));
  const __m128i tooLong = bitsAre16(pairs, 0x1E, 0);
  const __m128i right = _mm_andnot_si128(tooLong, bitsAre16(pairs, 0xC0E0, 0x80C0));
  const int bytes = std::countr_one(bitsOf(right));
  const uint32_t others = bitsOf(pairs) | (text[16] & 0x80u) << 9;
  const int blank = ~(others >> bytes) & 1;
  units[bytes / 2] = text[bytes];
  return {bytes + blank, bytes / 2 + blank};
}

Step decode3(const uint8_t *text, uint16_t *units) {
  const __m128i bytes = load(text);
  const __m128i two = _mm_unpacklo_epi32(bytes, _mm_srli_si128(bytes, 3));
  const __m128i more = _mm_unpacklo_epi32(_mm_srli_si128(bytes, 6), _mm_srli_si128(bytes, 9));
  const __m128i triples = _mm_unpacklo_epi64(two, more); // lead byte lowest, a strange one on top
  const __m128i high = _mm_slli_epi32(and32(triples, 0xF), 12);
  const __m128i middle = and32(_mm_srli_epi32(triples, 2), 0xFC0);
  const __m128i low = and32(_mm_srli_epi32(triples, 16), 0x3F);
  const __m128i wide = _mm_or_si128(_mm_or_si128(high, middle), low);
  // There is only a signed narrowing, so the sign is extended first.
  const __m128i narrow = _mm_srai_epi32(_mm_slli_epi32(wide, 16), 16);
  storeLow(units, _mm_packs_epi32(narrow, narrow));
  const __m128i tooLong = bitsAre32(triples, 0x200F, 0);
  const __m128i right = _mm_andnot_si128(tooLong, bitsAre32(triples, 0xC0C0F0, 0x8080E0));
  const int count = std::countr_one(bitsOf(right)) / 4;
  return {3 * count, count};
}

// One character that no other of its length follows.
Step decodeAlone(const uint8_t *text, uint16_t *units) {
  const int length = decodeOne(text, units);
  return {length, length != 0};
}

template <class Bytes, class Units>
void advance(Step step, Bytes &bytes, Units &units) {
  bytes += step.bytes;
  units += step.units;
}

// The same for a step that is often full: the processor predicts the branch and need not wait for
// the count.
template <Step Full, class Bytes, class Units>
void advanceFull(Step step, Bytes &bytes, Units &units) {
  if (step.bytes == Full.bytes) [[likely]] {
    advance(Full, bytes, units);
  } else {
    advance(step, bytes, units);
  }
}

// Decodes while more than 16 bytes are left; stops early before what is no character. There is room
// for a unit for each byte, so that a step may write as many units as it reads bytes.
void decodeSteps(const uint8_t *&text, const uint8_t *end, uint16_t *&units) {
  Step step{1, 1};
  while (step.bytes != 0 && end - text > 16) {
    if (text[0] < 0x80) {
      step = decode1(text, units);
      advanceFull<Step{16, 16}>(step, text, units);
    } else if (text[0] < 0xE0) {
      step = text[2] < 0x80 ? decodeAlone(text, units) : decode2(text, units);
      advance(step, text, units);
    } else {
      step = decode3(text, units);
      advanceFull<Step{12, 4}>(step, text, units);
    }
  }
}

#else

void decodeSteps(const uint8_t *&, const uint8_t *, uint16_t *&) {}

#endif

// Decodes a text; false when it stops at what is no character. `units` is moved past the last.
bool decode(const uint8_t *text, const uint8_t *end, uint16_t *&units) {
  decodeSteps(text, end, units);
  utCheck(text <= end);
  while (text < end) {
    const int length = decodeOne(text, units);
    if (length == 0) return false;
    text += length;
    ++units;
  }
  utCheck(text == end);
  return true;
}

// --- To UTF-8 ---

// What a text takes.
struct Extent {
  size_t units = 0; // without its terminator
  size_t bytes = 0; // as UTF-8
};

void countOne(Extent &extent, uint16_t unit) {
  extent.bytes += unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3;
  ++extent.units;
}

#if defined(__SSE2__)

// Counts whole blocks of 16 bytes, up to the one with the terminator. A block that begins inside
// the text lies in a page of the text, though it may reach over its end: the sanitizers cannot
// know.
__attribute__((no_sanitize("address", "thread"))) void countBlocks(const Unit *text,
                                                                   Extent &extent) {
  const auto *const first = reinterpret_cast<const __m128i *>(text + extent.units);
  const __m128i *block = first;
  const __m128i zero = _mm_setzero_si128();
  __m128i spared = zero; // of three bytes for each unit
  for (;; ++block) {
    const __m128i units = _mm_load_si128(block);
    if (bitsOf(_mm_cmpeq_epi16(units, zero)) != 0) break;
    const __m128i less = _mm_add_epi16(bitsAre16(units, 0xFF80, 0), bitsAre16(units, 0xF800, 0));
    spared = _mm_add_epi64(spared, _mm_sad_epu8(_mm_sub_epi16(zero, less), zero));
  }
  uint64_t sums[2];
  store(sums, spared);
  const size_t count = static_cast<size_t>(block - first) * 8;
  extent.units += count;
  extent.bytes += 3 * count - static_cast<size_t>(sums[0] + sums[1]);
}

bool atBlock(const Unit *unit) { return reinterpret_cast<uintptr_t>(unit) % 16 == 0; }

// Units at odd addresses never stand at a block: they are all counted one by one.
void countSteps(const Unit *text, Extent &extent) {
  for (; !atBlock(text + extent.units); countOne(extent, text[extent.units])) {
    if (text[extent.units] == 0) return;
  }
  utCheck(atBlock(text + extent.units));
  countBlocks(text, extent);
}

#else

void countSteps(const Unit *, Extent &) {}

#endif

Extent extentOf(const Unit *text) {
  Extent extent;
  countSteps(text, extent);
  while (text[extent.units]) countOne(extent, text[extent.units]);
  return extent;
}

uint8_t *encodeOne(uint32_t unit, uint8_t *out) {
  if (unit < 0x80) {
    *out++ = static_cast<uint8_t>(unit);
    return out;
  }
  if (unit < 0x800) {
    *out++ = static_cast<uint8_t>(0xC0 | unit >> 6);
  } else {
    *out++ = static_cast<uint8_t>(0xE0 | unit >> 12);
    *out++ = static_cast<uint8_t>(0x80 | (unit >> 6 & 0x3F));
  }
  *out++ = static_cast<uint8_t>(0x80 | (unit & 0x3F));
  return out;
}

#if defined(__SSE2__)

// Each reads up to 16 units and writes those at the front that become characters of its length.
Step encode1(const Unit *units, uint8_t *out) {
  const __m128i first = load(units);
  const __m128i second = load(units + 8);
  store(out, _mm_packus_epi16(first, second));
  const __m128i right = _mm_packs_epi16(bitsAre16(first, 0xFF80, 0), bitsAre16(second, 0xFF80, 0));
  const int count = std::countr_one(bitsOf(right));
  return {count, count};
}

// Also one ASCII character after the others, as in decoding.
Step encode2(const Unit *units, uint8_t *out) {
  const __m128i codes = load(units);
  const __m128i lead = _mm_srli_epi16(codes, 6);
  const __m128i trail = _mm_slli_epi16(and16(codes, 0x3F), 8);
  const __m128i marks = _mm_set1_epi16(static_cast<int16_t>(0x80C0));
  store(out, _mm_or_si128(_mm_or_si128(lead, trail), marks));
  const __m128i ascii = bitsAre16(codes, 0xFF80, 0);
  const int bytes = std::countr_one(bitsOf(_mm_andnot_si128(ascii, bitsAre16(codes, 0xF800, 0))));
  const uint32_t blanks = bitsOf(ascii) | (units[8] < 0x80 ? 0x10000u : 0);
  const int blank = blanks >> bytes & 1;
  out[bytes] = static_cast<uint8_t>(units[bytes / 2]);
  return {bytes + blank, bytes / 2 + blank};
}

Step encode3(const Unit *units, uint8_t *out) {
  const __m128i codes = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(units));
  const __m128i wide = _mm_unpacklo_epi16(codes, _mm_setzero_si128());
  const __m128i lead = _mm_srli_epi32(wide, 12);
  const __m128i middle = and32(_mm_slli_epi32(wide, 2), 0x3F00);
  const __m128i trail = _mm_slli_epi32(and32(wide, 0x3F), 16);
  const __m128i marks = _mm_set1_epi32(0x8080E0);
  const __m128i triples = _mm_or_si128(_mm_or_si128(lead, middle), _mm_or_si128(trail, marks));
  // Two of them side by side in each half.
  const __m128i even = _mm_and_si128(triples, _mm_set1_epi64x(0xFFFFFF));
  const __m128i odd = _mm_and_si128(_mm_srli_epi64(triples, 8), _mm_set1_epi64x(0xFFFFFF000000));
  const __m128i pairs = _mm_or_si128(even, odd);
  storeLow(out, pairs);
  storeLow(out + 6, _mm_srli_si128(pairs, 8));
  const int count = std::countr_zero(bitsOf(bitsAre16(codes, 0xF800, 0)) | 0x100u) / 2;
  return {3 * count, count};
}

// Encodes while 16 units are left, which become at least as many bytes as a step may write.
void encodeSteps(const Unit *&units, const Unit *end, uint8_t *&out) {
  while (end - units >= 16) {
    if (units[0] < 0x80) {
      advanceFull<Step{16, 16}>(encode1(units, out), out, units);
    } else if (units[0] >= 0x800) {
      advanceFull<Step{12, 4}>(encode3(units, out), out, units);
    } else if (units[1] < 0x80) {
      out = encodeOne(*units++, out); // alone
    } else {
      advance(encode2(units, out), out, units);
    }
  }
}

#else

void encodeSteps(const Unit *&, const Unit *, uint8_t *&) {}

#endif

// Encodes the units up to `end`; returns the end of the result.
uint8_t *encode(const Unit *units, const Unit *end, uint8_t *out) {
  encodeSteps(units, end, out);
  utCheck(units <= end);
  while (units < end) out = encodeOne(*units++, out);
  return out;
}

bool isTwoByte(int32_t format) {
  return format == Z_CHAR_FORMAT_UCS2 || format == Z_CHAR_FORMAT_UCS2_BIG_ENDIAN;
}

// In bytes, without the terminator.
size_t sizeOf(const void *text, int32_t format) {
  if (isTwoByte(format)) return 2 * extentOf(static_cast<const Unit *>(text)).units;
  return std::strlen(static_cast<const char *>(text));
}

} // namespace

extern "C" {

int32_t Z_CALL ZutConvertUcs2ToUtf8(const uint16_t *text, char **out) {
  if (!text || !out) return utFail(Err::nullPointer);
  const Extent extent = extentOf(text);
  *out = static_cast<char *>(Z_MALLOC(blockSize(uint64_t{extent.bytes} + 1), "*str_return"));
  auto *bytes = reinterpret_cast<uint8_t *>(*out);
  uint8_t *end = encode(text, text + extent.units, bytes);
  utCheck(end == bytes + extent.bytes);
  *end = 0;
  return 1;
}

int32_t Z_CALL ZutConvertUtf8ToUcs2(const char *text, uint16_t **out) {
  if (!text || !out) return utFail(Err::nullPointer);
  const size_t length = std::strlen(text);
  const int32_t size = blockSize((uint64_t{length} + 1) * sizeof(uint16_t));
  *out = static_cast<uint16_t *>(Z_MALLOC(size, "(*wstr_return)"));
  const auto *bytes = reinterpret_cast<const uint8_t *>(text);
  uint16_t *units = *out;
  const bool whole = decode(bytes, bytes + length, units);
  utCheck(units >= *out && units <= *out + length);
  std::fill(units, *out + length + 1, uint16_t{0});
  return whole ? 1 : 0;
}

int32_t Z_CALL ZutStrLenByte(const void *text, int32_t format) {
  if (!text) return utFail(Err::nullPointer);
  return static_cast<int32_t>(std::min<size_t>(sizeOf(text, format), INT32_MAX));
}

int32_t Z_CALL ZutTextGetSize(const void *text, int32_t format) {
  return ZutStrLenByte(text, format);
}

void *Z_CALL ZutStrCpy(void *destination, const void *text, int32_t format) {
  if (!destination || !text) return utFailNull(Err::nullPointer);
  const size_t size = sizeOf(text, format) + (isTwoByte(format) ? 2 : 1);
  return std::memmove(destination, text, size);
}

} // extern "C"
