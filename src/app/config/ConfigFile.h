#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <string_view>

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
    size_t line = 0;  // that it begins in, from 1; 0 for one that is not of a file
  };

  /// A line as it stands in the file.
  struct Line {
    size_t number;  // from 1
    std::string_view text;
    bool continues;  // the entry of a line before it
  };

  /// Appends an entry as it is: the key is not lowered, repeated keys add up. For programs without a file.
  void add(const std::string& key, const std::string& value);

  /// The value of the first entry with exactly this key, or null. Valid as long as the object and until read().
  const char* get(const std::string& key) const;

  /// The values of all entries with exactly this key, in file order.
  std::list<std::string> getList(const std::string& key) const;

  /// All entries, in file order.
  const std::list<Entry>& getEntries() const { return entries; }

  /// Splits one logical line into key and value; nothing for a blank line or a comment. A zero byte ends the line.
  std::optional<Entry> parse(const std::string& line) const;

  /// Empties the list, then reads a file. Throws ConfigError if the file can't be opened; no content is an error.
  /// `watch`, if given, is called with each line that becomes part of an entry, for who tells of what parse() drops.
  void read(const std::string& filename, const std::function<void(const Line&)>& watch = nullptr);

 private:
  void append(std::string& pending, size_t line);

  std::list<Entry> entries;
};

}  // namespace ns::app::config
