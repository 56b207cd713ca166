#pragma once

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <vector>

#include "net/Socket.h"

// Both ends of loopback connections.
namespace test {

/// Two connected descriptors in blocking mode; `ours` belongs to the Socket under test.
struct UnixPair {
  UnixPair() { ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0 ? void() : std::abort(); }
  ~UnixPair() { ::close(theirs); }
  int ends[2], &ours = ends[0], &theirs = ends[1];
};

/// A listener on a free port of the loopback address, the configuration to connect to it, and a connection.
struct TcpPair {
  explicit TcpPair(ns::net::SocketConfig settings = {}) : config(std::move(settings)) {
    config.useUnix = false;
    config.port = 0;
    listener = std::make_unique<ns::net::Socket>(1, config);
    listener->listen();
    sockaddr_in bound{};  // an IPv6 address, cut off here, has the port in the same place
    socklen_t length = sizeof bound;
    ::getsockname(listener->getHandle(), reinterpret_cast<sockaddr*>(&bound), &length);
    config.port = ntohs(bound.sin_port);
    client = std::make_unique<ns::net::Socket>(2, config);
    connect();
  }
  /// Replaces both ends by those of a new connection.
  void connect(const std::function<bool(uint32_t)>& isTaken = nullptr) {
    client->close();
    client->connect();
    listener->wait(true, 1);
    server = listener->accept(isTaken);
  }
  ns::net::SocketConfig config;
  std::unique_ptr<ns::net::Socket> listener, client, server;
};

inline void put(int handle, const std::vector<unsigned char>& bytes) {
  if (::send(handle, bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0 && errno != EPIPE) std::abort();
}

/// Takes what has arrived at `handle` so far.
inline std::vector<unsigned char> pending(int handle) {
  std::vector<unsigned char> bytes(65536);
  bytes.resize(static_cast<size_t>(std::max<ssize_t>(0, ::recv(handle, bytes.data(), bytes.size(), MSG_DONTWAIT))));
  return bytes;
}

}  // namespace test
