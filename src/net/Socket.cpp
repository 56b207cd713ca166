#include "net/Socket.h"

#include <fcntl.h>
#include <grp.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "encoding/ip.h"
#include "error/messages.h"
#include "file/file.h"
#include "log/log.h"

namespace ns::net {

[[noreturn, gnu::cold, gnu::noinline]] static void fail(const std::string& what, int number) {
  throw SocketError(what + " failed: " + error::getMessage(number));
}
[[noreturn, gnu::cold, gnu::noinline]] static void failText(const char* text) { throw SocketError(text); }

static std::string prefix(unsigned int id) { return "Socket[" + std::to_string(id) + "]: "; }

Socket::Socket(unsigned int socketId, SocketConfig socketConfig) : Socket(socketId, std::move(socketConfig), 0) {}

Socket::Socket(unsigned int socketId, SocketConfig socketConfig, int descriptor)
    : id(socketId), config(std::move(socketConfig)), handle(descriptor) {}

Socket::~Socket() { close(); }

// A socket that comes out as descriptor 0, since standard input was closed when the daemon started, can't be told from
// one that is not open. It is left behind on purpose: it keeps the number taken, so that the next attempt gets another.
// A failure is stored as it came, -1, and the next call on the descriptor reports it.
void Socket::create(int family) {
  handle = ::socket(family, SOCK_STREAM | SOCK_CLOEXEC, family == AF_UNIX ? 0 : IPPROTO_TCP);
  if (handle == 0) fail("socket()", errno);
}

void Socket::setNonBlocking() {
  const int flags = ::fcntl(handle, F_GETFL);
  if (flags == -1) fail("fcntl(F_GETFL)", errno);
  if (::fcntl(handle, F_SETFL, flags | O_NONBLOCK) == -1) fail("fcntl(F_SETFL, O_NONBLOCK)", errno);
}

void Socket::configureSocket() {
  const auto set = [this](int option, const char* what, uint32_t size) {
    if (size != 0 && ::setsockopt(handle, SOL_SOCKET, option, &size, sizeof size) != 0) fail(what, errno);
  };
  set(SO_SNDBUF, "setsockopt(SO_SNDBUF)", config.sendBufferSize);
  set(SO_RCVBUF, "setsockopt(SO_RCVBUF)", config.recvBufferSize);
  setNonBlocking();
  // Nagle's algorithm would keep a lone event back until the peer acknowledges the one before, which a delayed
  // acknowledgement puts off by 40 ms. A socket that can't have the option works without it.
  const int on = 1;
  if (!config.useUnix) ::setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void Socket::listen() {
  if (handle != 0) return;
  if (config.useUnix) {
    listenUnix();
  } else {
    listenTcp();
  }
}

void Socket::bindAndListen(const SocketAddress& address) {
  if (::bind(handle, address.get(), address.size()) != 0) fail("bind()", errno);
  if (config.useUnix) grantPath();
  if (::listen(handle, static_cast<int>(config.listenBacklog)) != 0) fail("listen()", errno);
}

void Socket::listenUnix() {
  if (file::exists(config.path) && ::unlink(config.path.c_str()) != 0) {
    throw SocketError("unlink(" + config.path + " failed: " + error::getMessage(errno));  // log watchers match it so
  }
  const SocketAddress address = SocketAddress::ofPath(config.path);
  create(AF_UNIX);
  setNonBlocking();
  bindAndListen(address);
  log::info(prefix(id) + "Listening on " + config.path);
}

void Socket::listenTcp() {
  const SocketAddress address = SocketAddress::ofLiteral(config);
  create(address.family());
  setNonBlocking();
  const int on = 1;
  ::setsockopt(handle, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  bindAndListen(address);
  log::info(prefix(id) + "Listening on " + config.host + ":" + std::to_string(config.port));
}

// getgrnam_r and not getgrnam: several listeners start at the same time.
static gid_t findGroup(const std::string& name) {
  std::vector<char> buffer(1024);
  group entry{};
  group* found = nullptr;
  int number = 0;
  while ((number = ::getgrnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found)) == ERANGE) {
    buffer.resize(buffer.size() * 2);  // a group with many members
  }
  if (found == nullptr) fail("getgrnam(" + name + ")", number);
  return entry.gr_gid;
}

// Lets the DNS servers of the group connect.
void Socket::grantPath() const {
  const gid_t gid = findGroup(config.group);
  if (::chown(config.path.c_str(), static_cast<uid_t>(-1), gid) != 0) {
    fail("chown(" + std::to_string(gid) + ")", errno);
  }
  if (::chmod(config.path.c_str(), config.mode) != 0) fail("chmod(" + std::to_string(config.mode) + ")", errno);
}

// Moves an accepted connection off descriptor 0, where it would count as not open and never be closed.
static int moveOffZero(int descriptor) {
  if (descriptor != 0) return descriptor;
  const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 1);
  const int number = errno;
  ::close(descriptor);
  if (moved == -1) fail("accept()", number);
  return moved;
}

std::unique_ptr<Socket> Socket::accept(const std::function<bool(uint32_t)>& isTaken) {
  const int descriptor = ::accept4(handle, nullptr, nullptr, SOCK_CLOEXEC);
  if (descriptor == -1) {
    if (errno == EAGAIN) return nullptr;
    fail("accept()", errno);
  }
  const int usable = moveOffZero(descriptor);
  while (isTaken && isTaken(acceptCount)) ++acceptCount;
  auto accepted = std::make_unique<Socket>(acceptCount, config, usable);
  ++acceptCount;
  accepted->configureSocket();
  return accepted;
}

void Socket::connect() {
  if (handle != 0) return;
  if (config.useUnix) {
    connectTo(SocketAddress::ofPath(config.path));
    log::info(prefix(id) + "Connected to " + config.path);
  } else if (encoding::ip::isIp(config.host.data(), config.host.size())) {
    connectTo(SocketAddress::ofLiteral(config));
    log::info(prefix(id) + "Connected to " + config.host + ":" + std::to_string(config.port));
  } else {
    connectByName();
  }
}

void Socket::connectTo(const SocketAddress& address) {
  create(address.family());
  configureSocket();
  if (::connect(handle, address.get(), address.size()) != 0 && errno != EINPROGRESS) fail("connect()", errno);
  if (wait(false, config.connectTimeout)) failText("connect() failed: wait() timed out");
  if (const int number = hasError(); number != 0) fail("connect()", number);
}

void Socket::connectByName() {
  addrinfo hints{};
  hints.ai_family = config.useIpv6 ? AF_INET6 : AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_protocol = IPPROTO_TCP;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* results = nullptr;
  const int number = ::getaddrinfo(config.host.c_str(), std::to_string(config.port).c_str(), &hints, &results);
  if (number != 0) {
    throw SocketError("getaddrinfo(" + config.host + (config.useIpv6 ? "/AAAA" : "/A") +
                      ") failed: " + ::gai_strerror(number));
  }
  const auto freeResults = [](addrinfo* list) { ::freeaddrinfo(list); };
  const std::unique_ptr<addrinfo, decltype(freeResults)> owner(results, freeResults);
  for (const addrinfo* result = results; result != nullptr; result = result->ai_next) {
    if (result->ai_family == hints.ai_family && connectToResult(SocketAddress::ofResult(*result, config.port))) break;
  }
  if (handle == 0) failText("Failed to connect to any host");
}

// Tries one of a host name's addresses. Returns false, with the socket closed and a warning logged, if it fails.
bool Socket::connectToResult(const SocketAddress& address) {
  const std::string ip = address.formatIp();
  try {
    connectTo(address);
    log::info(prefix(id) + "Connected to " + ip);
    return true;
  } catch (const std::exception& e) {
    close();
    log::warn(prefix(id) + "Connect to " + ip + ":" + std::to_string(config.port) + " failed: " + e.what());
    return false;
  }
}

void Socket::close() {
  const int descriptor = handle.exchange(0);  // first, so that no other thread asks for a number that is used again
  if (descriptor == 0) return;
  ::shutdown(descriptor, SHUT_RDWR);
  ::close(descriptor);
  held = false;
}

static int64_t steadyMilliseconds() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

void Socket::limitWaits() { limitedSince = steadyMilliseconds(); }

// Of a time-out in seconds.
uint64_t Socket::millisecondsLeft(unsigned int timeout) const {
  const uint64_t whole = uint64_t{timeout} * 1000;
  const int64_t since = limitedSince;
  if (since == 0) [[likely]]
    return whole;
  return whole - std::min(whole, static_cast<uint64_t>(steadyMilliseconds() - since));
}

// poll(2), as select(2) knows no descriptor above 1023 and a daemon with a thousand connections has them. The failure
// keeps the name of select, which log watchers match.
bool Socket::wait(bool forRead, unsigned int timeout) {
  static constexpr uint64_t MaxSlice = 1'000'000'000;  // milliseconds; poll takes an int
  pollfd entry{handle, static_cast<short>(forRead ? POLLIN : POLLOUT), 0};
  for (uint64_t left = millisecondsLeft(timeout); left != 0;) {
    if (entry.fd < 0) fail("select()", EBADF);  // poll would pass it over
    const uint64_t slice = std::min(left, MaxSlice);
    const int ready = ::poll(&entry, 1, static_cast<int>(slice));
    if (ready < 0) fail("select()", errno);
    if (ready > 0 && (entry.revents & POLLNVAL) != 0) fail("select()", EBADF);
    if (ready > 0) return false;
    left -= slice;
  }
  return true;
}

// Whether a call that was tried at once has to wait first. A bad descriptor is the wait's to report.
static bool mustWait(int number) { return number == EAGAIN || number == EBADF; }

static unsigned int checkReceived(ssize_t count) {
  if (count < 0) fail("recv()", errno);
  if (count == 0) failText("recv() failed: socket closed");
  return static_cast<unsigned int>(count);
}

// MSG_DONTWAIT here and below: the time-outs hold also on a descriptor that was handed over in blocking mode.
unsigned int Socket::receive(unsigned char* buffer, unsigned int length) {
  return checkReceived(::recv(handle, buffer, length, MSG_DONTWAIT));
}

unsigned int Socket::tryReceive(unsigned char* buffer, unsigned int length) {
  const ssize_t count = ::recv(handle, buffer, length, MSG_DONTWAIT);
  return count < 0 && mustWait(errno) ? 0 : checkReceived(count);
}

// In a busy stream the bytes are mostly there already, and asking first would double the system calls. With no time
// left not even a look is allowed.
unsigned int Socket::readInTime(unsigned char* buffer, unsigned int length) {
  if (millisecondsLeft(config.readTimeout) != 0) {
    if (const unsigned int count = tryReceive(buffer, length); count != 0) return count;
  }
  return wait(true, config.readTimeout) ? 0 : receive(buffer, length);
}

unsigned int Socket::readsome(unsigned char* buffer, unsigned int length) {
  const unsigned int count = readInTime(buffer, length);
  if (count == 0) failText("recv() failed: wait() timed out");
  return count;
}

void Socket::sendblock(const unsigned char* buffer, unsigned int length, bool more) {
  if (length == 0) return;
  const bool hold = more && !config.useUnix;
  const int flags = MSG_NOSIGNAL | MSG_DONTWAIT | (hold ? MSG_MORE : 0);
  for (bool waited = false; length != 0;) {
    if (waited || config.writeTimeout == 0) {
      if (wait(false, config.writeTimeout)) failText("send() failed: wait() timed out");
    }
    const ssize_t count = ::send(handle, buffer, length, flags);
    if (count == 0) failText("send() failed: socket closed");
    if (count < 0 && (waited || !mustWait(errno))) fail("send()", errno);
    waited = count < 0;
    if (waited) continue;
    buffer += count;
    length -= static_cast<unsigned int>(count);
  }
  held = hold;
}

void Socket::push() {
  if (!held) return;
  held = false;
  const int on = 1;
  ::setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);  // sends all that is queued, see tcp(7)
}

