#pragma once

namespace ns::net {

/// The network's part of the start of the daemon: there is nothing to set up. Sends carry MSG_NOSIGNAL, so SIGPIPE
/// keeps its default, and OpenSSL sets itself up at its first call.
inline void init() {}

}  // namespace ns::net
