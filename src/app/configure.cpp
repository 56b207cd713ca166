#include "app/configure.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <list>
#include <span>
#include <string>
#include <string_view>

#include "app/Edition.h"
#include "app/config/keys.h"
#include "app/run.h"
#include "encoding/data.h"
#include "error/UnknownError.h"
#include "net/dns/domain/suffixes.h"

using ns::app::config::ConfigFile;
using ns::app::config::KeyName;
using ns::error::UnknownError;

namespace {

[[noreturn]] void failValue(const char* word, KeyName key, const std::string& value) {
  throw UnknownError(std::string(word) + " " + key.text + " specified in config file: " + value);
}

const char* get(const ConfigFile& file, KeyName key) { return file.get(key.text); }

std::list<std::string> getList(const ConfigFile& file, KeyName key) { return file.getList(key.text); }

// The position of the key's value among `choices`, or `absent` if the file does not have the key. `word` is how the
// error text of the key begins.
size_t choose(const ConfigFile& file, KeyName key, std::span<const std::string_view> choices, size_t absent,
              const char* word = "Unknown") {
  const char* const value = get(file, key);
  if (value == nullptr) return absent;
  const auto found = std::find(choices.begin(), choices.end(), value);
  if (found == choices.end()) failValue(word, key, value);
  return static_cast<size_t>(found - choices.begin());
}

void addSuffix(const std::string& value, bool withTrailingDot) {
  std::string suffix = value;
  while (!suffix.empty() && suffix.back() == '.') suffix.pop_back();
  if (suffix.empty()) failValue("Unknown", "domain-suffix", value);
  ns::net::dns::addDomainSuffix(suffix.c_str(), withTrailingDot);
}

// Parses each value of a repeatable key into a record of its own, numbered from 0 in file order.
template <class Record>
void configureWorkers(const ConfigFile& file, KeyName key, std::vector<Record>& records,
                      void (*parse)(const char*, Record&)) {
  for (const std::string& value : getList(file, key)) {
    Record record;
    record.id = static_cast<uint32_t>(records.size());
    try {
      parse(value.c_str(), record);
    } catch (const std::exception& e) {
      throw UnknownError(std::string("Invalid ") + key.text + " specified in config file (" + e.what() + "): " + value);
    }
    records.push_back(std::move(record));
  }
}

}  // namespace

void configureMessageFormatter(ConfigFile& file, ns::event::format::EventFormatterConfig& config) {
  static constexpr std::string_view FqdnFormats[] = {"with-trailing-dot", "without-trailing-dot"};
  static constexpr std::string_view SuffixModes[] = {"all", "builtin", "config", "off"};
  static constexpr std::string_view QuerylogFormats[] = {"standard", "extended"};
  static constexpr std::string_view Formats[] = {"json", "querylog", "dnstap"};
  static constexpr std::string_view SyslogFormats[] = {"bsd", "rfc3164", "rfc5424", "none"};

  ns::app::configureEdition(file, config);
  config.fqdnTrailingDot = choose(file, "message-fqdn-format", FqdnFormats, 0) == 0;  // first: the tables depend on it
  const std::string_view mode = SuffixModes[choose(file, "domain-suffix-mode", SuffixModes, 0)];
  config.domainSuffixEnabled = mode != "off";
  config.domainSuffixBuiltin = mode == "all" || mode == "builtin";
  config.domainSuffixConfig = mode == "all" || mode == "config";
  ns::net::dns::loadPslDomainSuffixes(config.fqdnTrailingDot);
  for (const std::string& value : getList(file, "domain-suffix")) addSuffix(value, config.fqdnTrailingDot);

  config.querylogExtended = choose(file, "message-querylog-format", QuerylogFormats, 0) == 1;
  config.messageFormat = static_cast<uint32_t>(choose(file, "message-format", Formats, 0));
  if (const char* const hostname = get(file, "message-hostname")) {
    config.hostname.clear();
    ns::encoding::data::formatChars(config.hostname, hostname);
  } else {
    getHostname(config.hostname);
  }
  config.syslogRfc3164 = choose(file, "message-syslog-format", SyslogFormats, 2) < 2;
  if (const char* const value = get(file, "message-syslog-priority")) {
    config.syslogPriority = static_cast<uint32_t>(std::strtol(value, nullptr, 10));
    if (config.syslogPriority == 0) failValue("Invalid", "message-syslog-priority", value);
  }
  config.pid = static_cast<uint32_t>(getpid());
}

void configureMessageQueue(ConfigFile& file, ns::event::queue::EventQueueConfig& config) {
  static constexpr std::string_view Switch[] = {"on", "off"};
  if (const char* const value = get(file, "message-queue-size")) {
    config.size = static_cast<uint64_t>(std::strtoll(value, nullptr, 10));
    if (config.size == 0) failValue("Invalid", "message-queue-size", value);
  }
  config.recovery = choose(file, "message-queue-recovery", Switch, 0) == 0;
  const char* const filename = get(file, "message-queue-filename");
  config.filename = filename == nullptr ? "message.queue" : filename;
}

void configureForwarders(ConfigFile& file, ns::worker::forwarder::ForwardersConfig& config) {
  configureWorkers(file, "forwarder", config.forwarders, ns::worker::forwarder::parseForwarder);
  for (auto& forwarder : config.forwarders) forwarder.forceStdout = force_stdout;
}

void configureListeners(ConfigFile& file, ns::worker::listener::ListenersConfig& config) {
  configureWorkers(file, "listener", config.listeners, ns::worker::listener::parseListener);
}

void configureBackgroundLogger(ConfigFile& file, ns::worker::logger::BackgroundLoggerConfig& config) {
  static constexpr std::string_view Formats[] = {"kv", "json"};
  if (const char* const value = get(file, "metrics-interval")) {
    const long interval = std::strtol(value, nullptr, 10);
    if (interval < 1) failValue("Invalid", "metrics-interval", value);
    config.interval = static_cast<uint32_t>(interval);  // no upper bound: higher bits are cut off
  }
  config.useJson = choose(file, "metrics-format", Formats, 0, "Invalid") == 1;
}
