#pragma once

#include <string>

namespace ns::net::tls {

/// How a connection uses TLS. Nothing is checked before a handshake: wrong files and versions fail there.
struct TlsSocketConfig {
  bool enabled = false;
  bool validate = true;                  ///< verify the peer; a server then demands a client certificate
  std::string serverName = "127.0.0.1";  ///< client: for SNI and the check of the certificate's name
  bool useCertificate = false;           ///< client: present a certificate
  std::string caFile;                    ///< PEM, trusted besides the system's authorities
  std::string certFile = "cert.pem";     ///< PEM, with its chain
  std::string keyFile = "key.pem";       ///< PEM
  std::string minVersion = "1.2";        ///< "1.2" or "1.3"; empty leaves OpenSSL's default, here and below
  std::string maxVersion;                ///< likewise
  std::string cipherList;                ///< for TLS 1.2 and below
  std::string cipherSuites;              ///< for TLS 1.3
};

}  // namespace ns::net::tls
