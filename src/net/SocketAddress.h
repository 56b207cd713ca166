#pragma once

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <string>

#include "net/SocketConfig.h"

namespace ns::net {

/// An address to bind or connect to, or a peer's.
class SocketAddress {
 public:
  /// The address of a Unix socket. A path of more than 107 bytes is cut.
  static SocketAddress ofPath(const std::string& path);
  /// The address and port of a configuration whose `host` is a literal. Throws SocketError if it is no literal of the
  /// family that `useIpv6` asks for.
  static SocketAddress ofLiteral(const SocketConfig& config);
  /// An address that a name resolved to, with `port`, given in host byte order.
  static SocketAddress ofResult(const addrinfo& result, uint16_t port);
  /// The address of the other end of a connection. Throws SocketError if there is none.
  static SocketAddress ofPeer(int handle);

  int family() const { return storage.ss_family; }
  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&storage); }
  /// The length that the system calls take.
  socklen_t size() const { return length; }

  /// The numeric address of an IPv4 or IPv6 address.
  std::string formatIp() const;
  /// The port as it stands, in network byte order; 0 for a family without ports.
  uint16_t networkPort() const;

 private:
  // The parts of an IPv4 or IPv6 address. sockaddr_storage is made to be seen through the types of all families.
  struct IpFields {
    in_port_t* port;
    void* address;
  };
  IpFields ipFields();

  sockaddr_storage storage{};
  socklen_t length = 0;
};

}  // namespace ns::net
