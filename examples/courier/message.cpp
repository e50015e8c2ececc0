#include "message.h"

#include <algorithm>
#include <cstring>

namespace {

ZutBuf *makeMessage(MessageKind kind, const void *data, int32_t length) {
  ZutBuf *message = ZutBufCreate(messageHeadSize + length);
  auto *bytes = static_cast<uint8_t *>(ZutBufAllocAligned(message, messageHeadSize + length, 1));
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<uint8_t>(length >> (24 - 8 * i));
  bytes[4] = static_cast<uint8_t>(kind);
  if (length) std::memcpy(bytes + messageHeadSize, data, static_cast<size_t>(length));
  return message;
}

bool compresses() {
  int32_t on = 0;
  return ZutOptionGetBool(ZutOptionLookup("Compression"), &on) && on;
}

void terminate(ZutBuf *text) { *static_cast<char *>(ZutBufAllocAligned(text, 1, 1)) = '\0'; }

// Into a buffer that grows up to the limit, and not beyond whatever the data claims.
ZutBuf *unpack(ZutBuf *data, int32_t longest) {
  ZutCompressor *compressor = ZutCompressorCreate(nullptr, nullptr);
  if (!compressor) return nullptr;
  ZutBuf *text = nullptr;
  for (int64_t room = 4 * int64_t{data->size} + 64; !text; room *= 4) {
    const auto capacity = static_cast<int32_t>(std::min<int64_t>(room, longest));
    text = ZutBufCreate(capacity);
    if (ZutCompressorUncompress(compressor, text, data, 2)) break;
    const bool larger = ZutErrNumGet() == 4 && capacity < longest;
    ZutBufDestroy(text);
    text = nullptr;
    if (!larger) break;
  }
  ZutCompressorDestroy(compressor);
  return text;
}

} // namespace

MessageHead messageHead(const uint8_t *bytes) {
  uint32_t length = 0;
  for (int i = 0; i < 4; ++i) length = length << 8 | bytes[i];
  return {length, static_cast<MessageKind>(bytes[4])};
}

bool messageIsSound(const MessageHead &head, double longest) {
  if (head.kind == MessageKind::alive) return head.length == 0;
  const bool known = head.kind == MessageKind::text || head.kind == MessageKind::compressed;
  return known && head.length > 0 && head.length <= longest;
}

ZutBuf *messageOfText(const char *text) {
  const auto length = static_cast<int32_t>(std::strlen(text));
  if (!compresses()) return makeMessage(MessageKind::text, text, length);
  ZutBuf *plain = makeMessage(MessageKind::text, text, length);
  ZutBuf *packed = ZutBufCreate(length);
  plain->offset = messageHeadSize;
  ZutBuf *message = plain;
  if (ZutCompress(packed, plain)) {
    message = makeMessage(MessageKind::compressed, packed->data, packed->size);
    ZutBufDestroy(plain);
  } else {
    plain->offset = 0;
  }
  ZutBufDestroy(packed);
  return message;
}

ZutBuf *messageAlive() { return makeMessage(MessageKind::alive, nullptr, 0); }

ZutBuf *messageText(const MessageHead &head, ZutBuf *data, double longest) {
  ZutBuf *text = nullptr;
  if (head.kind == MessageKind::compressed) {
    text = unpack(data, static_cast<int32_t>(std::clamp(longest, 16.0, 1e9)));
  } else {
    text = ZutBufCloneRange(data, 0, data->size);
  }
  if (text) terminate(text);
  return text;
}
