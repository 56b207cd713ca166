#include "worker/ValueReader.h"

#include <cctype>
#include <cstdlib>
#include <limits>

namespace ns::worker {

static bool isBlank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

static char toLower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

void ValueReader::skipBlanks() {
  while (isBlank(*at)) ++at;
}

std::string ValueReader::readWord() {
  skipBlanks();
  std::string word;
  for (; !atEnd() && !isBlank(*at); ++at) word += toLower(*at);
  return word;
}

ValueReader::Option ValueReader::readOption() {
  Option option;
  skipBlanks();
  for (; !atEnd() && *at != '=' && !isBlank(*at); ++at) option.name += toLower(*at);
  if (!atEnd()) ++at;
  skipBlanks();
  if (atEnd()) throw ValueError("Invalid parameter '" + option.name + "'");

  const bool quoted = *at == '"';
  if (quoted) ++at;
  const char* const begin = at;
  while (!atEnd() && (quoted ? *at != '"' : !isBlank(*at))) ++at;
  option.value.assign(begin, at);
  if (quoted && !atEnd()) ++at;
  return option;
}

void failOption(const ValueReader::Option& option) { throw ValueError("Invalid " + option.name + " option"); }

uint32_t parseNumber(const ValueReader::Option& option, int64_t least, int64_t most) {
  const long number = std::strtol(option.value.c_str(), nullptr, 10);
  if (number < least || number > most) failOption(option);
  return static_cast<uint32_t>(number);
}

bool parseSwitch(const ValueReader::Option& option) {
  if (option.value != "on" && option.value != "off") failOption(option);
  return option.value == "on";
}

uint16_t parsePort(const std::string& word) {
  const long number = std::strtol(word.c_str(), nullptr, 10);
  if (number < 1 || number > 65535) throw ValueError("Invalid port");
  return static_cast<uint16_t>(number);
}

bool applyCommonOption(const ValueReader::Option& option, ConnectionConfig config) {
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

}  // namespace ns::worker
