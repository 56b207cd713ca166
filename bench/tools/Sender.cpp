#include "tools/Sender.h"

#include <algorithm>

#include "tools/fstrm.h"

namespace bench {

void Sender::connect(const Endpoint& endpoint, size_t count, SSL_CTX* context) {
  for (size_t i = 0; i < count; i++) {
    Stream stream(endpoint.connect(), endpoint.tls ? context : nullptr);
    fstrm::open(stream, settings.bidirectional);
    streams.push_back(std::move(stream));
  }
}

size_t Sender::send(size_t most) {
  const Frames::Piece piece = frames.next(settings.writeSize, settings.writeSize ? most : 1);
  streams[turn++ % streams.size()].write(piece.data, piece.size);
  sentFrames += piece.frames;
  sentSize += piece.size;
  return piece.frames;
}

void Sender::stop() {
  for (Stream& stream : streams) fstrm::stop(stream, settings.bidirectional);
  streams.clear();
}

size_t Sender::unread() const {
  size_t most = 0;
  for (const Stream& stream : streams) most = std::max(most, stream.unread());
  return most;
}

}  // namespace bench
