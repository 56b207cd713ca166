#include "net/tls/TlsSocket.h"

#include <openssl/err.h>
#include <openssl/rand.h>

#include <algorithm>
#include <climits>
#include <utility>

#include "log/log.h"

namespace ns::net::tls {

TlsSocket::TlsSocket(unsigned int socketId, bool server, TlsSocketConfig socketConfig, Socket& plainSocket,
                     SharedTlsContext* sharedContext)
    : id(socketId), isServer(server), config(std::move(socketConfig)), socket(plainSocket), shared(sharedContext) {}

TlsSocket::~TlsSocket() { reset(); }

void TlsSocket::fail(const std::string& what) { throw TlsError(what + " failed: " + getSslError(0)); }

void TlsSocket::createContext() { ctx = shared != nullptr ? shared->get() : makeTlsContext(config, isServer); }

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
    refuseResumption();
  } else {
    SSL_set_connect_state(ssl.get());
    if (!config.serverName.empty()) setServerName();
  }
}

// Each connection shows its certificate and has it checked, also against files that are new: a ticket of an earlier
// connection under the same context is of another session context, and gets a whole handshake.
void TlsSocket::refuseResumption() {
  std::array<unsigned char, SSL_MAX_SID_CTX_LENGTH> unique;
  if (RAND_bytes(unique.data(), unique.size()) != 1) fail("RAND_bytes()");
  if (SSL_set_session_id_context(ssl.get(), unique.data(), unique.size()) != 1) fail("SSL_set_session_id_context()");
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
    Transfer first;
    const unsigned int count = isServer ? receive(first) : 0;  // a silent client costs no more than its connection
    createContext();
    createSsl();
    if (count != 0) feed(first, count);
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
  Transfer buffer;  // not cleared: this runs for every read and write
  while (true) {
    const int count = BIO_read(wbio, buffer.data(), static_cast<int>(buffer.size()));
    if (count > 0) {
      socket.sendblock(buffer.data(), static_cast<unsigned int>(count), more || BIO_ctrl_pending(wbio) != 0);
    } else if (count == 0 || BIO_should_retry(wbio)) {
      return;  // a memory BIO has no end, it only asks to come again
    } else {
      fail("BIO_read(wbio)");
    }
  }
}

unsigned int TlsSocket::receive(Transfer& buffer) {
  const unsigned int count = socket.readInTime(buffer.data(), static_cast<unsigned int>(buffer.size()));
  if (count == 0) throw TlsError("TLS read failed: wait() timed out");
  return count;
}

void TlsSocket::feed(const Transfer& buffer, unsigned int count) {
  const int length = static_cast<int>(count);
  if (BIO_write(rbio, buffer.data(), length) != length) fail("BIO_write(rbio)");
}

void TlsSocket::pumpReadBio() {
  Transfer buffer;
  feed(buffer, receive(buffer));
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
  // SSL_write takes at most this many bytes at a time, four whole records, so that the memory BIO stays small and warm
  // in the cache whatever the size of a batch. The records are the same as those of one large write.
  static constexpr unsigned int WriteSize = 4 * TransferSize;
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
  return withSslErrors(std::move(text));
}

}  // namespace ns::net::tls
