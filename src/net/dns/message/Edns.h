#pragma once

#include <cstdint>
#include <span>

namespace ns::net::dns {

/// What the OPT record of a message says (RFC 6891, 6.1).
struct Edns {
  bool present = false;
  bool dnssecOk = false;
  uint8_t version = 0;
  uint8_t upperRcode = 0;  // the bits of the response code above the header's four
  uint16_t udpSize = 0;
  std::span<const unsigned char> options;  // in the packet, not checked

  /// One of the options.
  struct Option {
    uint16_t code;
    std::span<const unsigned char> data;
  };

  /// Takes the first option off `options`. Returns false at the end of them, and at one that is cut off.
  static bool take(std::span<const unsigned char>& options, Option& option) {
    constexpr size_t Head = 4;
    if (options.size() < Head) return false;
    const size_t length = static_cast<size_t>(options[2] << 8 | options[3]);
    if (options.size() - Head < length) return false;
    option = {static_cast<uint16_t>(options[0] << 8 | options[1]), options.subspan(Head, length)};
    options = options.subspan(Head + length);
    return true;
  }
};

constexpr uint16_t EdnsClientSubnet = 8;  // RFC 7871, 6
constexpr uint16_t EdnsCookie = 10;       // RFC 7873, 4

}  // namespace ns::net::dns
