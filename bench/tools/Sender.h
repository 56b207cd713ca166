#pragma once

#include <cstdint>
#include <vector>

#include "tools/Frames.h"
#include "tools/Stream.h"

namespace bench {

/// The DNS servers' side: prebuilt frames over one or more streams, in turns.
class Sender {
 public:
  struct Settings {
    size_t writeSize = 65536;  // the most bytes of one write; 0 for one frame a write
    bool bidirectional = true;
  };

  Sender(Frames& source, Settings how) : frames(source), settings(how) {}

  /// Opens `count` more streams, handshakes included.
  void connect(const Endpoint& endpoint, size_t count, SSL_CTX* context);
  /// One write of at most `most` frames over the next stream. Returns how many went out.
  size_t send(size_t most);
  /// Ends all streams in order.
  void stop();

  uint64_t sent() const { return sentFrames; }
  uint64_t sentBytes() const { return sentSize; }
  /// Bytes that no peer has taken yet.
  size_t unread() const;

 private:
  Frames& frames;
  const Settings settings;
  std::vector<Stream> streams;
  size_t turn = 0;
  uint64_t sentFrames = 0;
  uint64_t sentSize = 0;
};

}  // namespace bench
