#include "tools/check/checkSuites.h"

#include <string>

#include "net/tls/TlsSocket.h"

namespace ns::tools::check {

using net::tls::TlsSocketConfig;

namespace {

using Suites = STACK_OF(SSL_CIPHER);

void freeSuites(Suites* suites) { sk_SSL_CIPHER_free(suites); }

using SuitesPtr = std::unique_ptr<Suites, net::tls::OpensslDeleter<freeSuites>>;

// Sets the least or the greatest version; an empty text leaves the system's. False for a text that is no version.
bool setVersion(SSL_CTX* context, int bound, const std::string& version) {
  const int number = net::tls::parseTlsVersion(version);
  return version.empty() || (number != 0 && SSL_CTX_ctrl(context, bound, number, nullptr) == 1);
}

// Sets what decides about suites. False for what every handshake fails with.
bool configure(SSL_CTX* context, const TlsSocketConfig& config) {
  return setVersion(context, SSL_CTRL_SET_MIN_PROTO_VERSION, config.minVersion) &&
         setVersion(context, SSL_CTRL_SET_MAX_PROTO_VERSION, config.maxVersion) &&
         (config.cipherList.empty() || SSL_CTX_set_cipher_list(context, config.cipherList.c_str()) == 1);
}

// The suites that are left with these versions and with the system's security level.
SuitesPtr findSuites(const TlsSocketConfig& config) {
  const net::tls::SslCtxPtr context(SSL_CTX_new(TLS_method()));
  if (!context || !configure(context.get(), config)) return nullptr;
  const net::tls::SslPtr ssl(SSL_new(context.get()));
  return SuitesPtr(ssl ? SSL_get1_supported_ciphers(ssl.get()) : nullptr);
}

// Whether a session stays secret from those who get hold of the server's key later.
bool hasForwardSecrecy(const SSL_CIPHER* suite) {
  const int exchange = SSL_CIPHER_get_kx_nid(suite);
  return exchange == NID_kx_any || exchange == NID_kx_ecdhe || exchange == NID_kx_dhe || exchange == NID_kx_ecdhe_psk ||
         exchange == NID_kx_dhe_psk;
}

// Of the suites where `holds` is true, each behind a blank.
std::string namesOf(const Suites* suites, bool (*holds)(const SSL_CIPHER*)) {
  std::string names;
  for (int i = 0; i < sk_SSL_CIPHER_num(suites); ++i) {
    const SSL_CIPHER* const suite = sk_SSL_CIPHER_value(suites, i);
    if (holds(suite)) names += std::string(" ") + SSL_CIPHER_get_name(suite);
  }
  return names;
}

constexpr const char* Remedy = " tls-cipher-list=ECDHE+AESGCM:ECDHE+CHACHA20 or tls-min-version=1.3 leaves them out";

}  // namespace

void checkSuites(size_t line, const TlsSocketConfig& config, Findings& findings) {
  const struct {
    const char* text;
    bool (*holds)(const SSL_CIPHER*);
  } flaws[] = {
      {"without encryption", [](const SSL_CIPHER* s) { return SSL_CIPHER_get_cipher_nid(s) == NID_undef; }},
      {"without certificates", [](const SSL_CIPHER* s) { return SSL_CIPHER_get_auth_nid(s) == NID_auth_null; }},
      {"without forward secrecy", [](const SSL_CIPHER* s) { return !hasForwardSecrecy(s); }},
  };
  const SuitesPtr suites = findSuites(config);
  const std::string list = config.cipherList.empty() ? "OpenSSL's default list" : "tls-cipher-list";
  for (const auto& flaw : flaws) {
    const std::string names = namesOf(suites.get(), flaw.holds);
    if (names.empty()) continue;
    findings.warn(line,
                  list + " lets TLS 1.2 use suites " + flaw.text + ":" + (config.cipherList.empty() ? Remedy : names));
  }
}

}  // namespace ns::tools::check
