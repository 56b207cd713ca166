#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "encoding/Bytes.h"
#include "net/Socket.h"

namespace ns::net::fstrm {

/// Bytes taken off a socket before anybody asked for them, so that one recv(2) serves hundreds of frames: a frame is
/// some hundred bytes, and two system calls for each would cost more than all else that is done with it.
class ReadAhead {
 public:
  /// A connection of few events holds the first size, a busy one grows to the last: about what a Unix socket holds, so
  /// that a receiver that was kept waiting takes it at once and wakes its forwarder once. Larger gains nothing.
  static constexpr size_t FirstSize = 4096;
  static constexpr size_t MaxSize = 262144;

  size_t size() const { return end - start; }

  /// Takes what the socket holds, as far as there is room. Returns false if nothing was there or no room was left.
  /// Throws SocketError as Socket::receive does.
  bool fill(Socket& socket);
  /// Whether the last fill took as much as it had room for, so that the socket is likely to hold more.
  bool wasFilled() const { return filled; }

  /// Moves up to `length` bytes to `out`; returns how many.
  unsigned int take(unsigned char* out, unsigned int length);

  /// Stores the payloads of the whole data frames in front, none longer than `maxFrame`, and returns their number. They
  /// stay valid until the next fill, take or release.
  size_t frames(std::span<std::span<const unsigned char>> out, uint32_t maxFrame) const;
  /// Whether what is held is the begin of a data frame, no longer than `maxFrame`, and nothing else.
  bool isCutOff(uint32_t maxFrame) const;
  /// Drops the frames that frames() found, up to and with this one. Returns the bytes that they took on the wire.
  size_t dropThrough(std::span<const unsigned char> frame) {
    const size_t before = start;
    start = static_cast<size_t>(frame.data() + frame.size() - bytes.data());
    return start - before;
  }

  /// Frees the memory if nothing is held.
  void release();

 private:
  void makeRoom();

  encoding::Bytes bytes;
  size_t start = 0;  // what is held lies from here to `end`
  size_t end = 0;
  bool filled = false;
};

}  // namespace ns::net::fstrm
