// The driver "zlib": plain zlib streams, which every zlib reads. The argument is the level, 0 to 9,
// 6 when there is none. Mode 0 lets zlib keep back what it likes, 1 ends with a sync flush, 2 ends
// the stream; the next call begins a new one.
//
// A call with too little room must change nothing. At the start of a stream the stream is reset; in
// the middle a copy made before the call is restored.
#include "zut.h"

#include <zlib.h>

#include <cstring>

namespace {

constexpr int32_t tooSmall = 4, invalid = 7, corrupt = 24, noMemory = 30;

// One direction of a compressor, opened by its first use.
struct Stream {
  z_stream z;
  bool open;
};

struct Codec {
  int level;
  Stream deflater;
  Stream inflater;
  uint32_t operations;
  uint32_t bytesIn;
  uint32_t bytesOut;
};

Codec &codecOf(void *state) { return *static_cast<Codec *>(state); }

int32_t fail(int32_t error) {
  ZutErrNumSet(error);
  return 0;
}

bool atStart(const z_stream &z) { return z.total_in == 0 && z.total_out == 0; }

// zlib's functions for one direction under one name.
struct Deflate {
  static int run(z_stream &z, int flush) { return deflate(&z, flush); }
  static int reset(z_stream &z) { return deflateReset(&z); }
  static int copy(z_stream &to, z_stream &from) { return deflateCopy(&to, &from); }
  static int end(z_stream &z) { return deflateEnd(&z); }
};

struct Inflate {
  static int run(z_stream &z, int flush) { return inflate(&z, flush); }
  static int reset(z_stream &z) { return inflateReset(&z); }
  static int copy(z_stream &to, z_stream &from) { return inflateCopy(&to, &from); }
  static int end(z_stream &z) { return inflateEnd(&z); }
};

// The error number for a result of zlib, 0 for success. When the room is used up to the last byte,
// zlib may hold more output.
int32_t judge(int result, const z_stream &z, int32_t mode) {
  if (result == Z_STREAM_END) return 0;
  if (result == Z_MEM_ERROR) return noMemory;
  if (result != Z_OK && result != Z_BUF_ERROR) return corrupt;
  if (z.avail_out == 0) return tooSmall;
  return mode == 2 ? corrupt : 0; // the input ended before its stream
}

// Restores the saved stream. False when there is no memory for it: the stream is lost, and the next
// call opens a new one.
template <class Direction>
bool restore(Stream &stream, z_stream &before) {
  Direction::end(stream.z);
  stream.open = Direction::copy(stream.z, before) == Z_OK;
  Direction::end(before);
  return stream.open;
}

// Runs zlib on the unread part of `source`. On failure neither buffer changes.
template <class Direction>
int32_t work(Stream &stream, ZutBuf &destination, ZutBuf &source, int32_t mode) {
  constexpr int flushes[] = {Z_NO_FLUSH, Z_SYNC_FLUSH, Z_FINISH};
  z_stream &z = stream.z;
  const bool fresh = atStart(z);
  z_stream before;
  if (!fresh && Direction::copy(before, z) != Z_OK) return noMemory;
  const int32_t unread = source.size > source.offset ? source.size - source.offset : 0;
  const int32_t room = destination.capacity - destination.size;
  z.next_in = source.data + source.offset;
  z.avail_in = static_cast<uInt>(unread);
  z.next_out = destination.data + destination.size;
  z.avail_out = static_cast<uInt>(room);
  const int result = Direction::run(z, flushes[mode]);
  if (const int32_t error = judge(result, z, mode)) {
    if (!fresh) return restore<Direction>(stream, before) ? error : noMemory;
    Direction::reset(z);
    return error;
  }
  if (!fresh) Direction::end(before);
  source.offset += unread - static_cast<int32_t>(z.avail_in);
  destination.size += room - static_cast<int32_t>(z.avail_out);
  if (result == Z_STREAM_END) Direction::reset(z);
  return 0;
}

// A finished stream has been reset already; for a deflater that is half of a small message's time.
template <class Direction>
void restart(Stream &stream) {
  if (stream.open && !atStart(stream.z)) Direction::reset(stream.z);
}

// --- The driver's functions ---

void *Z_CALL create(const char *args) {
  int level = 6;
  if (args && *args) {
    if (args[0] < '0' || args[0] > '9' || args[1]) {
      fail(invalid);
      return nullptr;
    }
    level = args[0] - '0';
  }
  auto *codec = static_cast<Codec *>(ZutCalloc(sizeof(Codec)));
  codec->level = level;
  return codec;
}

int32_t Z_CALL compress(void *state, ZutBuf *destination, ZutBuf *source, int32_t mode) {
  Codec &codec = codecOf(state);
  Stream &stream = codec.deflater;
  if (!stream.open && deflateInit(&stream.z, codec.level) != Z_OK) return fail(noMemory);
  stream.open = true;
  const int32_t offset = source->offset, size = destination->size;
  if (const int32_t error = work<Deflate>(stream, *destination, *source, mode)) {
    return fail(error);
  }
  ++codec.operations;
  codec.bytesIn += static_cast<uint32_t>(source->offset - offset);
  codec.bytesOut += static_cast<uint32_t>(destination->size - size);
  return 1;
}

int32_t Z_CALL uncompress(void *state, ZutBuf *destination, ZutBuf *source, int32_t mode) {
  Stream &stream = codecOf(state).inflater;
  if (!stream.open && inflateInit(&stream.z) != Z_OK) return fail(noMemory);
  stream.open = true;
  const int32_t error = work<Inflate>(stream, *destination, *source, mode);
  return error ? fail(error) : 1;
}

// Counts compression only, so that the ratio is bytes in divided by bytes out.
int32_t Z_CALL getStats(void *state, ZutCompressorStats *stats) {
  const Codec &codec = codecOf(state);
  stats->operations = codec.operations;
  stats->bytes_in = codec.bytesIn;
  stats->bytes_out = codec.bytesOut;
  return 1;
}

int32_t Z_CALL reset(void *state) {
  Codec &codec = codecOf(state);
  restart<Deflate>(codec.deflater);
  restart<Inflate>(codec.inflater);
  return 1;
}

void Z_CALL destroy(void *state) {
  Codec &codec = codecOf(state);
  if (codec.deflater.open) deflateEnd(&codec.deflater.z);
  if (codec.inflater.open) inflateEnd(&codec.inflater.z);
  ZutFree(state);
}

} // namespace

extern "C" Z_DRIVER_EXPORT int32_t Z_CALL ZcompressorDriverInit(void) {
  return ZutCompressorInit("zlib", create, compress, uncompress, getStats, reset, destroy);
}
