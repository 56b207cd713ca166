#pragma once

#include <cstdint>
#include <string>

namespace bench {

/// Where a program of the bench listens or connects: "unix:<path>", "tcp:<port>", "tls:<port>", or "fifo:<path>" for
/// what only writes to files. Ports are ports of 127.0.0.1: nothing here ever talks to another machine.
struct Endpoint {
  explicit Endpoint(const std::string& text);

  /// A listening or a connected socket, for the caller to close. Both throw std::runtime_error.
  int listen() const;
  int connect() const;
  /// The reading end of a named pipe that is made here.
  int openFifo() const;

  std::string path;  // empty for a port
  uint16_t port = 0;
  bool tls = false;
  bool fifo = false;
};

/// Throws std::runtime_error with `what` and the system's reason.
[[noreturn]] void failSystem(const std::string& what);

}  // namespace bench
