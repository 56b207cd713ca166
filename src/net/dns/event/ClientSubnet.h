#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "net/dns/event/AddressText.h"
#include "net/dns/message/Edns.h"

namespace ns::net::dns {

/// The network that an EDNS client subnet option names (RFC 7871, 6).
struct ClientSubnet {
  AddressText address;
  uint8_t prefix = 0;

  /// That of the first such option; nothing if there is none, or it is not as its RFC has it.
  static std::optional<ClientSubnet> of(const Edns& edns) {
    std::span<const unsigned char> left = edns.options;
    for (Edns::Option option{}; edns.present && Edns::take(left, option);) {
      if (option.code == EdnsClientSubnet) return parse(option.data);
    }
    return std::nullopt;
  }

 private:
  static std::optional<ClientSubnet> parse(std::span<const unsigned char> data) {
    constexpr size_t Head = 4;  // family, source prefix and scope prefix
    if (data.size() < Head || data[0] != 0) return std::nullopt;
    const size_t size = data[1] == 1 ? 4 : data[1] == 2 ? 16 : 0;
    const auto bytes = data.subspan(Head);
    ClientSubnet subnet;
    subnet.prefix = data[2];
    if (size == 0 || subnet.prefix > 8 * size || bytes.size() != (subnet.prefix + size_t{7}) / 8) return std::nullopt;
    std::array<unsigned char, 16> address{};
    std::copy(bytes.begin(), bytes.end(), address.begin());
    if (size == 4) {
      subnet.address.setIpv4(address.data());
    } else {
      subnet.address.setIpv6(address.data());
    }
    return subnet;
  }
};

}  // namespace ns::net::dns
