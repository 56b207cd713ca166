#pragma once

#include <array>
#include <cstddef>
#include <cstring>

#include "encoding/ip.h"

namespace ns::net::dns {

/// The text of an IP address, or none. Kept in place and copied as a whole: an event has two of them.
class AddressText {
 public:
  /// What copyTo() needs as room.
  static constexpr size_t Room = 48;

  void clear() { length = 0; }
  void setIpv4(const unsigned char* address) { setEnd(encoding::ip::writeIpv4(text.data(), address)); }
  void setIpv6(const unsigned char* address) { setEnd(encoding::ip::writeIpv6(text.data(), address)); }

  bool empty() const { return length == 0; }

  /// Writes the text at `out`. Returns the end of what it wrote.
  unsigned char* copyTo(unsigned char* out) const {
    std::memcpy(out, text.data(), Room);
    return out + length;
  }

 private:
  void setEnd(const unsigned char* end) { length = static_cast<size_t>(end - text.data()); }

  std::array<unsigned char, Room> text{};
  size_t length = 0;
};

static_assert(AddressText::Room >= encoding::ip::Ipv6Room && AddressText::Room >= encoding::ip::Ipv4Room);

}  // namespace ns::net::dns
