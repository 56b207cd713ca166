#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "error/UnknownError.h"
#include "net/SocketConfig.h"
#include "net/fstrm/FstrmSocketConfig.h"
#include "net/tls/TlsSocketConfig.h"

namespace ns::worker {

/// A `listener` or `forwarder` value breaks its grammar. Becomes the error of the worker whose value it is.
class ValueError : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

/// Reads the value of a `listener` or `forwarder` key from left to right: words in front, then options.
class ValueReader {
 public:
  /// `value` is zero-terminated and must outlive the reader.
  explicit ValueReader(const char* value) : at(value) {}

  /// The next word, in lower case; empty at the end of the text.
  std::string readWord();

  bool atEnd() const { return *at == '\0'; }

  struct Option {
    std::string name;   // in lower case
    std::string value;  // as written, quotes taken off
  };

  /// The next option: `name=value`, `name value` or `name= value`; a value in double quotes may hold blanks.
  /// Throws ValueError if the text ends before a value, which is also how blanks at its very end are refused.
  Option readOption();

 private:
  void skipBlanks();

  const char* at;  // the next character
};

/// What the options of both kinds of worker set.
struct ConnectionConfig {
  net::SocketConfig& socket;
  net::tls::TlsSocketConfig& tls;
  net::fstrm::FstrmSocketConfig& fstrm;
};

/// Applies an option that listeners and forwarders have in common. Returns false if `option` is none of those.
/// Throws ValueError with the option's own text for a value that is refused.
bool applyCommonOption(const ValueReader::Option& option, ConnectionConfig config);

/// The number that an option's value begins with, as strtol(3) reads it. Throws ValueError unless it is in `least` to
/// `most`; the result is cut to 32 bits.
uint32_t parseNumber(const ValueReader::Option& option, int64_t least, int64_t most);

/// "on" or "off", exactly. Throws ValueError for anything else.
bool parseSwitch(const ValueReader::Option& option);

/// Throws the ValueError of a value that `option` does not take.
[[noreturn]] void failOption(const ValueReader::Option& option);

/// A port number at the start of `word`, from 1 to 65535. Throws ValueError for anything else.
uint16_t parsePort(const std::string& word);

}  // namespace ns::worker
