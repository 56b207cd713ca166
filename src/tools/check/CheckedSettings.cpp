#include "tools/check/CheckedSettings.h"

#include <algorithm>
#include <exception>

namespace ns::tools::check {

using app::config::ConfigFile;

// Every text of the configure functions names the key and ends in the value as it stands in the file.
static bool isAbout(const std::string& text, const Entry& entry) {
  const std::string value = ": " + entry.value;
  return text.find(" " + entry.key + " specified in config file") != std::string::npos && text.size() >= value.size() &&
         text.compare(text.size() - value.size(), value.size(), value) == 0;
}

// Fills `config` from the entries and drops those that are refused.
template <class Config>
static void fill(void (*configure)(ConfigFile&, Config&), std::vector<Entry>& entries, Config& config,
                 Findings& findings) {
  for (;;) {
    ConfigFile file;
    for (const Entry& entry : entries) file.add(entry.key, entry.value);
    try {
      config = Config();
      return configure(file, config);
    } catch (const std::exception& e) {
      const std::string text = e.what();
      const auto guilty =
          std::find_if(entries.begin(), entries.end(), [&](const auto& entry) { return isAbout(text, entry); });
      findings.fatal(guilty == entries.end() ? 0 : guilty->line, text);
      if (guilty == entries.end()) return;
      entries.erase(guilty);
    }
  }
}

static std::vector<Entry> select(const std::vector<Entry>& entries, const std::string& key) {
  std::vector<Entry> selected;
  std::copy_if(entries.begin(), entries.end(), std::back_inserter(selected),
               [&](const Entry& entry) { return entry.key == key; });
  return selected;
}

CheckedSettings checkSettings(const std::vector<Entry>& entries, Findings& findings) {
  CheckedSettings settings;
  std::vector<Entry> left = entries;
  settings.fillEach([&](auto configure, auto& record) { fill(configure, left, record, findings); });
  settings.forwarderEntries = select(left, "forwarder");
  settings.listenerEntries = select(left, "listener");
  return settings;
}

size_t lineOf(const std::vector<Entry>& entries, const std::string& key) {
  const auto found = std::find_if(entries.begin(), entries.end(), [&](const Entry& entry) { return entry.key == key; });
  return found == entries.end() ? 0 : found->line;
}

}  // namespace ns::tools::check
