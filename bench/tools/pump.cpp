// pump <from> <to>: copies bytes from an accepted connection to a connected one, 64 KiB at a time. What it costs is
// what no program that takes events in here and hands them on there can go below, short of larger reads.

#include <sys/socket.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "tools/Stream.h"

namespace {

using namespace bench;

void pump(const Endpoint& from, const Endpoint& to, SSL_CTX* server, SSL_CTX* client) {
  const int listening = from.listen();
  std::cout << "ready" << std::endl;
  std::vector<unsigned char> buffer(65536);
  Stream out(to.connect(), to.tls ? client : nullptr);
  for (;;) {
    Stream in(accept(listening, nullptr, nullptr), from.tls ? server : nullptr);
    while (const size_t got = in.read(buffer.data(), buffer.size())) out.write(buffer.data(), got);
  }
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 3 && argc != 5) throw std::runtime_error("usage: pump <from> <to> [<certificate> <key>]");
  std::signal(SIGPIPE, SIG_IGN);
  const Context server = argc == 5 ? serverContext(argv[3], argv[4]) : nullptr;
  const Context client = clientContext();
  pump(Endpoint(argv[1]), Endpoint(argv[2]), server.get(), client.get());
} catch (const std::exception& e) {
  std::cerr << "pump: " << e.what() << "\n";
  return EXIT_FAILURE;
}
