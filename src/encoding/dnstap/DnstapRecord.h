#pragma once

#include <cstdint>

namespace ns::encoding::dnstap {

/// The values of one dnstap record, with bytes kept as a `ByteString`: DnstapEvent owns them, DnstapView borrows them.
/// There are no presence flags: 0 and an empty string of bytes mean that a field was absent.
template <class ByteString>
struct DnstapRecord {
  ByteString identity{};
  ByteString version{};
  ByteString extra{};
  uint64_t type = 0;              // 1 AUTH_QUERY to 12 TOOL_RESPONSE: odd values are queries, even ones responses
  uint64_t socket_family = 0;     // 1 IPv4, 2 IPv6
  uint64_t socket_protocol = 0;   // 1 UDP, 2 TCP and so on
  ByteString query_address{};     // 4 or 16 bytes, in network order
  ByteString response_address{};  // likewise
  uint64_t query_port = 0;
  uint64_t response_port = 0;
  uint64_t query_time_sec = 0;  // since 1970
  uint32_t query_time_nsec = 0;
  ByteString query_message{};  // in wire format
  uint64_t response_time_sec = 0;
  uint32_t response_time_nsec = 0;
  ByteString response_message{};
};

}  // namespace ns::encoding::dnstap
