#pragma once

#include <sys/stat.h>

#include <mutex>
#include <string>
#include <vector>

#include "net/tls/OpensslPtr.h"
#include "net/tls/TlsSocketConfig.h"

namespace ns::net::tls {

/// OpenSSL's number of a TLS version given as "1.2" or "1.3"; 0 for any other text.
int parseTlsVersion(const std::string& version);

/// A context for connections of one role with these settings; reads the files that they name. Throws TlsError.
SslCtxPtr makeTlsContext(const TlsSocketConfig& config, bool isServer);

/// One context for all connections that a listener accepts: reading a system's authorities takes a megabyte and 25 ms
/// of processor time, which strangers could ask for by the thousand. It is made again when one of its files has
/// changed, so the next connection takes up a renewed certificate. Any thread.
class SharedTlsContext {
 public:
  /// For the server's side. Reads nothing yet.
  explicit SharedTlsContext(TlsSocketConfig config);

  /// The context as the files are now, counted once more. Throws TlsError if it has to be made and can't be.
  SslCtxPtr get();

 private:
  struct Stamp {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec modified{};
    bool operator==(const Stamp& other) const;
  };

  std::vector<Stamp> stampFiles() const;

  const TlsSocketConfig config;
  const std::vector<std::string> files;  // that the context is made of
  std::mutex mutex;                      // guards the two below
  SslCtxPtr ctx;
  std::vector<Stamp> stamps;  // of `files`, taken before `ctx` read them
};

}  // namespace ns::net::tls
