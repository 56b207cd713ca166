#include "tools/check/checkKeys.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>
#include <map>
#include <numeric>
#include <span>
#include <string_view>
#include <utility>

#include "tools/check/options.h"

namespace ns::tools::check {

using Words = std::span<const std::string_view>;

static constexpr auto SingleKeys = std::to_array<std::string_view>(
    {"message-fqdn-format", "domain-suffix-mode", "message-querylog-format", "message-format", "message-hostname",
     "message-syslog-format", "message-syslog-priority", "message-queue-size", "message-queue-recovery",
     "message-queue-filename", "metrics-interval", "metrics-format"});
static constexpr auto RepeatableKeys = std::to_array<std::string_view>({"domain-suffix", "forwarder", "listener"});
static constexpr auto NumberKeys =
    std::to_array<std::string_view>({"message-syslog-priority", "message-queue-size", "metrics-interval"});
static constexpr auto NumberOptions = std::to_array<std::string_view>(
    {"connect-timeout", "read-timeout", "write-timeout", "send-buffer-size", "recv-buffer-size", "batch-size",
     "keepalive", "listen-backlog", "fstrm-control-frame-max-size", "fstrm-data-frame-max-size", "max-connections"});

static bool contains(Words texts, std::string_view text) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

/// The characters to insert, remove or replace to get from one text to the other (Levenshtein's distance).
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

std::string findNearest(const std::string& word, const std::vector<std::string>& known) {
  std::string nearest;
  size_t least = word.size() / 2 + 1;
  for (const std::string& text : known) {
    const size_t changes = countChanges(word, text);
    if (changes >= least) continue;
    least = changes;
    nearest = text;
  }
  return nearest;
}

static std::string describeUnknown(const std::string& key) {
  constexpr size_t MaxKey = 100;  // what a rubbish file has as a key is no misspelling
  std::vector<std::string> known(SingleKeys.begin(), SingleKeys.end());
  known.insert(known.end(), RepeatableKeys.begin(), RepeatableKeys.end());
  const std::string nearest = key.size() > MaxKey ? "" : findNearest(key, known);
  const std::string text = "unknown key '" + key.substr(0, MaxKey) + "' is ignored";
  return nearest.empty() ? text : text + "; the nearest known one is '" + nearest + "'";
}

void dropIgnored(std::vector<SourceEntry>& entries, Findings& findings) {
  std::map<std::string, size_t> first;
  std::vector<SourceEntry> kept;
  for (SourceEntry& entry : entries) {
    const bool single = contains(SingleKeys, entry.key);
    if (!single && !contains(RepeatableKeys, entry.key)) {
      findings.warn(entry.line, describeUnknown(entry.key));
    } else if (const auto [at, fresh] = first.emplace(entry.key, entry.line); single && !fresh) {
      findings.warn(entry.line, entry.key + " is ignored: the one in line " + std::to_string(at->second) + " counts");
    } else {
      kept.push_back(std::move(entry));
    }
  }
  entries = std::move(kept);
}

/// What comes of the options that are cut to 0.
static const char* effectOfZero(const std::string& name) {
  if (name == "batch-size") return ": no event ever goes out";
  return name.ends_with("-frame-max-size") ? ": no frame is short enough" : "";
}

/// A number is read up to the first character that is no digit, and stored in 32 bits; the queue's size has 64.
static void checkNumber(size_t line, const std::string& name, const std::string& value, Findings& findings) {
  char* end = nullptr;
  const long number = std::strtol(value.c_str(), &end, 10);
  const long cut = static_cast<long>(static_cast<uint32_t>(number));
  if (number != cut && name != "message-queue-size") {
    findings.error(line,
                   name + " '" + value + "' is read as " + std::to_string(cut) + (cut == 0 ? effectOfZero(name) : ""));
  } else if (*end != '\0') {
    findings.warn(line, name + " '" + value + "' is read as " + std::to_string(number));
  }
}

/// A "=" with blanks behind it goes on to the next word, which is mostly meant as the next option.
static void checkSwallowed(size_t line, const worker::ValueReader::Option& option, Findings& findings) {
  const size_t equals = option.value.find('=');
  if (equals == std::string::npos || !isOption(option.value.substr(0, equals))) return;
  findings.error(line, option.name + " takes the option '" + option.value + "' as its value");
}

static void checkOptions(const SourceEntry& entry, Findings& findings) {
  for (const auto& option : readOptions(entry)) {
    checkSwallowed(entry.line, option, findings);
    if (contains(NumberOptions, option.name)) checkNumber(entry.line, option.name, option.value, findings);
    const bool octal = option.value.find_first_not_of("01234567") == std::string::npos;
    if (option.name == "mode" && !octal) {
      findings.warn(entry.line, "mode '" + option.value + "' is read up to its first character that is no octal digit");
    }
  }
}

void checkValues(const std::vector<SourceEntry>& entries, Findings& findings) {
  for (const SourceEntry& entry : entries) {
    if (contains(NumberKeys, entry.key)) checkNumber(entry.line, entry.key, entry.value, findings);
    if (entry.key == "listener" || entry.key == "forwarder") checkOptions(entry, findings);
  }
}

}  // namespace ns::tools::check
