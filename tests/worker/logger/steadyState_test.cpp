#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "net/dns/domain/suffixes.h"
#include "net/dns/event/DnsMessageEventFormatter.h"
#include "worker/forwarder/Forwarder.h"
#include "worker/receiver/Receiver.h"

// The road of an event, once it was gone by events like it, asks nobody for memory: neither does a busy daemon slow
// down in the allocator, nor does it grow.

static std::atomic<uint64_t> allocations{0};

static void* take(size_t size) {
  ++allocations;
  if (void* const memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
void* operator new(size_t size) { return take(size); }
void* operator new[](size_t size) { return take(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, size_t) noexcept { std::free(memory); }

namespace {

using ns::event::queue::EventQueue;
using ns::worker::forwarder::Forwarder;
using ns::worker::receiver::Receiver;

// Fewer where each step is slow: without optimisation even a buffer that shrinks is walked byte by byte.
#if defined(__OPTIMIZE__) && !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)
constexpr uint64_t Count = 100'000;
#else
constexpr uint64_t Count = 5'000;
#endif

uint32_t number(const char* bytes) {
  uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(bytes[i]);
  return value;
}

// What real servers told of real queries: a recorded stream, without its control frames.
struct Sample {
  std::string frames;
  uint64_t count = 0;

  Sample() {
    std::ifstream file(WIRELARK_SOURCE_DIR "/bench/data/sample.fstrm", std::ios::binary);
    const std::string all{std::istreambuf_iterator<char>(file), {}};
    for (size_t at = 0; at + 8 <= all.size();) {
      const uint32_t length = number(&all[at]);
      if (length != 0) frames.append(all, at, length + 4), ++count;
      at += 4 + (length == 0 ? 4 + number(&all[at + 4]) : length);
    }
  }
};

// A listening socket whose one connection is read and thrown away. In the mode without an ACCEPT nothing is answered.
class Sink {
 public:
  Sink() : listening(socket(AF_INET, SOCK_STREAM, 0)) {
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(listening, place(), size) != 0 || listen(listening, 1) != 0 ||
        getsockname(listening, place(), &size) != 0) {
      std::abort();
    }
    thread = std::thread([this] {
      const int descriptor = accept(listening, nullptr, nullptr);
      char buffer[65536];
      while (read(descriptor, buffer, sizeof buffer) > 0) {}
      close(descriptor);
    });
  }
  ~Sink() {
    thread.join();
    close(listening);
  }
  uint16_t port() const { return ntohs(address.sin_port); }

 private:
  // NOLINTNEXTLINE: what the socket calls take
  sockaddr* place() { return reinterpret_cast<sockaddr*>(&address); }

  int listening;
  sockaddr_in address{};
  std::thread thread;
};

struct Road {
  Sink sink;
  EventQueue queue{{.size = 1 << 24}};
  ns::net::dns::DnsMessageEventFormatter formatter;
  int client = -1;
  std::unique_ptr<Receiver> receiver;
  std::unique_ptr<Forwarder> forwarder;

  explicit Road(const ns::event::format::EventFormatterConfig& format) : formatter(format) {
    ns::worker::forwarder::ForwarderConfig to;
    to.socket.useUnix = false;
    to.socket.port = sink.port();
    to.fstrm.bidirectional = false;
    forwarder = std::make_unique<Forwarder>(to, ns::worker::forwarder::ForwarderContext{&queue, &formatter});
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0) std::abort();
    client = pair[0];
    receiver = std::make_unique<Receiver>(ns::worker::receiver::ReceiverConfig{},
                                          ns::worker::receiver::ReceiverContext{nullptr, nullptr, &queue},
                                          std::make_unique<ns::net::Socket>(0U, ns::net::SocketConfig{}, pair[1]));
    receiver->startProcessLoopThread();
    forwarder->startProcessLoopThread();
    write(std::string("\0\0\0\0\0\0\0\x22\0\0\0\x02\0\0\0\x01\0\0\0\x16protobuf:dnstap.Dnstap", 42));
  }

  ~Road() {
    write(std::string("\0\0\0\0\0\0\0\x04\0\0\0\x03", 12));
    receiver->joinProcessLoopThread();
    forwarder->stopProcessLoopThread();
    forwarder->joinProcessLoopThread();
    close(client);
  }

  void write(const std::string& bytes) const {
    for (size_t at = 0; at < bytes.size();) {
      const ssize_t count = ::write(client, &bytes[at], bytes.size() - at);
      if (count <= 0) std::abort();
      at += static_cast<size_t>(count);
    }
  }

  /// Sends the sample so often that `events` went through, and leaves none in the queue.
  void pass(const Sample& sample, uint64_t events) {
    ns::metrics::EventQueueMetrics queued;
    for (uint64_t sent = 0; sent < events; sent += sample.count) {
      write(sample.frames);
      for (uint64_t taken = 0; taken < sample.count; taken += queued.eventsProcessed) {
        std::this_thread::yield();
        queue.signal();  // the forwarder may have looked just before the last event came
        queue.getMetrics(queued);
        ASSERT_EQ(0U, queued.eventsDropped);
      }
    }
  }
};

TEST(SteadyState, AHundredThousandEventsAllocateNothing) {
  ns::net::dns::loadPslDomainSuffixes(true);
  const Sample sample;
  ASSERT_GT(sample.count, 50U);
  const struct {
    const char* name;
    uint32_t format;
    bool extended;
    bool rfc3164;
  } cases[] = {
      {"JSON", 0, false, false},
      {"query log", 1, false, false},
      {"extended query log, RFC 3164", 1, true, true},
      {"dnstap", 2, false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ns::event::format::EventFormatterConfig format;
    format.messageFormat = c.format;
    format.querylogExtended = c.extended;
    format.syslogRfc3164 = c.rfc3164;
    Road road(format);
    road.pass(sample, 10 * sample.count);
    // Threads meet as they will, so a buffer may see its largest batch late and grow once more. What allocates for each
    // event does so in every pass.
    bool quiet = false;
    for (int pass = 0; pass < 5 && !quiet; ++pass) {
      const uint64_t before = allocations;
      road.pass(sample, Count);
      quiet = allocations == before;
    }
    EXPECT_TRUE(quiet);
  }
}

}  // namespace
