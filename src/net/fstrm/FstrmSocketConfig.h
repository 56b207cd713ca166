#pragma once

#include <cstdint>

namespace ns::net::fstrm {

/// How Frame Streams is spoken on a connection.
struct FstrmSocketConfig {
  bool bidirectional = true;  ///< sender: READY/ACCEPT and STOP/FINISH are exchanged, not only START and STOP sent
  uint32_t controlFrameMaxSize = 65536;  ///< bytes behind the length word
  uint32_t dataFrameMaxSize = 262144;    ///< likewise
};

}  // namespace ns::net::fstrm
