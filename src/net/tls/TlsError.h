#pragma once

#include <string>

#include "error/UnknownError.h"

namespace ns::net::tls {

/// A TLS handshake or an established TLS connection failed.
class TlsError : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

/// `text`, and behind it in brackets what the calling thread's OpenSSL error queue holds, oldest first. Empties the
/// queue.
std::string withSslErrors(std::string text);

}  // namespace ns::net::tls
