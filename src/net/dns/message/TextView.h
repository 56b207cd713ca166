#pragma once

#include <cstdint>

namespace ns::net::dns {

/// A piece of DnsMessage::text.
struct TextView {
  uint32_t offset = 0;
  uint32_t length = 0;

  bool operator==(const TextView&) const = default;
};

}  // namespace ns::net::dns
