// relay <from> <to>: one thread takes bytes in, another hands them on, a mutex and a condition variable between them:
// the least that an event can be late by in a program with a thread for each side.

#include <sys/socket.h>

#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "tools/Stream.h"

namespace {

using namespace bench;

struct Exchange {
  std::mutex mutex;
  std::condition_variable filled;
  std::vector<unsigned char> bytes;
};

void receive(const Endpoint& from, Exchange& exchange) {
  const int listening = from.listen();
  std::cout << "ready" << std::endl;
  std::vector<unsigned char> buffer(65536);
  for (;;) {
    Stream in(accept(listening, nullptr, nullptr));
    while (const size_t got = in.read(buffer.data(), buffer.size())) {
      const std::lock_guard lock(exchange.mutex);
      exchange.bytes.insert(exchange.bytes.end(), buffer.data(), buffer.data() + got);
      exchange.filled.notify_one();
    }
  }
}

void forward(const Endpoint& to, Exchange& exchange) {
  Stream out(to.connect());
  std::vector<unsigned char> bytes;
  for (;;) {
    {
      std::unique_lock lock(exchange.mutex);
      exchange.filled.wait(lock, [&] { return !exchange.bytes.empty(); });
      bytes.swap(exchange.bytes);
    }
    out.write(bytes.data(), bytes.size());
    bytes.clear();
  }
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 3) throw std::runtime_error("usage: relay <from> <to>");
  std::signal(SIGPIPE, SIG_IGN);
  Exchange exchange;
  std::jthread receiver(receive, Endpoint(argv[1]), std::ref(exchange));
  forward(Endpoint(argv[2]), exchange);
} catch (const std::exception& e) {
  std::cerr << "relay: " << e.what() << "\n";
  std::_Exit(EXIT_FAILURE);
}
