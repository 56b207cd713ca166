#pragma once

#include <openssl/bio.h>
#include <openssl/ssl.h>

#include <memory>

namespace ns::net::tls {

/// Gives an OpenSSL object to its own free function.
template <auto Free>
struct OpensslDeleter {
  template <class T>
  void operator()(T* object) const noexcept {
    Free(object);
  }
};

using BioPtr = std::unique_ptr<BIO, OpensslDeleter<BIO_free>>;
using SslPtr = std::unique_ptr<SSL, OpensslDeleter<SSL_free>>;
using SslCtxPtr = std::unique_ptr<SSL_CTX, OpensslDeleter<SSL_CTX_free>>;

}  // namespace ns::net::tls
