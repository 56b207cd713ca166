#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "app/run.h"
#include "log/log.h"
#include "net/dns/domain/suffixes.h"

[[noreturn]] static void usage() {
  std::fputs(
      "usage: wirelark run <wirelark.conf>\n"
      "       wirelark run-stdout <wirelark.conf>\n"
      "       wirelark print-psl\n"
      "       wirelark version\n",
      stderr);
  std::exit(1);  // NOLINT(concurrency-mt-unsafe): no other thread has been started
}

static void printSuffixes() {
  for (const std::string_view suffix : ns::net::dns::getPslDomainSuffixes()) {
    std::printf("domain-suffix %.*s\n", static_cast<int>(suffix.size()), suffix.data());
  }
}

static void runWith(const char* filename, bool toStdout) {
  ns::log::init(false);
  force_stdout = toStdout;
  config_filename = filename;
  run();
}

// A program can be started with these closed. A socket or file would then get their numbers: the log would go to
// whoever is at its other end, and 0 stands for a socket that is not open.
static void openStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (::fcntl(descriptor, F_GETFD) == -1) (void)::open("/dev/null", O_RDWR);  // takes the lowest that is free: this
  }
}

// The status is 1 for a bad command line and 0 otherwise, also after a run that failed: that is in the log.
int main(int argc, char** argv) {
  openStandardDescriptors();
  if (argc < 2) usage();
  const std::string_view verb = argv[1];
  if (argc >= 3 && (verb == "run" || verb == "run-stdout")) {
    runWith(argv[2], verb == "run-stdout");
  } else if (verb == "print-psl") {
    printSuffixes();
  } else if (verb == "version") {
    std::puts("2.4.4");
  } else {
    usage();
  }
  return 0;
}
