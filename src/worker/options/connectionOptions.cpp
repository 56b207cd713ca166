#include "worker/options/connectionOptions.h"

#include <limits>
#include <string>

#include "worker/options/values.h"

namespace ns::worker::options {

bool applyCommonOption(const Option& option, ConnectionConfig config) {
  constexpr int64_t MaxTimeout = 120;  // seconds
  constexpr int64_t MaxBufferSize = std::numeric_limits<int32_t>::max();
  constexpr int64_t NoLimit = std::numeric_limits<int64_t>::max();
  auto& [socket, tls, fstrm] = config;

  const std::string& name = option.name;
  if (name == "read-timeout") {
    socket.readTimeout = parseNumber(option, 1, MaxTimeout);
  } else if (name == "write-timeout") {
    socket.writeTimeout = parseNumber(option, 1, MaxTimeout);
  } else if (name == "send-buffer-size") {
    socket.sendBufferSize = parseNumber(option, 1, MaxBufferSize);
  } else if (name == "recv-buffer-size") {
    socket.recvBufferSize = parseNumber(option, 1, MaxBufferSize);
  } else if (name == "fstrm-control-frame-max-size") {
    fstrm.controlFrameMaxSize = parseNumber(option, 1, NoLimit);
  } else if (name == "tls") {
    tls.enabled = parseSwitch(option);
  } else if (name == "tls-validate") {
    tls.validate = parseSwitch(option);
  } else if (name == "tls-validate-ca-file") {
    tls.caFile = option.value;
  } else if (name == "tls-min-version") {
    tls.minVersion = option.value;
  } else if (name == "tls-max-version") {
    tls.maxVersion = option.value;
  } else if (name == "tls-cipher-list") {
    tls.cipherList = option.value;
  } else if (name == "tls-cipher-suites") {
    tls.cipherSuites = option.value;
  } else {
    return false;
  }
  return true;
}

}  // namespace ns::worker::options
