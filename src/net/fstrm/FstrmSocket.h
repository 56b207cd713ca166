#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "encoding/Bytes.h"
#include "net/Socket.h"
#include "net/fstrm/FstrmError.h"
#include "net/fstrm/FstrmSocketConfig.h"
#include "net/fstrm/ReadAhead.h"
#include "net/fstrm/protocol.h"
#include "net/tls/TlsSocket.h"

namespace ns::net::fstrm {

/// Frame Streams on a connection, over TLS if that is configured. A frame is a big-endian 32-bit length and that many
/// bytes; length 0 is the escape in front of a control frame, which has a length of its own, a type and fields.
///
/// Lives as long as its worker and outlives the connections of its socket. The order of frames is the callers' matter,
/// but for sendstart() and sendstop(). One thread. What breaks the framing is an FstrmError; failures of the layers
/// below pass through.
class FstrmSocket {
 public:
  /// Both sockets are borrowed, and the TLS socket has its final configuration.
  FstrmSocket(unsigned int id, FstrmSocketConfig config, Socket& socket, tls::TlsSocket& tlsSocket);
  FstrmSocket(const FstrmSocket&) = delete;
  FstrmSocket& operator=(const FstrmSocket&) = delete;

  /// Reads what there is, up to `length` bytes, at least 1.
  unsigned int readsome(unsigned char* buffer, unsigned int length);
  /// Reads exactly `length` bytes.
  void readblock(unsigned char* buffer, unsigned int length);
  /// Likewise, and makes `out` exactly those. It grows as the bytes arrive, not because a length announced them.
  void readblock(encoding::Bytes& out, uint32_t length);
  /// Sends all bytes, without a frame around them. `more` as in Socket::sendblock; over TLS it has no effect.
  void sendblock(const unsigned char* buffer, unsigned int length, bool more = false);

  /// Reads the length word of a frame. With `isData` throws FstrmError if it is above the limit of data frames.
  uint32_t readlength(bool isData);
  /// Reads a control frame, without its escape word if the caller has read that, and returns its type. With
  /// `expectContentType` one of its fields has to be the content type dnstap_content_type.
  uint32_t readcontrol(bool readEscape, bool expectContentType);
  /// Sends a control frame.
  void sendcontrol(uint32_t type, bool withContentType);

  /// The sender's opening of a fresh connection.
  void sendstart();
  /// The sender's end. From here on the waits of the socket are limited, anew for STOP and for the answer to it: a peer
  /// that trickles its answer gets one time-out for all of it.
  void sendstop();

  // Reading ahead, for a reader of many data frames that doesn't use TLS; over TLS nothing is ever ahead. All other
  // reads take what is ahead first, and never add to it.

  /// Whether bytes are ahead that no read has taken yet.
  bool hasAhead() const { return ahead.size() != 0; }
  /// Takes what the socket holds, without waiting. Returns false if nothing was there, or no more fits behind the head
  /// of a large frame. Throws SocketError as Socket::receive does.
  bool readAhead() { return !useTls && ahead.fill(socket); }
  /// As readAhead(), but only where that is likely to find something: the last one took all that it had room for.
  bool readOnAhead() { return ahead.wasFilled() && readAhead(); }
  /// Stores the payloads of the data frames that lie ahead whole, in order, and returns their number. Ends in front of
  /// anything else: a control frame, a length above the limit, a frame cut off. With `mayRead` the rest of a first
  /// frame that is cut off is looked for, once and without waiting. Valid until the next read.
  size_t wholeFrames(std::span<std::span<const unsigned char>> out, bool mayRead);
  /// Takes the frames that wholeFrames() found off the stream, up to and with this one. Returns the bytes that they
  /// took.
  size_t dropThrough(std::span<const unsigned char> frame) { return ahead.dropThrough(frame); }
  /// Frees the memory if nothing is ahead: for a connection that is idle.
  void releaseAhead() { ahead.release(); }

 private:
  void findContentType() const;

  const unsigned int id;
  const FstrmSocketConfig config;
  Socket& socket;
  tls::TlsSocket& tlsSocket;
  const bool useTls;
  encoding::Bytes buffer;  // one control frame, read or sent
  ReadAhead ahead;
};

}  // namespace ns::net::fstrm
