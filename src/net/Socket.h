#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "net/RemoteEndpoint.h"
#include "net/SocketAddress.h"
#include "net/SocketConfig.h"
#include "net/SocketError.h"

namespace ns::net {

/// A stream socket, Unix-domain or TCP, listening or connected, on a non-blocking descriptor. All waiting is bounded by
/// the configuration's time-outs. Failures are SocketErrors; no system call is tried again after EINTR.
///
/// One thread at a time uses a socket. Any other may call isConnected(), getRemoteEndpoint() and limitWaits()
/// meanwhile.
///
/// Descriptor 0 marks a socket that is not open, throughout.
class Socket {
 public:
  /// A socket to listen or connect with.
  Socket(unsigned int id, SocketConfig config);
  /// Takes over an open descriptor and leaves its settings as they are.
  Socket(unsigned int id, SocketConfig config, int handle);
  ~Socket();
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  /// Opens a listening socket; does nothing if the socket is open. After a failure the socket may be left open half-way
  /// and useless: close() it before the next attempt. The same holds for connect() to anything but a host name.
  void listen();
  /// Takes one pending connection, null if there is none. Accepted sockets have the ids 0, 1, 2 and so on; behind the
  /// largest number it goes on at 0, and an id that `isTaken` tells to be in use is passed over.
  std::unique_ptr<Socket> accept(const std::function<bool(uint32_t)>& isTaken = nullptr);
  /// Connects; does nothing if the socket is open. Of a host name each address of the configured family is tried in
  /// turn, with a warning in the log for each that fails.
  void connect();
  /// Closes both directions and the descriptor; does nothing if the socket is not open. Never throws.
  void close();

  /// Waits until the socket can be read or written, for at most `timeout` seconds. Returns true if it timed out, with a
  /// `timeout` of 0 at once and without looking.
  bool wait(bool forRead, unsigned int timeout);
  /// From now on and for good, waits end as if all of them had begun at this call, and reads and writes whose time-out
  /// is over fail: whoever sends or takes a byte now and then can't hold up a worker that is to stop. Waits in progress
  /// end in their own time. Called again, the time-outs begin anew: for the next step of an orderly end. Any thread.
  void limitWaits();

  /// Reads what there is, up to `length` bytes, waiting up to the read time-out for the first of them. Returns the
  /// number of bytes, at least 1: a connection closed by the peer is a failure.
  unsigned int readsome(unsigned char* buffer, unsigned int length);
  /// As readsome(), but returns 0 if nothing came in time.
  unsigned int readInTime(unsigned char* buffer, unsigned int length);
  /// The lower half of readsome(), for a caller whose own wait just said readable: nothing there is a failure too.
  unsigned int receive(unsigned char* buffer, unsigned int length);
  /// As receive(), but returns 0 if nothing is there.
  unsigned int tryReceive(unsigned char* buffer, unsigned int length);

  /// Sends all bytes, waiting up to the write time-out whenever the peer has to catch up first. With `more` the kernel
  /// may hold the last bytes back (for at most 200 ms, tcp(7)): a hint for a caller that sends again at once, or
  /// ends by push().
  void sendblock(const unsigned char* buffer, unsigned int length, bool more = false);
  /// Sends what `more` held back; does nothing if nothing was.
  void push();
  /// Drops what has come and was not read, up to a megabyte and without waiting. To be called before close() where what
  /// was sent shall still arrive: Linux resets a connection that is closed on unread bytes, and throws away what it has
  /// not sent yet (RFC 2525, 2.17).
  void dropUnread();

  /// The number of bytes that wait to be read; 0 if that cannot be told.
  unsigned int readsize() const;
  /// Takes the pending error (SO_ERROR) off the socket; 0 if there is none.
  int hasError() const;
  bool isConnected() const { return handle != 0; }
  int getHandle() const { return handle; }
  unsigned int getId() const { return id; }
  unsigned int getReadTimeout() const { return config.readTimeout; }
  unsigned int getWriteTimeout() const { return config.writeTimeout; }
  /// Who is at the other end. Throws SocketError if the socket is not connected, or no longer.
  RemoteEndpoint getRemoteEndpoint() const;

  /// Makes a fresh connecting or accepted descriptor ready: buffer sizes, non-blocking, no delay of small writes.
  void configureSocket();

 private:
  void create(int family);
  void setNonBlocking();
  void bindAndListen(const SocketAddress& address);
  void listenUnix();
  void listenTcp();
  void grantPath() const;
  void connectTo(const SocketAddress& address);
  void connectByName();
  bool connectToResult(const SocketAddress& address);
  uint64_t millisecondsLeft(unsigned int timeout) const;

  const unsigned int id;
  const SocketConfig config;
  std::atomic<int32_t> handle{0};        // written by the owning thread, read by the metrics thread too
  std::atomic<int64_t> limitedSince{0};  // milliseconds of the steady clock; 0 before limitWaits()
  uint32_t acceptCount = 0;
  bool held = false;  // the kernel may hold back bytes that were sent with `more`
};

}  // namespace ns::net
