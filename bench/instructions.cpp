// Fixed work under callgrind, each piece's instructions dumped under its name: bench/instructions compares them with
// what they were. An event's share of a whole worker is the difference between many events and few, divided by their
// number, so that what a connection costs once is not in it. The file of frames is the only argument.

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

#include "encoding/dnstap/dnstap.h"
#include "event/queue/EventQueue.h"
#include "net/dns/domain/suffixes.h"
#include "net/dns/event/DnsMessageEventFormatter.h"
#include "net/dns/message/contract.h"
#include "tools/Frames.h"
#include "tools/fstrm.h"
#include "worker/forwarder/Forwarder.h"
#include "worker/receiver/Receiver.h"

namespace {

using namespace ns;
using bench::Frames;

constexpr size_t Few = 256, Many = 1024;  // events; many of them still fit into a Unix socket's buffer

void dump(const std::string& name) {
  CALLGRIND_DUMP_STATS_AT(name.c_str());
  CALLGRIND_ZERO_STATS;
}

void require(bool ok, const char* what) {
  if (!ok) throw std::runtime_error(what);
}

event::queue::EventQueueConfig ringOf(uint64_t size) {
  event::queue::EventQueueConfig config;
  config.size = size;
  return config;
}

// A peer's whole stream lies in the socket before the receiver starts, so that every run reads the same pieces.
std::unique_ptr<net::Socket> peerThatSent(Frames& frames, size_t count) {
  int ends[2];
  require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "socketpair()");
  const int size = 1 << 20;
  setsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
  bench::Stream peer(ends[0]);
  bench::fstrm::open(peer, false);
  for (size_t sent = 0; sent < count;) {
    const Frames::Piece piece = frames.next(16384, count - sent);
    peer.write(piece.data, piece.size);
    sent += piece.frames;
  }
  bench::fstrm::stop(peer, false);
  return std::make_unique<net::Socket>(0, net::SocketConfig(), ends[1]);
}

void receive(Frames& frames, size_t count, const std::string& name) {
  event::queue::EventQueue queue(ringOf(1 << 20));
  worker::receiver::ReceiverContext context;
  context.queue = &queue;
  worker::receiver::Receiver receiver({}, context, peerThatSent(frames, count));
  CALLGRIND_ZERO_STATS;
  receiver.processLoop();
  dump(name);
  encoding::Bytes got;
  for (size_t i = 0; i < count; i++) queue.extract(got);
  require(queue.empty() && !got.empty(), "the receiver has not queued all frames");
}

// The child of a fork, so that its instructions are none of ours: takes `bytes` or `lines`, then exits.
struct Collector {
  Collector() : listening(socket(AF_INET, SOCK_STREAM, 0)) {
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    require(bind(listening, any, size) == 0 && listen(listening, 1) == 0 && getsockname(listening, any, &size) == 0,
            "listening");
  }
  ~Collector() { close(listening); }

  pid_t take(size_t bytes, size_t lines) const {
    const pid_t child = fork();
    if (child != 0) return child;
    const int fd = accept(listening, nullptr, nullptr);
    unsigned char buffer[65536];
    while (bytes > 0 || lines > 0) {
      const ssize_t got = read(fd, buffer, sizeof buffer);
      if (got <= 0) _exit(1);
      const auto ended = static_cast<size_t>(std::count(buffer, buffer + got, '\n'));
      bytes -= std::min(bytes, static_cast<size_t>(got));
      lines -= std::min(lines, ended);
    }
    _exit(0);
  }

  int listening;
  sockaddr_in address{};
};

