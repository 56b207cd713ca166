#pragma once

#include <string>

#include "error/UnknownError.h"

namespace ns::worker::options {

/// A `listener` or `forwarder` value breaks its grammar. Becomes the error of the worker whose value it is.
class ValueError : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

/// One option of such a value.
struct Option {
  std::string name;   // in lower case
  std::string value;  // as written, quotes taken off
};

/// Reads the value of a `listener` or `forwarder` key from left to right: words in front, then options.
class ValueReader {
 public:
  /// `value` is zero-terminated and must outlive the reader.
  explicit ValueReader(const char* value) : at(value) {}

  /// The next word, in lower case; empty at the end of the text.
  std::string readWord();

  bool atEnd() const { return *at == '\0'; }

  /// The next option: `name=value`, `name value` or `name= value`; a value in double quotes may hold blanks.
  /// Throws ValueError if the text ends before a value, which is also how blanks at its very end are refused.
  Option readOption();

 private:
  void skipBlanks();

  const char* at;  // the next character
};

}  // namespace ns::worker::options
