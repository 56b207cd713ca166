#include "app/config/ConfigFile.h"

#include <cctype>
#include <cerrno>
#include <fstream>

#include "error/messages.h"

namespace ns::app::config {

static constexpr const char* BlankLine = " \t\r\n";

static bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

static const char* skipSpace(const char* text) {
  while (*text != '\0' && isSpace(*text)) ++text;
  return text;
}

static bool isEnd(char c) { return c == '\0' || c == '#'; }

void ConfigFile::add(const std::string& key, const std::string& value) { entries.push_back({key, value, 0}); }

const char* ConfigFile::get(const std::string& key) const {
  for (const Entry& entry : entries) {
    if (entry.key == key) return entry.value.c_str();
  }
  return nullptr;
}

std::list<std::string> ConfigFile::getList(const std::string& key) const {
  std::list<std::string> values;
  for (const Entry& entry : entries) {
    if (entry.key == key) values.push_back(entry.value);
  }
  return values;
}

std::optional<ConfigFile::Entry> ConfigFile::parse(const std::string& line) const {
  const char* at = line.c_str();
  if (isEnd(*at)) return std::nullopt;
  at = skipSpace(at);
  if (isEnd(*at)) return std::nullopt;

  Entry entry;
  for (; !isEnd(*at) && !isSpace(*at); ++at)
    entry.key += static_cast<char>(std::tolower(static_cast<unsigned char>(*at)));

  const char* const value = skipSpace(at);
  const char* end = value;  // behind the last character that is not blank
  for (at = value; !isEnd(*at);) {
    if (!isSpace(*at)) {
      end = ++at;
    } else {
      at = skipSpace(at);
    }
  }
  entry.value.assign(value, end);
  return entry;
}

// Takes the logical line that is complete, and leaves nothing pending.
void ConfigFile::append(std::string& pending, size_t line) {
  if (auto entry = parse(pending)) {
    entry->line = line;
    entries.push_back(std::move(*entry));
  }
  pending.clear();
}

void ConfigFile::read(const std::string& filename, const std::function<void(const Line&)>& watch) {
  entries.clear();
  std::ifstream file(filename);
  const int reason = errno;  // before the text below is put together, which may allocate
  if (!file) throw ConfigError("ifstream(" + filename + ") failed to open: " + error::getMessage(reason));

  std::string pending;  // the logical line being put together
  size_t first = 0;     // the line that it begins in
  std::string line;
  for (size_t number = 1; std::getline(file, line); ++number) {
    const size_t start = line.find_first_not_of(BlankLine);
    if (start == std::string::npos) {
      append(pending, first);
      continue;
    }
    if (line[start] == '#') continue;  // also inside a continued line, which goes on behind the comment
    const bool continues = !pending.empty() && isSpace(line[0]);
    if (continues) {
      pending += ' ';
    } else {
      append(pending, first);
      first = number;
    }
    pending.append(line, start);
    if (watch) watch({number, line, continues});
  }
  append(pending, first);
}

}  // namespace ns::app::config
