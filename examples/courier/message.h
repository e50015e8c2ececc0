// Messages of the courier. On the wire: the length of the data (4 bytes, most significant first),
// the kind (1 byte), the data.
#pragma once

#include "zut.h"

#include <string>

enum class MessageKind : uint8_t { text = 0, compressed = 1, alive = 2 };

struct MessageHead {
  uint32_t length;
  MessageKind kind;
};
constexpr int32_t messageHeadSize = 5;

MessageHead messageHead(const uint8_t *bytes);
// Is the kind one of ours, and the length at most `longest`?
bool messageIsSound(const MessageHead &head, double longest);

// Messages to send; the receiver of the result destroys it. A text is compressed while the option
// Compression is on and a driver can do it.
ZutBuf *messageOfText(const char *text);
ZutBuf *messageAlive();

// The text that the data of a message holds, in a buffer that the caller destroys.
// Null when it cannot be unpacked, or would take more than `longest` bytes.
ZutBuf *messageText(const MessageHead &head, ZutBuf *data, double longest);

// The text of a peer, as it may be printed: in one line, and without what a terminal obeys. Control
// characters and what is not UTF-8 become "\xNN".
std::string messagePrintable(const ZutBuf &text);
