#pragma once

#include <array>
#include <string>

#include "net/Socket.h"
#include "net/tls/OpensslPtr.h"
#include "net/tls/TlsContext.h"
#include "net/tls/TlsError.h"
#include "net/tls/TlsSocketConfig.h"

namespace ns::net::tls {

/// TLS on a connected Socket, as client or server. OpenSSL never sees the descriptor: it works on two memory BIOs, and
/// this class moves bytes between them and the socket, so that every wait is the socket's, with the socket's time-outs.
///
/// Used again and again: connect() on each new connection of the socket, and close() or reset() at its end. One thread
/// at a time. Failures are TlsErrors; those of the socket pass through as SocketErrors, except out of connect().
class TlsSocket {
 public:
  /// `socket` is borrowed, and so is `shared`, the context to use; without one each connection makes its own. Touches
  /// neither of them nor OpenSSL.
  TlsSocket(unsigned int id, bool isServer, TlsSocketConfig config, Socket& socket, SharedTlsContext* shared = nullptr);
  ~TlsSocket();
  TlsSocket(const TlsSocket&) = delete;
  TlsSocket& operator=(const TlsSocket&) = delete;

  /// Whether TLS is configured; says nothing about a connection.
  bool isActive() const { return config.enabled; }

  /// Does the handshake on the socket, which must be connected; a server waits for the client's first byte before it
  /// spends anything on it. Any failure is a TlsError, and leaves no state behind.
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
  // One TLS record's plain text (RFC 8446, 5.1): the size of the steps in which bytes move to and from the network.
  static constexpr size_t TransferSize = 16384;
  using Transfer = std::array<unsigned char, TransferSize>;

  void createContext();
  void createSsl();
  void refuseResumption();
  void setServerName();
  void handshake();
  void flushWriteBio(bool more = false);
  void pumpReadBio();
  unsigned int receive(Transfer& buffer);
  void feed(const Transfer& buffer, unsigned int count);
  void handleWant(const char* operation, int result);
  [[noreturn, gnu::cold, gnu::noinline]] void fail(const std::string& what);

  const unsigned int id;
  const bool isServer;
  const TlsSocketConfig config;
  Socket& socket;
  SharedTlsContext* const shared;
  SslCtxPtr ctx;  // as the files are at the begin of a connection, so that replaced certificates are taken up
  SslPtr ssl;
  BIO* rbio = nullptr;  // what the network sent and OpenSSL has not read yet; the SSL object's, as the next
  BIO* wbio = nullptr;  // what OpenSSL wrote and the network has not got yet; empty between two calls
  bool handshakeComplete = false;
};

}  // namespace ns::net::tls
