// The driver "zstd": Zstandard frames. The argument is the level, 1 to 19, 3 when there is none.
// Modes as the library means them: 0 go on, 1 flush, 2 end the frame; the next call begins a new
// one. Skippable frames before a frame are passed over.
//
// A context cannot be rolled back. So a call with too little room keeps its output, and the
// repeated call delivers it.
#include "zut.h"

#include <zstd.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr int32_t tooSmall = 4, tooLarge = 5, invalid = 7, corrupt = 24, noMemory = 30;
constexpr int32_t largest = INT32_MAX - 1048576; // of output, with room for one more piece

// Output that waits for room, and how much input it stands for.
struct Pending {
  ZutBuf *output;
  int32_t taken;
  bool waits;
};

// The first bytes of the frame that is decompressed, which may come in pieces.
struct Magic {
  uint32_t value;
  int32_t count;
};

struct Codec {
  ZSTD_CCtx *compressor;
  ZSTD_DCtx *decompressor;
  Pending compressed;
  Pending plain;
  Magic magic;
  bool inFrame; // decompressing stopped within a frame
  bool goesOn;  // it has more to do
  uint32_t operations;
  uint32_t bytesIn;
  uint32_t bytesOut;
};

Codec &codecOf(void *state) { return *static_cast<Codec *>(state); }

int32_t fail(int32_t error) {
  ZutErrNumSet(error);
  return 0;
}

// Makes room for at least `piece` more bytes.
ZSTD_outBuffer roomIn(ZutBuf &buffer, size_t piece) {
  ZutBufGrow(&buffer, buffer.size + static_cast<int32_t>(piece));
  return {buffer.data, static_cast<size_t>(buffer.capacity), static_cast<size_t>(buffer.size)};
}

ZSTD_inBuffer unreadOf(const ZutBuf &source) {
  const int32_t unread = source.size > source.offset ? source.size - source.offset : 0;
  return {source.data + source.offset, static_cast<size_t>(unread), 0};
}

int32_t deliver(Pending &pending, ZutBuf &destination, ZutBuf &source) {
  ZutBuf &output = *pending.output;
  pending.waits = destination.capacity - destination.size < output.size;
  if (pending.waits) return fail(tooSmall);
  std::memcpy(destination.data + destination.size, output.data, static_cast<size_t>(output.size));
  destination.size += output.size;
  source.offset += pending.taken;
  ZutBufSetSize(&output, 0);
  return 1;
}

void emptyPending(Pending &pending) {
  pending.waits = false;
  ZutBufSetSize(pending.output, 0);
}

// --- Compressing ---

void resetCompressor(Codec &codec) {
  ZSTD_CCtx_reset(codec.compressor, ZSTD_reset_session_only);
  emptyPending(codec.compressed);
}

// 0, or an error number.
int32_t runCompressor(Codec &codec, const ZutBuf &source, int32_t mode) {
  constexpr ZSTD_EndDirective ends[] = {ZSTD_e_continue, ZSTD_e_flush, ZSTD_e_end};
  ZutBuf &output = *codec.compressed.output;
  ZSTD_inBuffer in = unreadOf(source);
  for (bool more = true; more;) {
    if (output.size > largest) return tooLarge;
    ZSTD_outBuffer out = roomIn(output, ZSTD_CStreamOutSize());
    const size_t left = ZSTD_compressStream2(codec.compressor, &out, &in, ends[mode]);
    if (ZSTD_isError(left)) return corrupt;
    output.size = static_cast<int32_t>(out.pos);
    more = mode == 0 ? in.pos < in.size : left > 0;
  }
  codec.compressed.taken = static_cast<int32_t>(in.pos);
  return 0;
}

// --- Decompressing ---

void resetDecompressor(Codec &codec) {
  ZSTD_DCtx_reset(codec.decompressor, ZSTD_reset_session_only);
  emptyPending(codec.plain);
  codec.magic = {};
  codec.inFrame = false;
}

void noteMagic(Magic &magic, const ZSTD_inBuffer &in, size_t from) {
  const auto *bytes = static_cast<const uint8_t *>(in.src);
  for (; from < in.pos && magic.count < 4; ++from, ++magic.count)
    magic.value |= static_cast<uint32_t>(bytes[from]) << (8 * magic.count);
}

bool isSkippable(const Magic &magic) {
  return (magic.value & ZSTD_MAGIC_SKIPPABLE_MASK) == ZSTD_MAGIC_SKIPPABLE_START;
}

