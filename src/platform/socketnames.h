// What the two answers to platform_socket.h share; include it after the system's socket headers,
// whose names it uses.
#pragma once

#include "platform/platform_socket.h"

inline sockaddr_in utPlatMakeAddress(uint32_t address, int32_t port) {
  sockaddr_in name{};
  name.sin_family = AF_INET;
  name.sin_addr.s_addr = address;
  name.sin_port = htons(static_cast<uint16_t>(port));
  return name;
}

struct PlatSettingName {
  int level;
  int name;
};

inline PlatSettingName utPlatSettingName(PlatSocketSetting setting) {
  switch (setting) {
  case PlatSocketSetting::reuseAddress: return {SOL_SOCKET, SO_REUSEADDR};
  case PlatSocketSetting::keepAlive: return {SOL_SOCKET, SO_KEEPALIVE};
  case PlatSocketSetting::noDelay: return {IPPROTO_TCP, TCP_NODELAY};
  case PlatSocketSetting::broadcast: return {SOL_SOCKET, SO_BROADCAST};
  case PlatSocketSetting::sendSize: return {SOL_SOCKET, SO_SNDBUF};
  case PlatSocketSetting::receiveSize: return {SOL_SOCKET, SO_RCVBUF};
  case PlatSocketSetting::pendingError: break;
  }
  return {SOL_SOCKET, SO_ERROR};
}

inline bool utPlatFindHost(const char *name, uint32_t *address) {
  addrinfo wanted{};
  wanted.ai_family = AF_INET;
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo *found = nullptr;
  if (getaddrinfo(name, nullptr, &wanted, &found) != 0) return false;
  *address = reinterpret_cast<const sockaddr_in *>(found->ai_addr)->sin_addr.s_addr;
  freeaddrinfo(found);
  return true;
}
