#include "tools/Stream.h"

#include <linux/sockios.h>
#include <openssl/err.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <stdexcept>
#include <utility>

namespace bench {

namespace {

[[noreturn]] void failTls(const std::string& what) {
  char text[256];
  ERR_error_string_n(ERR_get_error(), text, sizeof text);
  throw std::runtime_error(what + ": " + text);
}

int intOf(size_t size) { return static_cast<int>(std::min<size_t>(size, INT_MAX)); }

}  // namespace

Context clientContext() {
  Context context(SSL_CTX_new(TLS_client_method()));
  if (!context) failTls("SSL_CTX_new()");
  return context;
}

Context serverContext(const std::string& certificate, const std::string& key) {
  Context context(SSL_CTX_new(TLS_server_method()));
  if (!context || SSL_CTX_use_certificate_chain_file(context.get(), certificate.c_str()) != 1 ||
      SSL_CTX_use_PrivateKey_file(context.get(), key.c_str(), SSL_FILETYPE_PEM) != 1)
    failTls("server certificate");
  return context;
}

Stream::Stream(int descriptor, SSL_CTX* context) : fd(descriptor) {
  if (!context) return;
  ssl.reset(SSL_new(context));
  if (!ssl || SSL_set_fd(ssl.get(), fd) != 1) failTls("SSL_new()");
  const int done = SSL_is_server(ssl.get()) ? SSL_accept(ssl.get()) : SSL_connect(ssl.get());
  if (done != 1) failTls("TLS handshake");
}

Stream::Stream(Stream&& other) noexcept : fd(std::exchange(other.fd, -1)), ssl(std::move(other.ssl)) {}

Stream::~Stream() {
  if (fd >= 0) close(fd);
}

void Stream::write(const unsigned char* data, size_t size) {
  while (size > 0) {
    const ssize_t done = ssl ? SSL_write(ssl.get(), data, intOf(size)) : send(fd, data, size, MSG_NOSIGNAL);
    if (done <= 0) ssl ? failTls("SSL_write()") : failSystem("send()");
    data += done;
    size -= static_cast<size_t>(done);
  }
}

size_t Stream::read(unsigned char* data, size_t size) {
  const ssize_t done = ssl ? SSL_read(ssl.get(), data, intOf(size)) : ::read(fd, data, size);
  return done > 0 ? static_cast<size_t>(done) : 0;
}

void Stream::readAll(unsigned char* data, size_t size) {
  while (size > 0) {
    const size_t got = read(data, size);
    if (got == 0) throw std::runtime_error("stream ended early");
    data += got;
    size -= got;
  }
}

size_t Stream::unread() const {
  int count = 0;
  if (ioctl(fd, SIOCOUTQ, &count) != 0) failSystem("ioctl(SIOCOUTQ)");
  return static_cast<size_t>(count);
}

}  // namespace bench
