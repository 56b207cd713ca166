#include "tools/check/checkTls.h"

#include <openssl/pem.h>
#include <openssl/x509.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

#include "net/tls/TlsSocket.h"
#include "tools/check/checkSuites.h"
#include "tools/check/fileKind.h"
#include "tools/check/options.h"

namespace ns::tools::check {

using net::tls::TlsSocketConfig;

namespace {

using X509Ptr = std::unique_ptr<X509, net::tls::OpensslDeleter<X509_free>>;

// The text that a client's connect() fails with on a connection that its peer has closed.
std::string failAsClient(const TlsSocketConfig& config) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return "";
  close(ends[1]);
  net::Socket socket(0, net::SocketConfig(), ends[0]);
  try {
    net::tls::TlsSocket(0, false, config, socket).connect();
  } catch (const std::exception& e) { return e.what(); }
  return "";
}

// The text that a server fails with at a client's first byte; empty if it doesn't.
std::string failAsServer(const TlsSocketConfig& config) {
  try {
    net::tls::makeTlsContext(config, true);
  } catch (const std::exception& e) { return std::string("TLS handshake failed: ") + e.what(); }
  return "";
}

// Whether OpenSSL was set up, and nothing or only the missing peer made the handshake fail.
bool failsForThePeer(const std::string& text) {
  return text.empty() || text.rfind("TLS handshake failed: recv() failed", 0) == 0 ||
         text.rfind("TLS handshake failed: send() failed", 0) == 0;
}

// Days and seconds from now; both negative for the past.
struct Span {
  int days = 0, seconds = 0;
};

Span untilTime(const ASN1_TIME* time) {
  Span span;
  ASN1_TIME_diff(&span.days, &span.seconds, nullptr, time);
  return span;
}

void checkDates(size_t line, const std::string& filename, const X509* certificate, Findings& findings) {
  constexpr int Soon = 30;  // days: what is left of a 90-day certificate when its renewal should have happened
  const Span begin = untilTime(X509_get0_notBefore(certificate)), end = untilTime(X509_get0_notAfter(certificate));
  if (begin.days > 0 || begin.seconds > 0) {
    findings.error(line, "a certificate in " + filename + " is not valid yet");
  } else if (end.days < 0 || end.seconds < 0) {
    findings.error(line, "a certificate in " + filename + " has expired");
  } else if (end.days < Soon) {
    findings.warn(line, "a certificate in " + filename + " expires in " + std::to_string(end.days) + " days");
  }
}

void checkDatesIn(size_t line, const std::string& filename, Findings& findings) {
  const net::tls::BioPtr file(BIO_new_file(filename.c_str(), "r"));
  if (!file) return;
  while (const X509Ptr certificate{PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr)}) {
    checkDates(line, filename, certificate.get(), findings);
  }
}

// The files that are read at each handshake.
std::vector<std::string> filesOf(bool isServer, const TlsSocketConfig& config) {
  std::vector<std::string> files;
  if (isServer || config.useCertificate) files = {config.certFile, config.keyFile};
  if (config.validate && !config.caFile.empty()) files.push_back(config.caFile);
  return files;
}

bool canRead(size_t line, const std::vector<std::string>& files, Findings& findings) {
  bool all = true;
  for (const std::string& file : files) {
    const std::string reason = whyUnreadable(file);
    if (reason.empty()) continue;
    findings.error(line, reason);
    all = false;
  }
  return all;
}

}  // namespace

void checkTls(size_t line, bool isServer, const TlsSocketConfig& config, Findings& findings) {
  checkSuites(line, config, findings);
  if (!canRead(line, filesOf(isServer, config), findings)) return;
  const std::string failure = isServer ? failAsServer(config) : failAsClient(config);
  if (!failsForThePeer(failure)) findings.error(line, failure);
  if (isServer || config.useCertificate) checkDatesIn(line, config.certFile, findings);
  if (!config.validate) return;
  if (!config.caFile.empty()) checkDatesIn(line, config.caFile, findings);
  if (isServer && std::getenv("SSL_CERT_DIR") == nullptr) {  // NOLINT(concurrency-mt-unsafe): there is one thread
    findings.warn(line,
                  "clients with a certificate of any authority that this system trusts may send events, unless "
                  "SSL_CERT_DIR and SSL_CERT_FILE in the environment of the daemon point elsewhere");
  }
}

void checkTlsOptions(const Entry& entry, bool enabled, Findings& findings) {
  if (enabled) return;
  for (const auto& option : readOptions(entry)) {
    if (option.name.rfind("tls-", 0) != 0) continue;
    return findings.warn(entry.line, option.name + " has no effect without tls=on");
  }
}

}  // namespace ns::tools::check