// A forwarder from its start until the last of `count` events was collected.
void forward(Frames& frames, const event::format::EventFormatterConfig& format, size_t count, const std::string& name) {
  event::queue::EventQueue queue(ringOf(1 << 20));
  size_t bytes = bench::fstrm::control(bench::fstrm::Start).size();
  for (size_t i = 0; i < count; i++) {
    const size_t frame = i % frames.count();
    queue.append(frames.payload(frame), frames.payloadSize(frame));
    bytes += 4 + frames.payloadSize(frame);
  }
  const net::dns::DnsMessageEventFormatter formatter(format);
  const Collector collector;
  worker::forwarder::ForwarderConfig config;
  config.socket.useUnix = false;
  config.socket.port = ntohs(collector.address.sin_port);
  config.fstrm.bidirectional = false;
  const bool dnstap = formatter.isFormatDnstap();
  const pid_t child = collector.take(dnstap ? bytes : 0, dnstap ? 0 : count);

  CALLGRIND_ZERO_STATS;
  worker::forwarder::Forwarder forwarder(config, {&queue, &formatter});
  forwarder.startProcessLoopThread();
  int status = 1;
  waitpid(child, &status, 0);
  dump(name);
  require(status == 0, "the forwarder has not sent all events");
  forwarder.stopProcessLoopThread();
  forwarder.joinProcessLoopThread();
}

void forwardInFormat(Frames& frames, uint32_t format, const std::string& name) {
  event::format::EventFormatterConfig config;
  config.messageFormat = format;
  forward(frames, config, Few, name + " few");
  forward(frames, config, Many, name + " many");
}

const encoding::Bytes& messageOf(Frames& frames, size_t frame, encoding::dnstap::DnstapEvent& event) {
  encoding::dnstap::decodeDnstapEvent(event, frames.payload(frame), static_cast<uint32_t>(frames.payloadSize(frame)),
                                      0);
  return event.response_message.empty() ? event.query_message : event.response_message;
}

// Every question's name: one that is not compressed, as owner names after it mostly are nothing but a pointer.
void decodeNames(Frames& frames) {
  encoding::dnstap::DnstapEvent event;
  encoding::Bytes name;
  for (size_t frame = 0; frame < frames.count(); frame++) {
    const encoding::Bytes& message = messageOf(frames, frame, event);
    name.clear();
    CALLGRIND_TOGGLE_COLLECT;
    net::dns::decodeDnsMessageFqdn(12, message.data(), static_cast<uint32_t>(message.size()), name, true);
    CALLGRIND_TOGGLE_COLLECT;
  }
}

void lookUpSuffixes(Frames& frames) {
  encoding::dnstap::DnstapEvent event;
  net::dns::DnsMessage decoded;
  for (size_t frame = 0; frame < frames.count(); frame++) {
    const encoding::Bytes& message = messageOf(frames, frame, event);
    net::dns::decodeDnsMessage(message.data(), static_cast<uint32_t>(message.size()), decoded, true);
    require(decoded.error.empty(), "a sample that does not decode");
    const auto name = decoded.at(decoded.qnameLowercase);
    CALLGRIND_TOGGLE_COLLECT;
    net::dns::getDomainSuffixOffset(name.data(), static_cast<uint32_t>(name.size()), true, true);
    CALLGRIND_TOGGLE_COLLECT;
  }
}

// With nothing collected but what the function toggles. The first pass is for what is set up once.
void functions(Frames& frames, void (*work)(Frames&), const std::string& name) {
  CALLGRIND_TOGGLE_COLLECT;
  work(frames);
  CALLGRIND_ZERO_STATS;
  work(frames);
  dump(name);
  CALLGRIND_TOGGLE_COLLECT;
}

}  // namespace

int main(int argc, char** argv) try {
  require(argc == 2, "usage: instructions <file of frames>");
  Frames frames(argv[1]);
  require(frames.count() == Few, "the sample has another number of frames");
  net::dns::loadPslDomainSuffixes(true);
  receive(frames, Few, "receiver to ring few");
  receive(frames, Many, "receiver to ring many");
  forwardInFormat(frames, 2, "dnstap out");
  forwardInFormat(frames, 0, "JSON");
  forwardInFormat(frames, 1, "query log");
  functions(frames, lookUpSuffixes, "suffix look-up");
  functions(frames, decodeNames, "name decoding");
  std::puts("done");
} catch (const std::exception& e) {
  std::fprintf(stderr, "instructions: %s\n", e.what());
  return EXIT_FAILURE;
}
