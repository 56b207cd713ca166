#pragma once

#include <array>
#include <cstddef>
#include <cstring>

#include "encoding/ip.h"

namespace ns::net::dns {

/// The text of an IP address, or none. Kept in place and copied as a whole: an event has two of
/// them.
class AddressText {
 public:
  static constexpr size_t Room = 48;  // three plain stores of 16 bytes
  static_assert(Room >= encoding::ip::Ipv6Room && Room >= encoding::ip::Ipv4Room);

  void clear() { length = 0; }
  void setIpv4(const unsigned char* address) { setEnd(encoding::ip::writeIpv4(text.data(), address)); }
  void setIpv6(const unsigned char* address) { setEnd(encoding::ip::writeIpv6(text.data(), address)); }

  bool empty() const { return length == 0; }

  /// Writes the text at `out`, and what is left of Room with anything. Returns the end of the text.
  unsigned char* copyTo(unsigned char* out) const {
    std::memcpy(out, text.data(), Room);
    return out + length;
  }

 private:
  void setEnd(const unsigned char* end) { length = static_cast<size_t>(end - text.data()); }

  std::array<unsigned char, Room> text{};
  size_t length = 0;
};

}  // namespace ns::net::dns
