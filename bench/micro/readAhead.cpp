// Frames off a socket that holds a full block of them: one recv, then every frame found.

#include <sys/socket.h>

#include <array>

#include "micro/records.h"
#include "net/fstrm/ReadAhead.h"
#include "tools/Stream.h"

namespace {

using namespace bench;

constexpr size_t BlockSize = 65536;  // what a socket takes without a reader

std::vector<unsigned char> block() {
  std::vector<unsigned char> wire;
  for (size_t i = 0;; i = (i + 1) % records().size()) {
    const auto payload = records()[i]->bytes;
    if (wire.size() + 4 + payload.size() > BlockSize) return wire;
    for (int shift = 24; shift >= 0; shift -= 8) wire.push_back(static_cast<unsigned char>(payload.size() >> shift));
    wire.insert(wire.end(), payload.begin(), payload.end());
  }
}

void frameOffReadAhead(benchmark::State& state) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return state.SkipWithError("socketpair()");
  Stream peer(ends[0]);
  ns::net::Socket socket(0, {}, ends[1]);
  socket.configureSocket();
  ns::net::fstrm::ReadAhead ahead;
  std::array<std::span<const unsigned char>, 256> frames;
  const auto wire = block();
  int64_t count = 0;
  for (auto _ : state) {
    state.PauseTiming();
    peer.write(wire.data(), wire.size());
    state.ResumeTiming();
    for (size_t left = wire.size(); left > 0;) {
      ahead.fill(socket);
      while (const size_t found = ahead.frames(frames, 1 << 18)) {
        left -= ahead.dropThrough(frames[found - 1]);
        count += static_cast<int64_t>(found);
      }
    }
  }
  state.SetItemsProcessed(count);
}
BENCHMARK(frameOffReadAhead);

}  // namespace
