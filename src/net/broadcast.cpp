// UDP sockets for broadcasts.
#include "base/errword.h"
#include "base/report.h"
#include "net/socket.h"

#include <bit>

namespace {

constexpr uint16_t networkOrder(int32_t port) {
  const auto value = static_cast<uint16_t>(port);
  if (std::endian::native == std::endian::big) return value;
  return static_cast<uint16_t>(value << 8 | value >> 8);
}

static_assert(sizeof(ZutSocketAddr) == 16); // the system's own record

} // namespace

extern "C" {

int32_t Z_CALL ZutSocketCreateServerBcast(int32_t port) {
  if (const Err fault = utSocketPortFault(port, 0); fault != Err::none) return utFailSocket(fault);
  ZutWinStartWinsock();
  const int32_t socket = utPlatSocketOpen(PlatSocketKind::udp);
  if (socket == -1) return utSocketFail("socket");
  utSocketPrepare(socket);
  return utPlatSocketBind(socket, 0, port) ? socket : utSocketFailAndClose(socket, "bind");
}

int32_t Z_CALL ZutSocketCreateClientBcast(const char *address, int32_t port,
                                          ZutSocketAddr *destination_out) {
  if (!address || !destination_out) return utFailSocket(Err::nullPointer);
  if (const Err fault = utSocketPortFault(port, 1); fault != Err::none) return utFailSocket(fault);
  ZutWinStartWinsock();
  const int32_t socket = utPlatSocketOpen(PlatSocketKind::udp);
  if (socket == -1) return utSocketFail("socket");
  utSocketPrepare(socket);
  uint32_t destination;
  if (!utSocketBroadcastAddress(address, &destination)) {
    utReport<Msg::broadcastAddress>(Z_TRACE_LEVEL_WARNING, address);
    utSocketCloseUnused(socket);
    ZutErrNumSetSocket(utHostUnreachable);
    return -1;
  }
  if (!utPlatSocketSet(socket, PlatSocketSetting::broadcast, 1)) {
    utReport<Msg::broadcastRefused>(Z_TRACE_LEVEL_WARNING);
    return utSocketFailAndClose(socket, "setsockopt");
  }
  *destination_out = {2, networkOrder(port), destination, {}};
  return socket;
}

} // extern "C"
