#include "tools/check/SourceFile.h"

#include <cctype>
#include <fstream>
#include <utility>

#include "app/config/ConfigFile.h"

namespace ns::tools::check {

using app::config::ConfigFile;

namespace {

constexpr const char* BlankLine = " \t\r\n";

bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

class SourceReader {
 public:
  explicit SourceReader(Findings& out) : findings(out) {}

  std::vector<SourceEntry> read(std::istream& file) {
    for (std::string text; std::getline(file, text);) {
      ++line;
      take(text);
    }
    flush();
    return std::move(entries);
  }

 private:
  void take(const std::string& text) {
    const size_t start = text.find_first_not_of(BlankLine);
    if (start == std::string::npos) return flush();
    if (text[start] == '#') return;
    const bool continues = !pending.empty() && isSpace(text[0]);
    if (continues) {
      if (commentLine != 0) {
        findings.warn(line, "not read: the line continues a comment, that of line " + std::to_string(commentLine));
      }
      pending += ' ';
      pending.append(text, start);
    } else {
      flush();
      pending.assign(text, start);
      pendingLine = line;
    }
    inspect(text);
  }

  /// Looks at what parse() is going to drop without a word.
  void inspect(std::string_view text) {
    if (text.back() == '\r') {
      if (!std::exchange(returns, true)) {
        findings.warn(line, "lines end in carriage returns: in a continued value they stay part of it");
      }
      text.remove_suffix(1);
    }
    const size_t comment = text.find('#');
    if (comment != std::string_view::npos) {
      if (commentLine == 0) commentLine = line;
      if (!isSpace(text[comment - 1]))
        findings.warn(line, "the value ends in front of the '#', which begins a comment");
    } else if (isSpace(text.back())) {
      findings.warn(line, "blanks at the end of the line are not part of the value");
    }
  }

  void flush() {
    if (!pending.empty()) {
      if (auto entry = ConfigFile().parse(pending)) entries.push_back({pendingLine, entry->key, entry->value});
    }
    pending.clear();
    commentLine = 0;
  }

  Findings& findings;
  std::vector<SourceEntry> entries;
  std::string pending;     // the logical line being put together
  size_t line = 0;         // the last one read
  size_t pendingLine = 0;  // where `pending` begins
  size_t commentLine = 0;  // of the comment in `pending`, 0 if it has none
  bool returns = false;    // carriage returns were told of
};

}  // namespace

std::vector<SourceEntry> readSource(const std::string& filename, Findings& findings) {
  ConfigFile().read(filename);  // for its failure
  std::ifstream file(filename);
  return SourceReader(findings).read(file);
}

}  // namespace ns::tools::check
