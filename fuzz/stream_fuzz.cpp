// Any bytes, arriving in any pieces, on a connection that a receiver reads: reading ahead gives the same frames and
// ends in the same failure as reading frame by frame.
#include <sys/socket.h>

#include <array>
#include <span>
#include <vector>

#include "fuzz.h"
#include "net/fstrm/FstrmSocket.h"

using namespace ns::net;

struct Outcome {
  std::vector<std::string> frames;
  std::string failure;
  bool operator==(const Outcome&) const = default;
};

static void readFrames(fstrm::FstrmSocket& stream, bool ahead, Outcome& outcome) {
  ns::encoding::Bytes frame;
  while (true) {
    std::array<std::span<const unsigned char>, 4> frames;
    if (ahead && !stream.hasAhead()) stream.readAhead();
    const size_t count = ahead ? stream.wholeFrames(frames, true) : 0;
    for (size_t i = 0; i < count; ++i) outcome.frames.emplace_back(frames[i].begin(), frames[i].end());
    if (count != 0) {
      stream.dropThrough(frames[count - 1]);
      continue;
    }
    const uint32_t length = stream.readlength(true);
    if (length == 0) {
      outcome.frames.push_back("control " + std::to_string(stream.readcontrol(false, true)));
    } else {
      stream.readblock(frame, length);
      outcome.frames.emplace_back(frame.begin(), frame.end());
    }
  }
}

static Outcome run(fuzz::Input input, bool ahead) {
  int ends[2];
  fuzz::require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "a pair of sockets");
  while (!input.empty()) {  // the pieces, all of them below what a socket takes without a reader
    const std::string_view piece = input.take(size_t{input.byte()} * 4);
    if (send(ends[1], piece.data(), piece.size(), MSG_DONTWAIT | MSG_NOSIGNAL) < 0) break;
  }
  shutdown(ends[1], SHUT_WR);
  SocketConfig config;
  config.readTimeout = 1;
  Socket socket(0, config, ends[0]);
  tls::TlsSocket tlsSocket(0, true, {}, socket);
  fstrm::FstrmSocketConfig limits;
  limits.controlFrameMaxSize = 200;
  limits.dataFrameMaxSize = 5000;
  fstrm::FstrmSocket stream(0, limits, socket, tlsSocket);
  Outcome outcome;
  try {
    readFrames(stream, ahead, outcome);
  } catch (const std::exception& e) { outcome.failure = e.what(); }
  close(ends[1]);
  return outcome;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 60000) return 0;
  fuzz::require(run({data, size}, true) == run({data, size}, false), "reading ahead changes nothing");
  return 0;
}
