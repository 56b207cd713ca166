#pragma once

#include <list>
#include <optional>
#include <string>

#include "error/UnknownError.h"

namespace ns::app::config {

/// The configuration file could not be opened.
class ConfigError : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

/// The daemon's configuration file as an ordered list of keys and values. It knows nothing of the keys' meanings.
/// The format: one key and one value to a logical line; "#" begins a comment wherever it stands; an indented line
/// continues the one before it; no quoting, no escapes, no sections. Keys are case-insensitive, values are not.
class ConfigFile {
 public:
  struct Entry {
    std::string key;
    std::string value;
  };

  /// Appends an entry as it is: the key is not lowered, repeated keys add up. For programs without a file.
  void add(const std::string& key, const std::string& value);

  /// The value of the first entry with exactly this key, or null. Valid as long as the object and until read().
  const char* get(const std::string& key) const;

  /// The values of all entries with exactly this key, in file order.
  std::list<std::string> getList(const std::string& key) const;

  /// Splits one logical line into key and value; nothing for a blank line or a comment. A zero byte ends the line.
  std::optional<Entry> parse(const std::string& line) const;

  /// Empties the list, then reads a file. Throws ConfigError if the file can't be opened; no content is an error.
  void read(const std::string& filename);

 private:
  void append(std::string& pending);

  std::list<Entry> entries;
};

}  // namespace ns::app::config
