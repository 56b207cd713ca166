#include "tools/check/SourceFile.h"

#include <cctype>
#include <string_view>
#include <utility>

namespace ns::tools::check {

using app::config::ConfigFile;

namespace {

bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// Looks at what is going to be dropped without a word.
class LineInspector {
 public:
  explicit LineInspector(Findings& findings) : findings(findings) {}

  void inspect(const ConfigFile::Line& line) {
    if (!line.continues) {
      commentLine = 0;
    } else if (commentLine != 0) {
      findings.warn(line.number, "not read: the line continues a comment, that of line " + std::to_string(commentLine));
    }
    std::string_view text = line.text;
    if (text.back() == '\r') {
      if (!std::exchange(returns, true)) {
        findings.warn(line.number, "lines end in carriage returns: in a continued value they stay part of it");
      }
      text.remove_suffix(1);
    }
    const size_t comment = text.find('#');
    if (comment != std::string_view::npos) {
      if (commentLine == 0) commentLine = line.number;
      if (!isSpace(text[comment - 1])) {
        findings.warn(line.number, "the value ends in front of the '#', which begins a comment");
      }
    } else if (isSpace(text.back())) {
      findings.warn(line.number, "blanks at the end of the line are not part of the value");
    }
  }

 private:
  Findings& findings;
  size_t commentLine = 0;  // of the comment in the entry, 0 if it has none
  bool returns = false;    // carriage returns were told of
};

}  // namespace

std::vector<Entry> readSource(const std::string& filename, Findings& findings) {
  LineInspector inspector(findings);
  ConfigFile file;
  file.read(filename, [&](const ConfigFile::Line& line) { inspector.inspect(line); });
  return {file.getEntries().begin(), file.getEntries().end()};
}

}  // namespace ns::tools::check
