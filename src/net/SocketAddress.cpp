#include "net/SocketAddress.h"

#include <arpa/inet.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "encoding/ip.h"
#include "error/messages.h"
#include "net/SocketError.h"

namespace ns::net {

SocketAddress::IpFields SocketAddress::ipFields() {
  if (family() == AF_INET6) {
    auto& ipv6 = reinterpret_cast<sockaddr_in6&>(storage);
    return {&ipv6.sin6_port, &ipv6.sin6_addr};
  }
  auto& ipv4 = reinterpret_cast<sockaddr_in&>(storage);
  return {&ipv4.sin_port, &ipv4.sin_addr};
}

std::string SocketAddress::formatIp() const {
  SocketAddress copy = *this;
  const auto* const bytes = static_cast<const unsigned char*>(copy.ipFields().address);
  encoding::Bytes text;
  if (family() == AF_INET6) {
    encoding::ip::formatIpv6(text, bytes);
  } else {
    encoding::ip::formatIpv4(text, bytes);
  }
  return {text.begin(), text.end()};
}

uint16_t SocketAddress::networkPort() const {
  SocketAddress copy = *this;
  return family() == AF_INET || family() == AF_INET6 ? *copy.ipFields().port : uint16_t{0};
}

SocketAddress SocketAddress::ofPath(const std::string& path) {
  SocketAddress address;
  auto& local = reinterpret_cast<sockaddr_un&>(address.storage);
  local.sun_family = AF_UNIX;
  std::memcpy(local.sun_path, path.data(), std::min(path.size(), sizeof local.sun_path - 1));
  address.length = sizeof local;
  return address;
}

SocketAddress SocketAddress::ofLiteral(const SocketConfig& config) {
  SocketAddress address;
  address.storage.ss_family = config.useIpv6 ? AF_INET6 : AF_INET;
  address.length = config.useIpv6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
  const IpFields fields = address.ipFields();
  errno = 0;  // a text that is no address leaves errno alone; the reason must not be that of an earlier failure
  if (::inet_pton(address.family(), config.host.c_str(), fields.address) != 1) {
    throw SocketError(std::string(config.useIpv6 ? "Parse IPv6" : "Parse IPv4") +
                      " address failed: " + error::getMessage(errno));
  }
  *fields.port = htons(config.port);
  return address;
}

SocketAddress SocketAddress::ofResult(const addrinfo& result, uint16_t port) {
  SocketAddress address;
  address.length = result.ai_addrlen;
  std::memcpy(&address.storage, result.ai_addr, result.ai_addrlen);  // with the zone of a link-local address
  *address.ipFields().port = htons(port);
  return address;
}

SocketAddress SocketAddress::ofPeer(int handle) {
  SocketAddress address;
  address.length = sizeof address.storage;
  if (::getpeername(handle, reinterpret_cast<sockaddr*>(&address.storage), &address.length) != 0) {
    throw SocketError("getpeername() failed: " + error::getMessage(errno));
  }
  return address;
}

}  // namespace ns::net
