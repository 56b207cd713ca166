#pragma once

#include "error/UnknownError.h"

namespace ns::net::tls {

/// A TLS handshake or an established TLS connection failed.
class TlsError : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

}  // namespace ns::net::tls
