#pragma once

#include <cstdint>
#include <string>

namespace ns::net {

/// Where a socket listens or connects, and how long it waits. All time-outs are whole seconds, and 0 means "already
/// timed out", not "for ever". Three settings only travel along, for the listener and its receivers.
struct SocketConfig {
  bool useUnix = true;
  bool useIpv6 = false;  ///< TCP: decides the address family alone, whatever `host` looks like
  std::string path = "/run/brenlock/wirelark/dnstap.sock";
  uint32_t mode = 0666;            ///< of the path of a listening Unix socket
  std::string group = "wirelark";  ///< is given the path of a listening Unix socket
  std::string host = "127.0.0.1";  ///< literal to bind to; literal or name to connect to
  uint16_t port = 514;             ///< in host byte order
  uint32_t connectTimeout = 3;     ///< for each address tried
  uint32_t readTimeout = 5;
  uint32_t writeTimeout = 5;
  uint32_t listenBacklog = 128;
  uint32_t maxConnections = 1000;  ///< for the listener: receivers at a time
  uint32_t keepalive = 20;         ///< for the receiver: read time-outs in a row that it tolerates
  uint32_t sendBufferSize = 0;     ///< bytes, 0 leaves the system's default
  uint32_t recvBufferSize = 0;     ///< likewise
};

}  // namespace ns::net
