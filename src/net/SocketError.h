#pragma once

#include "error/UnknownError.h"

namespace ns::net {

/// A plain socket could not be opened, or its connection failed, timed out or was closed by the peer.
class SocketError : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

}  // namespace ns::net
