#include "tools/check/checkKeys.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <numeric>
#include <string_view>
#include <utility>

#include "app/config/keys.h"
#include "tools/check/options.h"

namespace ns::tools::check {

using app::config::Key;
using app::config::Keys;

// The characters to insert, remove or replace to get from one text to the other (Levenshtein's distance).
static size_t countChanges(const std::string& from, const std::string& to) {
  std::vector<size_t> row(to.size() + 1);  // changes from what was read of `from` to each beginning of `to`
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < from.size(); ++i) {
    size_t diagonal = std::exchange(row[0], i + 1);
    for (size_t j = 0; j < to.size(); ++j) {
      const size_t replaced = diagonal + (from[i] != to[j]);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

// The key that needs the fewest changes to become `word`; empty if even it needs more than half as many as `word` has.
static std::string findNearest(const std::string& word) {
  std::string nearest;
  size_t least = word.size() / 2 + 1;
  for (const Key& key : Keys) {
    const size_t changes = countChanges(word, key.name);
    if (changes >= least) continue;
    least = changes;
    nearest = key.name;
  }
  return nearest;
}

static std::string describeUnknown(const std::string& key) {
  constexpr size_t MaxKey = 100;  // what a rubbish file has as a key is no misspelling
  const std::string nearest = key.size() > MaxKey ? "" : findNearest(key);
  const std::string text = "unknown key '" + key.substr(0, MaxKey) + "' is ignored";
  return nearest.empty() ? text : text + "; the nearest known one is '" + nearest + "'";
}

void dropIgnored(std::vector<Entry>& entries, Findings& findings) {
  std::map<std::string, size_t> first;
  std::vector<Entry> kept;
  for (Entry& entry : entries) {
    const Key* const key = app::config::findKey(entry.key);
    if (key == nullptr) {
      findings.warn(entry.line, describeUnknown(entry.key));
    } else if (const auto [at, fresh] = first.emplace(entry.key, entry.line); !fresh && !key->isRepeatable) {
      findings.warn(entry.line, entry.key + " is ignored: the one in line " + std::to_string(at->second) + " counts");
    } else {
      kept.push_back(std::move(entry));
    }
  }
  entries = std::move(kept);
}

// What comes of the options that are cut to 0.
static const char* effectOfZero(const std::string& name) {
  if (name == "batch-size") return ": no event ever goes out";
  return name.ends_with("-frame-max-size") ? ": no frame is short enough" : "";
}

// A number is read up to the first character that is no digit, and stored in `bits`.
static void checkNumber(size_t line, const std::string& name, const std::string& value, uint32_t bits,
                        Findings& findings) {
  char* end = nullptr;
  const long number = std::strtol(value.c_str(), &end, 10);
  const long cut = bits == 32 ? static_cast<long>(static_cast<uint32_t>(number)) : number;
  if (number != cut) {
    findings.error(line,
                   name + " '" + value + "' is read as " + std::to_string(cut) + (cut == 0 ? effectOfZero(name) : ""));
  } else if (*end != '\0') {
    findings.warn(line, name + " '" + value + "' is read as " + std::to_string(number));
  }
}

// A "=" with blanks behind it goes on to the next word, which is mostly meant as the next option.
static void checkSwallowed(size_t line, const worker::options::Option& option, Findings& findings) {
  const size_t equals = option.value.find('=');
  if (equals == std::string::npos || findOption(option.value.substr(0, equals)) == nullptr) return;
  findings.error(line, option.name + " takes the option '" + option.value + "' as its value");
}

static void checkOptions(const Entry& entry, Findings& findings) {
  for (const auto& option : readOptions(entry)) {
    checkSwallowed(entry.line, option, findings);
    if (findOption(option.name)->isNumber) checkNumber(entry.line, option.name, option.value, 32, findings);
    const bool octal = option.value.find_first_not_of("01234567") == std::string::npos;
    if (option.name == "mode" && !octal) {
      findings.warn(entry.line, "mode '" + option.value + "' is read up to its first character that is no octal digit");
    }
  }
}

void checkValues(const std::vector<Entry>& entries, Findings& findings) {
  for (const Entry& entry : entries) {
    const uint32_t bits = app::config::findKey(entry.key)->numberBits;
    if (bits != 0) checkNumber(entry.line, entry.key, entry.value, bits, findings);
    if (entry.key == "listener" || entry.key == "forwarder") checkOptions(entry, findings);
  }
}

}  // namespace ns::tools::check
