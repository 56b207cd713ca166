#pragma once

#include <netdb.h>
#include <sys/socket.h>

#include <cstdint>
#include <string>

#include "net/SocketConfig.h"

namespace ns::net {

/// An address to bind or connect to, or a peer's, with the length that the system calls take.
struct SocketAddress {
  sockaddr_storage storage{};
  socklen_t length = 0;

  int family() const { return storage.ss_family; }
  sockaddr* get() { return reinterpret_cast<sockaddr*>(&storage); }
  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&storage); }

  /// The numeric address of an IPv4 or IPv6 address.
  std::string formatIp() const;
  /// The port as it stands, in network byte order; 0 for a family without ports.
  uint16_t networkPort() const;

  /// The address of a Unix socket. A path of more than 107 bytes is cut.
  static SocketAddress ofPath(const std::string& path);
  /// The address and port of a configuration whose `host` is a literal. Throws SocketError if it is no literal of the
  /// family that `useIpv6` asks for.
  static SocketAddress ofLiteral(const SocketConfig& config);
  /// An address that a name resolved to, with `port`, given in host byte order.
  static SocketAddress ofResult(const addrinfo& result, uint16_t port);
};

}  // namespace ns::net
