#include "net/fstrm/FstrmSocket.h"

#include <gtest/gtest.h>
#include <linux/sockios.h>

#include <random>
#include <thread>

#include "encoding/data.h"
#include "support/bytes.h"
#include "support/sockets.h"

using namespace ns::net::fstrm;
using ns::encoding::Bytes;
using test::failureOf;
using test::unhex;

static const std::string closed = "recv() failed: socket closed";

static ns::net::tls::TlsSocketConfig tlsConfig(bool enabled) {
  ns::net::tls::TlsSocketConfig config;
  config.enabled = enabled;
  return config;
}

// A FstrmSocket at one end of a pair, the peer's bare descriptor at the other. `hex` is all that the peer ever sends.
struct Wire {
  explicit Wire(FstrmSocketConfig config, bool useTls = false)
      : socket(1, {}, pair.ours), tls(1, true, tlsConfig(useTls), socket), fstrm(9, config, socket, tls) {}
  Wire(FstrmSocketConfig config, const std::vector<unsigned char>& bytes, bool useTls = false) : Wire(config, useTls) {
    test::put(pair.theirs, bytes);
    ::shutdown(pair.theirs, SHUT_WR);
  }
  test::UnixPair pair;
  ns::net::Socket socket;
  ns::net::tls::TlsSocket tls;
  FstrmSocket fstrm;
};

TEST(FstrmSocket, TakesNoMemoryForBytesThatDoNotArriveAndReadsNothingAheadOverTls) {
  Wire wire({}, unhex("0102")), secured({}, unhex("00000001 61"), true);
  Bytes out;
  EXPECT_EQ(closed, failureOf([&] { wire.fstrm.readblock(out, 3U << 30); }));
  EXPECT_GE(65536U, out.capacity());
  EXPECT_FALSE(secured.fstrm.readAhead());
  EXPECT_EQ(5U, secured.socket.readsize());
  EXPECT_EQ("TLS handshake not complete", failureOf([&] { secured.fstrm.readlength(true); }));
}

TEST(ReadAhead, StopsWhenFull) {
  Wire wire({});
  ReadAhead ahead;
  for (int i = 0; i != 4; ++i) {
    test::put(wire.pair.theirs, std::vector<unsigned char>(70'000, 1));
    while (ahead.fill(wire.socket)) continue;
  }
  EXPECT_EQ(ReadAhead::MaxSize, ahead.size());
  EXPECT_TRUE(ahead.wasFilled());
}

// What a stream was read as: the frames, and the text of how it ended.
struct Read {
  std::vector<std::vector<unsigned char>> frames;
  std::string end;
  bool operator==(const Read&) const = default;
};

// Takes one frame of any kind; returns false for a control frame.
static bool readOne(Wire& wire, Read& out) {
  const uint32_t length = wire.fstrm.readlength(true);
  if (length == 0) return wire.fstrm.readcontrol(false, false), false;
  Bytes frame;
  wire.fstrm.readblock(frame, length);
  out.frames.emplace_back(frame.data(), frame.data() + frame.size());
  return true;
}

static bool readSomeAhead(Wire& wire, Read& out) {
  std::array<std::span<const unsigned char>, 7> frames;
  if (!wire.fstrm.hasAhead() && !wire.fstrm.readOnAhead()) {
    wire.fstrm.releaseAhead();
    wire.socket.wait(true, 5);
    wire.fstrm.readAhead();
  }
  const size_t count = wire.fstrm.wholeFrames(frames, true);
  for (size_t i = 0; i != count; ++i) out.frames.emplace_back(frames[i].begin(), frames[i].end());
  if (count != 0) wire.fstrm.dropThrough(frames[count - 1]);
  return count != 0 || readOne(wire, out);
}

// Sends the stream in pieces of random sizes, with odd seeds one only when the one before was read, and reads it back.
static Read transfer(const Bytes& stream, uint32_t seed, bool (*reader)(Wire&, Read&)) {
  FstrmSocketConfig config;
  config.dataFrameMaxSize = 100'000;
  Wire wire(config);
  std::thread sender([&] {
    std::minstd_rand random(seed);
    for (size_t at = 0, size = 0; at != stream.size(); at += size) {
      size = std::min<size_t>(stream.size() - at, 1 + random() % (random() % 3 != 0 ? 9 : 90'000));
      test::put(wire.pair.theirs, {&stream[at], &stream[at] + size});
      for (int unread = 1; seed % 2 != 0 && unread != 0; std::this_thread::yield()) {
        ::ioctl(wire.pair.theirs, SIOCOUTQ, &unread);
      }
    }
    ::shutdown(wire.pair.theirs, SHUT_WR);
  });
  Read out;
  out.end = failureOf([&] {
    while (reader(wire, out)) continue;
  });
  sender.join();
  return out;
}

TEST(FstrmSocket, ReadsTheSameAheadAsFrameByFrame) {
  const std::pair<std::string, std::string> ends[] = {
      {"", closed},
      {"00000000 00000004 00000003", ""},
      {"000186a1", "Data frame length 100001 is larger than the configured limit 100000"},
      {"000186a0 0102", closed},
      {"0000", closed},
  };
  for (uint32_t seed = 0; seed != 40; ++seed) {
    SCOPED_TRACE(seed);
    std::minstd_rand generator(seed);
    const auto random = [&](uint32_t limit) { return static_cast<uint32_t>(generator() >> 4) % limit; };
    const auto& [tail, end] = ends[seed % 5];
    Read expected{{}, end};
    Bytes stream;
    for (uint32_t count = random(40); count != 0; --count) {
      const uint32_t sizes[] = {1 + random(300), 1 + random(70'000), 100'000, 4088 + random(9)};
      const std::vector<unsigned char> frame(sizes[random(8) < 6 ? 0 : 1 + random(3)],
                                             static_cast<unsigned char>(count));
      expected.frames.push_back(frame);
      ns::encoding::data::encodeUint32(stream, test::size32(frame));
      ns::encoding::data::formatBytes(stream, frame.data(), test::size32(frame));
    }
    for (const auto each : unhex(tail)) stream.push_back(each);
    EXPECT_TRUE(expected == transfer(stream, seed, readOne));
    EXPECT_TRUE(expected == transfer(stream, seed, readSomeAhead));
  }
}
