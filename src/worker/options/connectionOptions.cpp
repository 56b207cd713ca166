#include "worker/options/connectionOptions.h"

namespace ns::worker::options {

OptionTable connectionOptions(net::SocketConfig& socket, net::tls::TlsSocketConfig& tls,
                              net::fstrm::FstrmSocketConfig& fstrm) {
  constexpr int64_t MaxBufferSize = std::numeric_limits<int32_t>::max();
  return {
      {"read-timeout", socket.readTimeout, 1, MaxTimeout},
      {"write-timeout", socket.writeTimeout, 1, MaxTimeout},
      {"send-buffer-size", socket.sendBufferSize, 1, MaxBufferSize},
      {"recv-buffer-size", socket.recvBufferSize, 1, MaxBufferSize},
      {"fstrm-control-frame-max-size", fstrm.controlFrameMaxSize, 1},
      {"tls", tls.enabled},
      {"tls-validate", tls.validate},
      {"tls-validate-ca-file", tls.caFile},
      {"tls-min-version", tls.minVersion},
      {"tls-max-version", tls.maxVersion},
      {"tls-cipher-list", tls.cipherList},
      {"tls-cipher-suites", tls.cipherSuites},
  };
}

}  // namespace ns::worker::options
