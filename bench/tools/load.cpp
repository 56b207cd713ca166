// The load generator, with the collector of what comes out again in the same process, so that one clock times both ends
// and what is under way can be limited. Commands come by the line on standard input, and each is answered by a line:
//
// - "connect <endpoint> <n>" opens n streams: "connected".
// - "run <frames> [a second]" sends so many, at most so many a second: how long it took, and the CPU time of this
// process.
// - "lone <n>" sends n frames, each alone: the time until each was collected.
// - "stop" ends the streams in order: "stopped".
//
// Without --collect, or with --await no, nothing is awaited but that the peer has taken all that was sent. With --slack
// n up to n events may be missing at the end of a run: what a daemon holds back until more comes was so before the run
// too.

#include <algorithm>
#include <csignal>
#include <ctime>
#include <exception>
#include <iostream>
#include <memory>
#include <random>
#include <sstream>
#include <thread>

#include "tools/Collector.h"
#include "tools/Options.h"
#include "tools/Sender.h"

namespace bench {

namespace {

using namespace std::chrono_literals;

double seconds(Clock::duration time) { return std::chrono::duration<double>(time).count(); }

double processTime() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

class Load {
 public:
  explicit Load(const Options& options)
      : frames(options.get("frames", "")),
        sender(frames, {std::stoul(options.get("write", "65536")), options.get("handshake", "bi") == "bi"}),
        client(clientContext()),
        awaits(options.get("collect", "") != "" && options.get("await", "yes") == "yes"),
        slack(std::stoul(options.get("slack", "0"))),
        window(std::stoul(options.get("window", "16000000")) / (frames.bytes() / frames.count())) {
    const std::string target = options.get("collect", "");
    if (target.empty()) return;
    if (!options.get("cert", "").empty()) server = serverContext(options.get("cert", ""), options.get("key", ""));
    const auto kind = options.get("count", "frames") == "lines" ? Collector::Kind::Lines : Collector::Kind::Frames;
    collector = std::make_unique<Collector>(Endpoint(target), kind, server.get());
  }

  void command(const std::string& line) {
    std::istringstream in(line);
    std::string verb, endpoint;
    uint64_t number = 1, rate = 0;
    in >> verb;
    if (verb == "connect") {
      in >> endpoint >> number;
      sender.connect(Endpoint(endpoint), number, client.get());
      std::cout << "connected" << std::endl;
    } else if (verb == "run") {
      in >> number >> rate;
      run(number, rate);
    } else if (verb == "lone") {
      in >> number;
      lone(number);
    } else if (verb == "stop") {
      sender.stop();
      std::cout << "stopped" << std::endl;
    } else {
      throw std::runtime_error("no such command: " + line);
    }
  }

 private:
  void run(uint64_t count, uint64_t rate);
  void lone(uint64_t count);
  void sendPaced(uint64_t count, uint64_t rate);
  void drain();

  Frames frames;
  Sender sender;
  Context client, server;
  const bool awaits;
  const uint64_t slack;
  const uint64_t window;  // the most frames on the way, so that the daemon's ring has room for them
  std::unique_ptr<Collector> collector;
};

void Load::sendPaced(uint64_t count, uint64_t rate) {
  const auto start = Clock::now();
  for (uint64_t sent = 0; sent < count;) {
    // Goes on when half of the window is free, so that this process isn't woken by each batch that comes.
    if (awaits && sender.sent() > window + collector->received()) collector->wait(sender.sent() - window / 2, 1s);
    if (rate) std::this_thread::sleep_until(start + std::chrono::microseconds(sent * 1000000 / rate));
    sent += sender.send(count - sent);
  }
}

// The last events may lie in the daemon until the next one comes, or in a peer until its buffer is full: so one more
// frame goes out now and then until they are here.
void Load::drain() {
  const uint64_t target = sender.sent() - std::min(slack, sender.sent());
  const auto deadline = Clock::now() + 20s;
  while (!collector->wait(target, 5ms)) {
    if (Clock::now() > deadline) throw std::runtime_error("events are missing");
    sender.send(1);
  }
}

// With a collector to wait for, the speed is that of the first 95 % of the events: what the last ones wait for is no
// matter of speed.
void Load::run(uint64_t count, uint64_t rate) {
  const uint64_t timed = awaits ? count * 95 / 100 : count;
  if (awaits) collector->mark(sender.sent() + timed);
  const uint64_t bytes = sender.sentBytes();
  const double cpu = processTime();
  const auto start = Clock::now();
  sendPaced(count, rate);
  const uint64_t sentSize = sender.sentBytes() - bytes;
  if (awaits) drain();
  while (!awaits && sender.unread() > 0) std::this_thread::sleep_for(50us);
  const double taken = seconds((awaits ? collector->marked() : Clock::now()) - start);
  std::cout << "frames=" << count << " bytes=" << sentSize << " rate=" << static_cast<double>(timed) / taken
            << " cpu=" << processTime() - cpu << std::endl;
}

void Load::lone(uint64_t count) {
  std::mt19937 random(1);
  std::vector<double> taken;
  uint64_t stuck = 0;
  for (uint64_t i = 0; i < count; i++) {
    std::this_thread::sleep_for(std::chrono::microseconds(2000 + random() % 2000));
    collector->mark(sender.sent() + 1);
    const auto start = Clock::now();
    sender.send(1);
    if (!collector->wait(sender.sent(), 100ms)) {
      stuck++;
      drain();
    }
    taken.push_back(seconds(collector->marked() - start));
  }
  std::sort(taken.begin(), taken.end());
  std::cout << "stuck=" << stuck << " percentiles=";
  for (uint64_t i = 0; i <= 100; i++) std::cout << (i ? "," : "") << taken[i * (count - 1) / 100];
  std::cout << std::endl;
}

}  // namespace

}  // namespace bench

int main(int argc, char** argv) try {
  std::signal(SIGPIPE, SIG_IGN);
  bench::Load load(bench::Options(argc, argv));
  std::cout << "ready" << std::endl;
  for (std::string line; std::getline(std::cin, line);) load.command(line);
  std::_Exit(0);  // the collector's threads are still in their reads
} catch (const std::exception& e) {
  std::cerr << "load: " << e.what() << "\n";
  std::_Exit(1);
}
