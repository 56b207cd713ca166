#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <map>

#include "app/run.h"
#include "tools/check/checkTls.h"
#include "tools/check/checkWorkers.h"
#include "tools/check/isThisMachine.h"
#include "tools/check/options.h"

namespace ns::tools::check {

using worker::listener::ListenerConfig;

namespace {

bool isMember(gid_t group) {
  if (group == getegid()) return true;
  std::vector<gid_t> groups(static_cast<size_t>(std::max(getgroups(0, nullptr), 0)));
  const int count = getgroups(static_cast<int>(groups.size()), groups.data());
  return std::find(groups.begin(), groups.begin() + std::max(count, 0), group) != groups.begin() + std::max(count, 0);
}

void checkGroup(size_t line, const std::string& name, Findings& findings) {
  const group* const found = getgrnam(name.c_str());  // NOLINT(concurrency-mt-unsafe): there is one thread
  if (found == nullptr) {
    findings.error(line, "there is no group '" + name + "': the listener never opens");
  } else if (geteuid() != 0 && !isMember(found->gr_gid)) {
    findings.error(line, "this user is not in the group '" + name + "' and can't give the socket to it");
  }
}

void checkPath(size_t line, const std::string& path, Findings& findings) {
  const std::string folder = path.rfind('/') == 0 ? "/" : getBasename(path);
  struct stat status;
  if (access(folder.c_str(), F_OK) != 0) {
    findings.warn(line, "the folder " + folder + " is not there (yet): the listener opens once it is");
  } else if (access(folder.c_str(), W_OK | X_OK) != 0) {
    findings.error(line, "this user can't make a socket in " + folder);
  } else if (lstat(path.c_str(), &status) == 0 && !S_ISSOCK(status.st_mode)) {
    findings.warn(line, path + " is no socket, and is removed when the listener opens");
  }
}

void checkUnix(const Entry& entry, const ListenerConfig& config, Findings& findings) {
  const std::string path = rawWord(entry.value, 1);
  if (path != config.socket.path) {
    findings.warn(entry.line, "the path is taken in lower case: " + config.socket.path);
  }
  if (path[0] != '/') findings.warn(entry.line, "the path is relative to the folder of this file");
  checkPath(entry.line, config.socket.path, findings);
  checkGroup(entry.line, config.socket.group, findings);
  if ((config.socket.mode & 0022) == 0) findings.warn(entry.line, "the mode lets nobody but this user connect");
  if (config.tls.enabled) findings.error(entry.line, "tls=on never works on a Unix path: connections fail");
}

void checkTcp(const Entry& entry, const ListenerConfig& config, Findings& findings) {
  const std::string& host = config.socket.host;
  try {
    net::SocketAddress::ofLiteral(config.socket);
  } catch (const net::SocketError&) {
    findings.error(entry.line, "'" + host + "' is no " + (config.socket.useIpv6 ? "IPv6" : "IPv4") +
                                   " address: the listener never opens");
  }
  if (config.tls.enabled) checkTls(entry.line, true, config.tls, findings);
  if (isThisMachine(host)) return;
  if (!config.tls.enabled) {
    findings.warn(entry.line, "without TLS on an address that other machines can reach: anyone there may send events");
  } else if (!config.tls.validate) {
    findings.warn(entry.line,
                  "without tls-validate=on no certificate is asked for: anyone who connects may send events");
  }
}

void checkIdleCut(size_t line, const ListenerConfig& config, Findings& findings) {
  constexpr uint64_t Hour = 3600;
  const uint64_t timeout = config.socket.readTimeout, cut = (uint64_t{config.socket.keepalive} + 1) * timeout;
  if (cut >= Hour) return;
  findings.warn(line, "a connection without events is closed after " + std::to_string(cut) + " seconds; keepalive=" +
                          std::to_string((Hour + timeout - 1) / timeout) + " makes it an hour");
}

std::string endpointOf(const ListenerConfig& config) {
  return config.socket.useUnix ? config.socket.path : config.socket.host + " " + std::to_string(config.socket.port);
}

}  // namespace

void checkListeners(const CheckedSettings& settings, Findings& findings) {
  std::map<std::string, size_t> lines;
  for (size_t i = 0; i < settings.listeners.listeners.size(); ++i) {
    const ListenerConfig& config = settings.listeners.listeners[i];
    const Entry& entry = settings.listenerEntries[i];
    if (config.socket.useUnix) {
      checkUnix(entry, config, findings);
    } else {
      checkTcp(entry, config, findings);
    }
    checkIdleCut(entry.line, config, findings);
    checkTlsOptions(entry, config.tls.enabled, findings);
    const auto [first, fresh] = lines.emplace(endpointOf(config), entry.line);
    if (!fresh) findings.error(entry.line, "line " + std::to_string(first->second) + " listens there already");
  }
  if (settings.listeners.listeners.empty()) findings.warn(0, "no listener: nothing can send events");
}

}  // namespace ns::tools::check
