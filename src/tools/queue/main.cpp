#include <cstdio>
#include <exception>
#include <string_view>

#include "tools/queue/commands.h"

using namespace ns::tools::queue;

static int usage() {
  std::fputs(
      "usage: wirelark-queue show <file>\n"
      "       wirelark-queue verify <file>\n"
      "       wirelark-queue salvage <file> <new file>\n"
      "       wirelark-queue to-fstrm <file> <new Frame Streams file>\n"
      "       wirelark-queue from-fstrm <Frame Streams file> <new file>\n",
      stderr);
  return 2;
}

// The status is 0 for a file in order, 1 for a damaged one and every other failure, and 2 for a bad command line.
int main(int argc, char** argv) {
  const struct {
    std::string_view name;
    bool (*one)(const std::string&);
    bool (*two)(const std::string&, const std::string&);
  } commands[] = {
      {"show", show, nullptr},        {"verify", verify, nullptr},        {"salvage", nullptr, salvage},
      {"to-fstrm", nullptr, toFstrm}, {"from-fstrm", nullptr, fromFstrm},
  };
  for (const auto& command : commands) {
    if (argc != (command.one != nullptr ? 3 : 4) || argv[1] != command.name) continue;
    try {
      return (command.one != nullptr ? command.one(argv[2]) : command.two(argv[2], argv[3])) ? 0 : 1;
    } catch (const std::exception& e) {
      std::fprintf(stderr, "wirelark-queue: %s\n", e.what());
      return 1;
    }
  }
  return usage();
}