void Socket::dropUnread() {
  std::array<unsigned char, 16384> bytes;
  for (int i = 0; i < 64 && handle != 0; ++i) {
    if (::recv(handle, bytes.data(), bytes.size(), MSG_DONTWAIT) <= 0) return;
  }
}

unsigned int Socket::readsize() const {
  int size = 0;
  if (handle == 0 || ::ioctl(handle, FIONREAD, &size) != 0) return 0;
  return static_cast<unsigned int>(size);
}

int Socket::hasError() const {
  int number = 0;
  socklen_t length = sizeof number;
  if (::getsockopt(handle, SOL_SOCKET, SO_ERROR, &number, &length) != 0) fail("getsockopt(SO_ERROR)", errno);
  return number;
}

static RemoteEndpoint unixEndpoint(int handle) {
  ucred peer{};
  socklen_t length = sizeof peer;
  if (::getsockopt(handle, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) fail("getsockopt(SO_PEERCRED)", errno);
  RemoteEndpoint endpoint;
  endpoint.isUnix = true;
  endpoint.uid = peer.uid;
  endpoint.gid = peer.gid;
  endpoint.pid = peer.pid;
  return endpoint;
}

static RemoteEndpoint tcpEndpoint(int handle) {
  const SocketAddress peer = SocketAddress::ofPeer(handle);
  std::array<char, NI_MAXHOST> host{};
  if (::getnameinfo(peer.get(), peer.size(), host.data(), host.size(), nullptr, 0, NI_NUMERICHOST) != 0) {
    fail("getnameinfo()", errno);
  }
  RemoteEndpoint endpoint;
  endpoint.address = host.data();
  endpoint.port = peer.networkPort();
  endpoint.isIpv6 = peer.family() == AF_INET6;
  if (endpoint.isIpv6) endpoint.address.resize(std::min(endpoint.address.find('%'), endpoint.address.size()));
  return endpoint;
}

RemoteEndpoint Socket::getRemoteEndpoint() const { return config.useUnix ? unixEndpoint(handle) : tcpEndpoint(handle); }

}  // namespace ns::net
