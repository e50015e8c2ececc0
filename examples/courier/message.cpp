#include "message.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

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

// The buffer grows up to the limit only, whatever size the data claims.
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

// --- Texts of peers ---

uint8_t byteAt(std::string_view text, size_t index) {
  return index < text.size() ? static_cast<uint8_t>(text[index]) : 0;
}

// The bytes of the first character, as its first byte says; 0 when no character begins with it.
size_t lengthByFirst(uint8_t first) {
  if (first < 0x80) return 1;
  if (first < 0xC2 || first > 0xF4) return 0;
  return first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

// May the second byte follow the first? Not in overlong forms, surrogates and beyond the last
// character.
bool fitsBehind(uint8_t first, uint8_t second) {
  const int lowest = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  const int highest = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
  return second >= lowest && second <= highest;
}

// The bytes of the first character; 0 when it is a control character or none at all.
size_t printableLength(std::string_view text) {
  const uint8_t first = byteAt(text, 0), second = byteAt(text, 1);
  const size_t length = lengthByFirst(first);
  if (length == 1) return first >= ' ' && first != 0x7F ? 1 : 0;
  if (length == 0 || !fitsBehind(first, second)) return 0;
  for (size_t i = 2; i < length; ++i)
    if (!fitsBehind(0, byteAt(text, i))) return 0;
  return first == 0xC2 && second < 0xA0 ? 0 : length;
}

std::string writtenOut(char byte) {
  char text[5];
  std::snprintf(text, sizeof text, "\\x%02x", static_cast<uint8_t>(byte));
  return text;
}

} // namespace

MessageHead messageHead(const uint8_t *bytes) {
  uint32_t length = 0;
  for (int i = 0; i < 4; ++i) length = length << 8 | bytes[i];
  return {length, static_cast<MessageKind>(bytes[4])};
}

bool messageIsSound(const MessageHead &head, double longest) {
  switch (head.kind) {
  case MessageKind::alive: return head.length == 0;
  case MessageKind::text: return head.length <= longest;
  case MessageKind::compressed: return head.length > 0 && head.length <= longest;
  }
  return false;
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
  if (head.kind != MessageKind::compressed) return ZutBufCloneRange(data, 0, data->size);
  return unpack(data, static_cast<int32_t>(std::clamp(longest, 16.0, 1e9)));
}

std::string messagePrintable(const ZutBuf &text) {
  std::string_view rest(reinterpret_cast<const char *>(text.data), static_cast<size_t>(text.size));
  std::string printable;
  while (!rest.empty()) {
    const size_t length = printableLength(rest);
    if (length > 0) printable += rest.substr(0, length);
    else printable += writtenOut(rest[0]);
    rest.remove_prefix(std::max<size_t>(length, 1));
  }
  return printable;
}
