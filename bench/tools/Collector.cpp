#include "tools/Collector.h"

#include <sys/socket.h>

#include <exception>
#include <iostream>
#include <vector>

#include "tools/Counter.h"

namespace bench {

// The threads end with the process: a collector is there for its whole life.
Collector::Collector(const Endpoint& endpoint, Kind what, SSL_CTX* serverContext)
    : kind(what), context(endpoint.tls ? serverContext : nullptr) {
  if (endpoint.fifo) {
    std::thread(&Collector::serve, this, endpoint.openFifo()).detach();
  } else {
    std::thread(&Collector::accept, this, endpoint.listen()).detach();
  }
}

void Collector::accept(int listening) {
  for (;;) {
    const int fd = ::accept(listening, nullptr, nullptr);
    if (fd >= 0) std::thread(&Collector::serve, this, fd).detach();
  }
}

void Collector::serve(int fd) try {
  Stream stream(fd, context);
  const auto answer = [&stream](fstrm::Control type) {
    if (type != fstrm::Ready && type != fstrm::Stop) return;
    const auto frame = fstrm::control(type == fstrm::Ready ? fstrm::Accept : fstrm::Finish);
    stream.write(frame.data(), frame.size());
  };
  Counter counter = kind == Kind::Frames ? Counter(answer) : Counter();
  std::vector<unsigned char> buffer(1 << 20);
  while (const size_t got = stream.read(buffer.data(), buffer.size())) add(counter.take(buffer.data(), got));
} catch (const std::exception& e) { std::cerr << "collector: " << e.what() << "\n"; }

void Collector::add(size_t count) {
  const auto now = Clock::now();
  const std::lock_guard lock(mutex);
  if (events < markCount && events + count >= markCount) markTime = now;
  events += count;
  if (events >= awaited) changed.notify_all();
}

uint64_t Collector::received() const {
  const std::lock_guard lock(mutex);
  return events;
}

void Collector::mark(uint64_t count) {
  const std::lock_guard lock(mutex);
  markCount = count;
}

Clock::time_point Collector::marked() const {
  const std::lock_guard lock(mutex);
  return markTime;
}

bool Collector::wait(uint64_t count, Clock::duration most) {
  std::unique_lock lock(mutex);
  awaited = count;
  return changed.wait_for(lock, most, [&] { return events >= count; });
}

}  // namespace bench
