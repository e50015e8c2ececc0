// Names of nodes, addresses and sockets. The name service is asked only for texts with a letter,
// so that an address never waits for it.
#include "base/check.h"
#include "base/errword.h"
#include "base/report.h"
#include "base/text.h"
#include "net/socket.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace {

constexpr const char limitedBroadcast[] = "255.255.255.255";

bool isHostName(std::string_view text) { return std::ranges::any_of(text, utIsAlpha); }

// Numbers and dots. Some systems' conversion returns the same for the limited broadcast and for a
// failure.
bool parseNumbers(const char *text, uint32_t *address) {
  if (!utSame(text, limitedBroadcast)) return utPlatAddressParse(text, address);
  *address = UINT32_MAX;
  return true;
}

// Prints nothing: an unknown name is one of the answers here.
bool resolve(const char *name, uint32_t *address) {
  ZutWinStartWinsock();
  return parseNumbers(name, address) || utPlatAddressOfHost(name, address);
}

// The broadcast address of the network that an address belongs to by its first number.
uint32_t broadcastOf(uint32_t address) {
  uint8_t bytes[4];
  std::memcpy(bytes, &address, sizeof bytes);
  const int networkBytes = bytes[0] < 128 ? 1 : bytes[0] < 192 ? 2 : 3;
  std::fill(bytes + networkBytes, bytes + sizeof bytes, 255);
  std::memcpy(&address, bytes, sizeof bytes);
  return address;
}

int32_t unreachable() {
  ZutErrNumSetSocket(utHostUnreachable);
  return 0;
}

int32_t nameText(bool (*nameOf)(int32_t, PlatSocketName *), int32_t socket, int32_t withPort,
                 char *text) {
  if (!text) return utFail(Err::nullPointer);
  if (withPort != 0 && withPort != 1) return utFail(Err::invalid);
  PlatSocketName name;
  if (!nameOf(socket, &name)) {
    ZutErrNumSetSocket(0);
    return 0;
  }
  utSocketNameText(name, withPort == 1, text);
  return 1;
}

} // namespace

bool utSocketAddressOf(const char *text, uint32_t *address) {
  if (!isHostName(text)) {
    if (!parseNumbers(text, address)) {
      utReport<Msg::socketAddress>(Z_TRACE_LEVEL_WARNING, text);
      return unreachable();
    }
    char plain[utSocketNameSize];
    utSocketNameText({true, *address, 0}, false, plain);
    if (utSame(plain, text)) return true;
    utReport<Msg::socketAddressForm>(Z_TRACE_LEVEL_WARNING, text);
    ZutErrNumSetC(EINVAL);
    return false;
  }
  ZutWinStartWinsock();
  if (utPlatAddressOfHost(text, address)) return true;
  utReport<Msg::socketHost>(Z_TRACE_LEVEL_WARNING, text);
  return unreachable();
}

bool utSocketBroadcastAddress(const char *text, uint32_t *address) {
  if (isHostName(text) && utPlatAddressOfHost(text, address)) {
    *address = broadcastOf(*address);
    return true;
  }
  return parseNumbers(text, address);
}

void utSocketNameText(const PlatSocketName &name, bool withPort, char *text) {
  int length = 0;
  if (name.internet) {
    uint8_t bytes[4];
    std::memcpy(bytes, &name.address, sizeof bytes);
    length = std::snprintf(text, utSocketNameSize, "%d.%d.%d.%d", bytes[0], bytes[1], bytes[2],
                           bytes[3]);
  } else {
    length = std::snprintf(text, utSocketNameSize, "local");
  }
  utCheck(length > 0 && length < utSocketNameSize);
  if (!withPort) return;
  utCheck(name.port >= 0 && name.port <= UINT16_MAX);
  std::snprintf(text + length, static_cast<size_t>(utSocketNameSize - length), ":%ld",
                static_cast<long>(name.port));
}

extern "C" {

int32_t Z_CALL ZutSocketGetNameStr(int32_t socket, int32_t with_port, char *text_out) {
  return nameText(utPlatSocketName, socket, with_port, text_out);
}

int32_t Z_CALL ZutSocketGetPeerNameStr(int32_t socket, int32_t with_port, char *text_out) {
  return nameText(utPlatSocketPeerName, socket, with_port, text_out);
}

int32_t Z_CALL ZutSocketGetPort(int32_t socket, int32_t *port_out) {
  if (!port_out) return utFail(Err::nullPointer);
  PlatSocketName name;
  if (!utPlatSocketName(socket, &name)) {
    ZutErrNumSetSocket(0);
    return 0;
  }
  if (!name.internet) return utFail(Err::typeMismatch);
  utCheck(name.port >= 0 && name.port <= UINT16_MAX);
  *port_out = name.port;
  return 1;
}

int32_t Z_CALL ZutSocketParseIpAddr(const char *text, uint32_t *address_out) {
  if (!text || !address_out) return utFail(Err::nullPointer);
  uint32_t address;
  if (!utSocketAddressOf(text, &address)) return 0;
  *address_out = address;
  return 1;
}

int32_t Z_CALL ZutCompareNodeNames(const char *a, const char *b, int32_t *same_out) {
  if (!a || !b || !same_out) return utFail(Err::nullPointer);
  uint32_t addressOfA, addressOfB;
  *same_out = utSameWord(a, b) ||
              (resolve(a, &addressOfA) && resolve(b, &addressOfB) && addressOfA == addressOfB);
  return 1;
}

} // extern "C"
