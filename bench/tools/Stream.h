#pragma once

#include <openssl/ssl.h>

#include <cstddef>
#include <memory>
#include <string>

#include "tools/Endpoint.h"

namespace bench {

struct FreeContext {
  void operator()(SSL_CTX* context) const noexcept { SSL_CTX_free(context); }
};
struct FreeSsl {
  void operator()(SSL* ssl) const noexcept { SSL_free(ssl); }
};
using Context = std::unique_ptr<SSL_CTX, FreeContext>;

/// A TLS client that trusts everyone, and a server with the certificate and key in these files.
Context clientContext();
Context serverContext(const std::string& certificate, const std::string& key);

/// A connected stream, plain or through TLS, with blocking calls. Failures are std::runtime_error.
class Stream {
 public:
  /// Takes the descriptor over. With a `context` it does the TLS handshake in the role the context was made for.
  explicit Stream(int fd, SSL_CTX* context = nullptr);
  Stream(Stream&& other) noexcept;
  Stream& operator=(Stream&&) = delete;
  ~Stream();

  void write(const unsigned char* data, size_t size);
  /// Returns 0 at the end of the stream.
  size_t read(unsigned char* data, size_t size);
  void readAll(unsigned char* data, size_t size);
  /// Bytes that were written and not yet taken: on a Unix-domain socket by the peer, on TCP by its system.
  size_t unread() const;

 private:
  int fd;
  std::unique_ptr<SSL, FreeSsl> ssl;
};

}  // namespace bench
