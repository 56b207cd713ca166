#pragma once

#include <cstdint>
#include <string>

namespace ns::net {

/// The peer of a connection: a process on this host, or an address and a port.
struct RemoteEndpoint {
  bool isUnix = false;
  bool isIpv6 = false;
  std::string path;     ///< stays empty: a connecting Unix socket has no name
  std::string address;  ///< TCP: numeric, without the zone of a link-local address
  /// TCP: as the socket address holds it, in network byte order, and printed so: port 80 shows as 20480 on
  /// little-endian hosts. Fixed output, docs/reference/metrics.md: its readers swap it back.
  uint16_t port = 0;
  uint32_t uid = 0;  ///< Unix: as the peer was when it connected
  uint32_t gid = 0;
  int32_t pid = 0;
};

}  // namespace ns::net
