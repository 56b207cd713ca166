#pragma once

#include <string>

#include "net/Socket.h"
#include "net/tls/OpensslPtr.h"
#include "net/tls/TlsError.h"
#include "net/tls/TlsSocketConfig.h"

namespace ns::net::tls {

/// OpenSSL's number of a TLS version given as "1.2" or "1.3"; 0 for any other text.
int parseTlsVersion(const std::string& version);

/// TLS on a connected Socket, as client or server. OpenSSL never sees the descriptor: it works on two memory BIOs, and
/// this class moves bytes between them and the socket, so that every wait is the socket's, with the socket's time-outs.
///
/// Used again and again: connect() on each new connection of the socket, and close() or reset() at its end. One thread
/// at a time. Failures are TlsErrors; those of the socket pass through as SocketErrors, except out of connect().
class TlsSocket {
 public:
  /// `socket` is borrowed. Touches neither it nor OpenSSL.
  TlsSocket(unsigned int id, bool isServer, TlsSocketConfig config, Socket& socket);
  ~TlsSocket();
  TlsSocket(const TlsSocket&) = delete;
  TlsSocket& operator=(const TlsSocket&) = delete;

  /// Whether TLS is configured; says nothing about a connection.
  bool isActive() const { return config.enabled; }

  /// Does the handshake on the socket, which must be connected. Any failure is a TlsError, and leaves no state behind.
  void connect();
  /// Sends the close notification if a connection is up, and frees all state. The Socket stays open.
  /// Throws SocketError if the notification could not be sent, with the state freed all the same.
  void close();
  /// Frees all state and sends nothing: the way out of a connection that broke.
  void reset();

  /// Reads what there is, up to `length` bytes, at least 1.
  unsigned int readsome(unsigned char* buffer, unsigned int length);
  /// Sends all bytes.
  void sendblock(const unsigned char* buffer, unsigned int length);

  /// What OpenSSL says about `result` of one of its calls. Empties the calling thread's OpenSSL error queue.
  std::string getSslError(int result);

 private:
  void createContext();
  void setVersions();
  void setCiphers();
  void loadCertificate();
  void setVerification();
  void createSsl();
  void setServerName();
  void handshake();
  void flushWriteBio(bool more = false);
  void pumpReadBio();
  void handleWant(const char* operation, int result);
  [[noreturn, gnu::cold, gnu::noinline]] void fail(const std::string& what);

  const unsigned int id;
  const bool isServer;
  const TlsSocketConfig config;
  Socket& socket;
  SslCtxPtr ctx;  // made anew for each connection, so that replaced certificate files are taken up
  SslPtr ssl;
  BIO* rbio = nullptr;  // what the network sent and OpenSSL has not read yet; the SSL object's, as the next
  BIO* wbio = nullptr;  // what OpenSSL wrote and the network has not got yet; empty between two calls
  bool handshakeComplete = false;
};

}  // namespace ns::net::tls
