#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <string_view>

#include "tools/check/check.h"

using namespace ns::tools::check;

static int usage() {
  std::fputs("usage: wirelark-check [--json] [--start] [--user <name>] <wirelark.conf>\n", stderr);
  return 2;
}

// Becomes the user that the daemon runs as, so that what can be read and written is what it can. Needs root.
static bool becomeUser(const char* name) {
  const passwd* const user = getpwnam(name);  // NOLINT(concurrency-mt-unsafe): there is one thread
  if (user != nullptr && initgroups(name, user->pw_gid) == 0 && setgid(user->pw_gid) == 0 &&
      setuid(user->pw_uid) == 0) {
    return true;
  }
  std::fprintf(stderr, "wirelark-check: can't become user %s\n", name);
  return false;
}

// The status is 0 without an error, 1 with one, and 2 if nothing was checked. With --start it is 1 only for an error
// that the daemon does not start with: a service should not stay down because one of its certificates has expired.
int main(int argc, char** argv) {
  bool json = false;
  Severity limit = Severity::Error;
  const char* user = nullptr;
  int at = 1;
  for (; at < argc && argv[at][0] == '-'; ++at) {
    const std::string_view option = argv[at];
    if (option == "--json") {
      json = true;
    } else if (option == "--start") {
      limit = Severity::Fatal;
    } else if (option == "--user" && at + 1 < argc) {
      user = argv[++at];
    } else {
      return usage();
    }
  }
  if (at + 1 != argc || argv[at][0] == '\0') return usage();
  if (user != nullptr && !becomeUser(user)) return 2;
  const std::string filename = argv[at];
  const Findings findings = check(filename);
  std::fputs((json ? findings.formatJson(filename) : findings.format(filename)).c_str(), stdout);
  return findings.has(limit) ? 1 : 0;
}
