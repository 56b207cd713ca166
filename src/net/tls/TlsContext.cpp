#include "net/tls/TlsContext.h"

#include <openssl/x509.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "net/tls/TlsError.h"

namespace ns::net::tls {

[[noreturn, gnu::cold, gnu::noinline]] static void fail(const std::string& what) {
  throw TlsError(what + " failed: " + withSslErrors("Unknown SSL error"));
}

int parseTlsVersion(const std::string& version) {
  if (version == "1.2") return TLS1_2_VERSION;
  if (version == "1.3") return TLS1_3_VERSION;
  return 0;
}

static void setVersions(SSL_CTX* ctx, const TlsSocketConfig& config) {
  if (!config.minVersion.empty()) {
    const int version = parseTlsVersion(config.minVersion);
    if (version < 1) fail("Parse minimum TLS version");
    if (SSL_CTX_set_min_proto_version(ctx, version) != 1) fail("SSL_CTX_set_min_proto_version()");
  }
  if (!config.maxVersion.empty()) {
    const int version = parseTlsVersion(config.maxVersion);
    if (version < 1) fail("Parse maximum TLS version");
    if (SSL_CTX_set_max_proto_version(ctx, version) != 1) fail("SSL_CTX_set_max_proto_version()");
  }
}

static void setCiphers(SSL_CTX* ctx, const TlsSocketConfig& config) {
  if (!config.cipherList.empty() && SSL_CTX_set_cipher_list(ctx, config.cipherList.c_str()) != 1) {
    fail("SSL_CTX_set_cipher_list(" + config.cipherList + ")");
  }
  if (!config.cipherSuites.empty() && SSL_CTX_set_ciphersuites(ctx, config.cipherSuites.c_str()) != 1) {
    fail("SSL_CTX_set_ciphersuites(" + config.cipherSuites + ")");
  }
}

// An encrypted key is refused. Without this OpenSSL would ask for its password on the terminal and wait for an answer.
static int refusePassword(char* /*buffer*/, int /*size*/, int /*isEncryption*/, void* /*unused*/) { return -1; }

static void loadCertificate(SSL_CTX* ctx, const TlsSocketConfig& config) {
  SSL_CTX_set_default_passwd_cb(ctx, refusePassword);
  if (SSL_CTX_use_certificate_chain_file(ctx, config.certFile.c_str()) != 1) {
    fail("SSL_CTX_use_certificate_chain_file(" + config.certFile + ")");
  }
  if (SSL_CTX_use_PrivateKey_file(ctx, config.keyFile.c_str(), SSL_FILETYPE_PEM) != 1) {
    fail("SSL_CTX_use_PrivateKey_file(" + config.keyFile + ")");
  }
  if (SSL_CTX_check_private_key(ctx) != 1) fail("SSL_CTX_check_private_key()");
}

static void setVerification(SSL_CTX* ctx, const TlsSocketConfig& config, bool isServer) {
  if (!config.validate) {
    SSL_CTX_set_verify(ctx, SSL_VERIFY_NONE, nullptr);
    return;
  }
  if (!config.caFile.empty() && SSL_CTX_load_verify_locations(ctx, config.caFile.c_str(), nullptr) != 1) {
    fail("SSL_CTX_load_verify_locations(" + config.caFile + ")");
  }
  if (SSL_CTX_set_default_verify_paths(ctx) != 1) fail("SSL_CTX_set_default_verify_paths()");
  SSL_CTX_set_verify(ctx, isServer ? SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT : SSL_VERIFY_PEER, nullptr);
}

SslCtxPtr makeTlsContext(const TlsSocketConfig& config, bool isServer) {
  SslCtxPtr ctx(SSL_CTX_new(isServer ? TLS_server_method() : TLS_client_method()));
  if (!ctx) fail("SSL_CTX_new()");
  setVersions(ctx.get(), config);
  setCiphers(ctx.get(), config);
  if (isServer || config.useCertificate) loadCertificate(ctx.get(), config);
  setVerification(ctx.get(), config, isServer);
  // Sessions of one connection are of no use to another: see TlsSocket::createSsl. So none is kept.
  if (isServer) SSL_CTX_set_session_cache_mode(ctx.get(), SSL_SESS_CACHE_SERVER | SSL_SESS_CACHE_NO_INTERNAL);
  return ctx;
}

// The environment first, as OpenSSL does (SSL_CTX_set_default_verify_paths(3)).
static std::string systemPath(const char* variable, const char* standard) {
  const char* const set = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe): nobody changes the environment
  return set != nullptr ? set : standard;
}

static std::vector<std::string> filesOf(const TlsSocketConfig& config) {
  std::vector<std::string> files{config.certFile, config.keyFile};
  if (!config.validate) return files;
  files.push_back(config.caFile);
  files.push_back(systemPath(X509_get_default_cert_file_env(), X509_get_default_cert_file()));
  files.push_back(systemPath(X509_get_default_cert_dir_env(), X509_get_default_cert_dir()));
  return files;
}

SharedTlsContext::SharedTlsContext(TlsSocketConfig settings) : config(std::move(settings)), files(filesOf(config)) {}

bool SharedTlsContext::Stamp::operator==(const Stamp& other) const {
  return device == other.device && inode == other.inode && size == other.size &&
         modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
}

std::vector<SharedTlsContext::Stamp> SharedTlsContext::stampFiles() const {
  std::vector<Stamp> now(files.size());
  std::transform(files.begin(), files.end(), now.begin(), [](const std::string& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0) return Stamp{};  // reading it tells why
    return Stamp{status.st_dev, status.st_ino, status.st_size, status.st_mtim};
  });
  return now;
}

SslCtxPtr SharedTlsContext::get() {
  const std::lock_guard lock(mutex);
  std::vector<Stamp> now = stampFiles();
  if (!ctx || now != stamps) {
    ctx = makeTlsContext(config, true);
    stamps = std::move(now);
  }
  SSL_CTX_up_ref(ctx.get());
  return SslCtxPtr(ctx.get());
}

}  // namespace ns::net::tls
