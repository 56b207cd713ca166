#include "tools/Endpoint.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace bench {

namespace {

union Address {
  sockaddr any;
  sockaddr_un local;
  sockaddr_in internet;
};

socklen_t fill(Address& address, const Endpoint& endpoint) {
  std::memset(&address, 0, sizeof address);
  if (endpoint.path.empty()) {
    address.internet.sin_family = AF_INET;
    address.internet.sin_port = htons(endpoint.port);
    address.internet.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return sizeof address.internet;
  }
  if (endpoint.path.size() >= sizeof address.local.sun_path)
    throw std::runtime_error("path too long: " + endpoint.path);
  address.local.sun_family = AF_UNIX;
  std::memcpy(address.local.sun_path, endpoint.path.c_str(), endpoint.path.size());
  return sizeof address.local;
}

int open(const Address& address) {
  const int fd = socket(address.any.sa_family, SOCK_STREAM, 0);
  if (fd < 0) failSystem("socket()");
  return fd;
}

}  // namespace

void failSystem(const std::string& what) { throw std::runtime_error(what + ": " + std::strerror(errno)); }

Endpoint::Endpoint(const std::string& text) {
  const std::string kind = text.substr(0, text.find(':'));
  const std::string rest = text.substr(kind.size() + (kind.size() < text.size()));
  if (kind == "unix" || kind == "fifo") {
    path = rest;
    fifo = kind == "fifo";
  } else if (kind == "tcp" || kind == "tls") {
    port = static_cast<uint16_t>(std::stoul(rest));
    tls = kind == "tls";
  } else {
    throw std::runtime_error("expected unix:<path>, tcp:<port>, tls:<port> or fifo:<path>, got " + text);
  }
}

int Endpoint::listen() const {
  Address address;
  const socklen_t size = fill(address, *this);
  const int fd = open(address);
  const int on = 1;
  if (path.empty()) {
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  } else {
    unlink(path.c_str());
  }
  if (bind(fd, &address.any, size) != 0 || ::listen(fd, SOMAXCONN) != 0) failSystem("listening");
  return fd;
}

int Endpoint::connect() const {
  Address address;
  const socklen_t size = fill(address, *this);
  const int fd = open(address);
  const int on = 1;
  if (path.empty()) setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  if (::connect(fd, &address.any, size) != 0) failSystem("connecting");
  return fd;
}

// Open for writing too, so that the open doesn't wait for the writer and no end is seen when that goes.
int Endpoint::openFifo() const {
  unlink(path.c_str());
  if (mkfifo(path.c_str(), 0600) != 0) failSystem("mkfifo()");
  const int fd = ::open(path.c_str(), O_RDWR);
  if (fd < 0) failSystem("opening a pipe");
  return fd;
}

}  // namespace bench