// To the end of the frame or of the input, or until the output needs more than `room`: a small
// frame may stand for gigabytes.
bool runDecompressor(Codec &codec, const ZutBuf &source, int32_t room) {
  ZutBuf &output = *codec.plain.output;
  ZSTD_inBuffer in = unreadOf(source);
  in.pos = static_cast<size_t>(codec.plain.taken);
  while (codec.goesOn && output.size <= room) {
    ZSTD_outBuffer out = roomIn(output, ZSTD_DStreamOutSize());
    const size_t from = in.pos;
    const size_t left = ZSTD_decompressStream(codec.decompressor, &out, &in);
    if (ZSTD_isError(left)) return false;
    output.size = static_cast<int32_t>(out.pos);
    noteMagic(codec.magic, in, from);
    codec.inFrame = left > 0 || isSkippable(codec.magic);
    codec.goesOn = codec.inFrame && (in.pos < in.size || out.pos == out.size);
    if (left == 0) codec.magic = {};
  }
  codec.plain.taken = static_cast<int32_t>(in.pos);
  return true;
}

// --- The driver's functions ---

// 0 for a text that is no level.
int levelOf(const char *args) {
  if (!args || !*args) return 3;
  int level = 0;
  for (; *args; ++args) {
    if (*args < '0' || *args > '9' || level > 19) return 0;
    level = level * 10 + (*args - '0');
  }
  return level <= 19 ? level : 0;
}

void Z_CALL destroy(void *state) {
  Codec &codec = codecOf(state);
  ZSTD_freeCCtx(codec.compressor);
  ZSTD_freeDCtx(codec.decompressor);
  ZutBufDestroy(codec.compressed.output);
  ZutBufDestroy(codec.plain.output);
  ZutFree(state);
}

void *Z_CALL create(const char *args) {
  const int level = levelOf(args);
  if (level == 0) {
    fail(invalid);
    return nullptr;
  }
  auto *codec = static_cast<Codec *>(ZutCalloc(sizeof(Codec)));
  codec->compressor = ZSTD_createCCtx();
  codec->decompressor = ZSTD_createDCtx();
  codec->compressed.output = ZutBufCreate(0);
  codec->plain.output = ZutBufCreate(0);
  if (!codec->compressor || !codec->decompressor) {
    destroy(codec);
    fail(noMemory);
    return nullptr;
  }
  ZSTD_CCtx_setParameter(codec->compressor, ZSTD_c_compressionLevel, level);
  return codec;
}

int32_t Z_CALL reset(void *state) {
  resetCompressor(codecOf(state));
  resetDecompressor(codecOf(state));
  return 1;
}

int32_t Z_CALL compress(void *state, ZutBuf *destination, ZutBuf *source, int32_t mode) {
  Codec &codec = codecOf(state);
  Pending &pending = codec.compressed;
  if (const int32_t error = pending.waits ? 0 : runCompressor(codec, *source, mode)) {
    resetCompressor(codec);
    return fail(error);
  }
  const int32_t size = destination->size;
  if (!deliver(pending, *destination, *source)) return 0;
  ++codec.operations;
  codec.bytesIn += static_cast<uint32_t>(pending.taken);
  codec.bytesOut += static_cast<uint32_t>(destination->size - size);
  return 1;
}

int32_t Z_CALL uncompress(void *state, ZutBuf *destination, ZutBuf *source, int32_t mode) {
  Codec &codec = codecOf(state);
  Pending &pending = codec.plain;
  if (!pending.waits) {
    pending.taken = 0;
    codec.goesOn = true;
  }
  const int32_t room = std::min(destination->capacity - destination->size, largest);
  const bool good = runDecompressor(codec, *source, room);
  const bool cut = mode == 2 && codec.inFrame && !codec.goesOn;
  const bool endless = codec.goesOn && pending.output->size > largest;
  if (!good || cut || endless) {
    resetDecompressor(codec);
    return fail(good && endless ? tooLarge : corrupt);
  }
  return deliver(pending, *destination, *source);
}

// Counts compression only, so that the ratio is bytes in divided by bytes out.
int32_t Z_CALL getStats(void *state, ZutCompressorStats *stats) {
  const Codec &codec = codecOf(state);
  stats->operations = codec.operations;
  stats->bytes_in = codec.bytesIn;
  stats->bytes_out = codec.bytesOut;
  return 1;
}

} // namespace

extern "C" Z_DRIVER_EXPORT int32_t Z_CALL ZcompressorDriverInit(void) {
  return ZutCompressorInit("zstd", create, compress, uncompress, getStats, reset, destroy);
}
