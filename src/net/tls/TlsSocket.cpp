#include "net/tls/TlsSocket.h"

#include <openssl/err.h>
#include <openssl/x509_vfy.h>

#include <algorithm>
#include <climits>
#include <utility>

#include "error/messages.h"
#include "log/log.h"

namespace ns::net::tls {

// One TLS record's plain text (RFC 8446, 5.1), and the size of the steps in which bytes move to and from the network.
static constexpr size_t TransferSize = 16384;

// SSL_write takes at most this many bytes at a time, four whole records, so that the memory BIO stays small and warm in
// the cache whatever the size of a batch. The records are the same as those of one large write.
static constexpr unsigned int WriteSize = 4 * TransferSize;

int parseTlsVersion(const std::string& version) {
  if (version == "1.2") return TLS1_2_VERSION;
  if (version == "1.3") return TLS1_3_VERSION;
  return 0;
}

TlsSocket::TlsSocket(unsigned int socketId, bool server, TlsSocketConfig socketConfig, Socket& plainSocket)
    : id(socketId), isServer(server), config(std::move(socketConfig)), socket(plainSocket) {}

TlsSocket::~TlsSocket() { reset(); }

void TlsSocket::fail(const std::string& what) { throw TlsError(what + " failed: " + getSslError(0)); }

void TlsSocket::createContext() {
  ctx.reset(SSL_CTX_new(isServer ? TLS_server_method() : TLS_client_method()));
  if (!ctx) fail("SSL_CTX_new()");
  setVersions();
  setCiphers();
  if (isServer || config.useCertificate) loadCertificate();
  setVerification();
}

void TlsSocket::setVersions() {
  if (!config.minVersion.empty()) {
    const int version = parseTlsVersion(config.minVersion);
    if (version < 1) fail("Parse minimum TLS version");
    if (SSL_CTX_set_min_proto_version(ctx.get(), version) != 1) fail("SSL_CTX_set_min_proto_version()");
  }
  if (!config.maxVersion.empty()) {
    const int version = parseTlsVersion(config.maxVersion);
    if (version < 1) fail("Parse maximum TLS version");
    if (SSL_CTX_set_max_proto_version(ctx.get(), version) != 1) fail("SSL_CTX_set_max_proto_version()");
  }
}

void TlsSocket::setCiphers() {
  if (!config.cipherList.empty() && SSL_CTX_set_cipher_list(ctx.get(), config.cipherList.c_str()) != 1) {
    fail("SSL_CTX_set_cipher_list(" + config.cipherList + ")");
  }
  if (!config.cipherSuites.empty() && SSL_CTX_set_ciphersuites(ctx.get(), config.cipherSuites.c_str()) != 1) {
    fail("SSL_CTX_set_ciphersuites(" + config.cipherSuites + ")");
  }
}

void TlsSocket::loadCertificate() {
  if (SSL_CTX_use_certificate_chain_file(ctx.get(), config.certFile.c_str()) != 1) {
    fail("SSL_CTX_use_certificate_chain_file(" + config.certFile + ")");
  }
  if (SSL_CTX_use_PrivateKey_file(ctx.get(), config.keyFile.c_str(), SSL_FILETYPE_PEM) != 1) {
    fail("SSL_CTX_use_PrivateKey_file(" + config.keyFile + ")");
  }
  if (SSL_CTX_check_private_key(ctx.get()) != 1) fail("SSL_CTX_check_private_key()");
}

void TlsSocket::setVerification() {
  if (!config.validate) {
    SSL_CTX_set_verify(ctx.get(), SSL_VERIFY_NONE, nullptr);
    return;
  }
  if (!config.caFile.empty() && SSL_CTX_load_verify_locations(ctx.get(), config.caFile.c_str(), nullptr) != 1) {
    fail("SSL_CTX_load_verify_locations(" + config.caFile + ")");
  }
  if (SSL_CTX_set_default_verify_paths(ctx.get()) != 1) fail("SSL_CTX_set_default_verify_paths()");
  const int mode = isServer ? SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT : SSL_VERIFY_PEER;
  SSL_CTX_set_verify(ctx.get(), mode, nullptr);
}

void TlsSocket::createSsl() {
  ssl.reset(SSL_new(ctx.get()));
  if (!ssl) fail("SSL_new()");
  BioPtr in(BIO_new(BIO_s_mem()));
  BioPtr out(BIO_new(BIO_s_mem()));
  if (!in || !out) fail("BIO_new(BIO_s_mem())");
  rbio = in.release();
  wbio = out.release();
  SSL_set_bio(ssl.get(), rbio, wbio);  // the SSL object frees both from here on
  if (isServer) {
    SSL_set_accept_state(ssl.get());
  } else {
    SSL_set_connect_state(ssl.get());
    if (!config.serverName.empty()) setServerName();
  }
}

void TlsSocket::setServerName() {
  std::string name = config.serverName;  // a copy, as SSL_ctrl takes no const; SSL_set_tlsext_host_name casts it away
  if (SSL_ctrl(ssl.get(), SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name, name.data()) != 1) {
    fail("SSL_set_tlsext_host_name()");
  }
  if (SSL_set1_host(ssl.get(), name.c_str()) != 1) fail("SSL_set1_host()");
}

void TlsSocket::handshake() {
  while (true) {
    const int result = SSL_do_handshake(ssl.get());
    flushWriteBio();  // also after a failure, which has left an alert for the peer
    if (result == 1) return;
    handleWant("SSL_do_handshake()", result);
  }
}

void TlsSocket::connect() {
  try {
    close();
    ERR_clear_error();  // what an earlier connection left behind must not show up in this one's failures
    createContext();
    createSsl();
    handshake();
  } catch (const std::exception& e) {
    reset();
    throw TlsError(std::string("TLS handshake failed: ") + e.what());
  }
  handshakeComplete = true;
  ERR_clear_error();  // SSL_get_error looks at the queue: a leftover would turn "wants more bytes" into a failure
  log::info("TlsSocket[" + std::to_string(id) + "]: TLS handshake complete");
}

void TlsSocket::close() {
  try {
    if (ssl && handshakeComplete) {
      SSL_shutdown(ssl.get());  // once: nobody waits for the peer's answer
      flushWriteBio();
    }
  } catch (...) {
    reset();  // the peer has gone: a second attempt could only fail again
    throw;
  }
  reset();
}

void TlsSocket::reset() {
  ssl.reset();
  rbio = nullptr;
  wbio = nullptr;
  ctx.reset();
  handshakeComplete = false;
}

// With `more` the caller writes on at once; the network layer may then fill up its last packet.
void TlsSocket::flushWriteBio(bool more) {
  if (wbio == nullptr) return;
  unsigned char buffer[TransferSize];  // not cleared: this runs for every read and write
  while (true) {
    const int count = BIO_read(wbio, buffer, sizeof buffer);
    if (count > 0) {
      socket.sendblock(buffer, static_cast<unsigned int>(count), more || BIO_ctrl_pending(wbio) != 0);
    } else if (count == 0 || BIO_should_retry(wbio)) {
      return;  // a memory BIO has no end, it only asks to come again
    } else {
      fail("BIO_read(wbio)");
    }
  }
}

void TlsSocket::pumpReadBio() {
  unsigned char buffer[TransferSize];
  const bool timed = socket.getReadTimeout() != 0;  // with no time at all not even a look is allowed
  unsigned int count = timed ? socket.tryReceive(buffer, sizeof buffer) : 0;
  if (count == 0) {
    if (socket.wait(true, socket.getReadTimeout())) throw TlsError("TLS read failed: wait() timed out");
    count = socket.receive(buffer, sizeof buffer);
  }
  if (count == 0) throw TlsError("TLS peer closed connection");
  if (BIO_write(rbio, buffer, static_cast<int>(count)) != static_cast<int>(count)) fail("BIO_write(rbio)");
}

void TlsSocket::handleWant(const char* operation, int result) {
  switch (SSL_get_error(ssl.get(), result)) {
    case SSL_ERROR_WANT_READ: return pumpReadBio();
    case SSL_ERROR_WANT_WRITE: return flushWriteBio();
    case SSL_ERROR_ZERO_RETURN: throw TlsError(std::string(operation) + " failed: TLS connection closed");
    default: throw TlsError(std::string(operation) + " failed: " + getSslError(result));
  }
}

unsigned int TlsSocket::readsome(unsigned char* buffer, unsigned int length) {
  if (!handshakeComplete) throw TlsError("TLS handshake not complete");
  const int room = static_cast<int>(std::min<unsigned int>(length, INT_MAX));
  while (true) {
    const int result = SSL_read(ssl.get(), buffer, room);
    flushWriteBio();  // a read answers key updates
    if (result > 0) return static_cast<unsigned int>(result);
    handleWant("SSL_read()", result);
  }
}

void TlsSocket::sendblock(const unsigned char* buffer, unsigned int length) {
  if (!handshakeComplete) throw TlsError("TLS handshake not complete");
  while (length != 0) {
    const unsigned int piece = std::min(length, WriteSize);
    const int result = SSL_write(ssl.get(), buffer, static_cast<int>(piece));
    flushWriteBio(result > 0 && length > piece);
    if (result > 0) {
      buffer += result;
      length -= static_cast<unsigned int>(result);
    } else {
      handleWant("SSL_write()", result);
    }
  }
}

std::string TlsSocket::getSslError(int result) {
  std::string text;
  if (ssl && result <= 0) {
    text = "SSL_get_error=" + std::to_string(SSL_get_error(ssl.get(), result));
  } else {
    text = !ssl && result == 0 ? "Unknown SSL error" : std::to_string(result);
  }
  const char* separator = " (";
  for (std::string entry; error::takeSslError(entry); separator = "; ") text += separator + entry;
  if (*separator == ';') text += ")";
  return text;
}

}  // namespace ns::net::tls
