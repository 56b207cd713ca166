#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace ns::tools::check {

/// What the daemon makes of the line: it runs, but perhaps not as meant; something never works; it doesn't start.
enum class Severity { Warning, Error, Fatal };

struct Finding {
  size_t line;  // from 1; 0 for what belongs to no line
  Severity severity;
  std::string text;
};

/// All that was found in one file.
class Findings {
 public:
  void warn(size_t line, std::string text) { add(line, Severity::Warning, std::move(text)); }
  void error(size_t line, std::string text) { add(line, Severity::Error, std::move(text)); }
  void fatal(size_t line, std::string text) { add(line, Severity::Fatal, std::move(text)); }

  /// Whether one is at least as bad.
  bool has(Severity severity) const;

  /// One line a finding, by their order in the file: `<file>:<line>: error|warning: <text>`, without the line if there
  /// is none. Characters that a terminal would act on are shown as "?".
  std::string format(const std::string& filename) const;

  /// The same, with a JSON object on each line.
  std::string formatJson(const std::string& filename) const;

 private:
  void add(size_t line, Severity severity, std::string text);
  std::vector<Finding> sorted() const;

  std::vector<Finding> findings;
};

}  // namespace ns::tools::check
