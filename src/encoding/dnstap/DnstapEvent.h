#pragma once

#include <cstdint>

#include "encoding/Bytes.h"

namespace ns::encoding::dnstap {

/// One dnstap record. Keep one object for record after record: its vectors keep their capacity.
/// There are no presence flags: 0 and an empty vector mean that a field was absent.
struct DnstapEvent {
  Bytes identity;
  Bytes version;
  Bytes extra;
  uint64_t type = 0;             // 1 AUTH_QUERY to 12 TOOL_RESPONSE: odd values are queries, even ones responses
  uint64_t socket_family = 0;    // 1 IPv4, 2 IPv6
  uint64_t socket_protocol = 0;  // 1 UDP, 2 TCP and so on
  Bytes query_address;           // 4 or 16 bytes, in network order
  Bytes response_address;
  uint64_t query_port = 0;
  uint64_t response_port = 0;
  uint64_t query_time_sec = 0;  // since 1970
  uint32_t query_time_nsec = 0;
  Bytes query_message;  // in wire format
  uint64_t response_time_sec = 0;
  uint32_t response_time_nsec = 0;
  Bytes response_message;
  Bytes encodedMessage;  // the encoder's scratch: its length goes out before it. Nothing else reads it.
};

}  // namespace ns::encoding::dnstap
