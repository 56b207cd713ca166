#include "tools/check/options.h"

#include <sstream>
#include <string_view>

#include "worker/forwarder/ForwarderConfig.h"
#include "worker/listener/ListenerConfig.h"

namespace ns::tools::check {

std::vector<worker::options::Option> readOptions(const SourceEntry& entry) {
  std::vector<worker::options::Option> options;
  worker::options::ValueReader reader(entry.value.c_str());
  const bool isPath = reader.readWord() == "unix";
  reader.readWord();
  if (!isPath) reader.readWord();
  while (!reader.atEnd()) options.push_back(reader.readOption());
  return options;
}

/// Whether `parse` takes an option of this name: a failure over its value would not call it unknown.
template <class Config>
static bool knows(void (*parse)(const char*, Config&), const std::string& name) {
  Config config;
  try {
    parse(("ipv4 127.0.0.1 1 " + name + "=1").c_str(), config);
  } catch (const std::exception& e) { return std::string_view(e.what()).find("Unknown") == std::string_view::npos; }
  return true;
}

bool isOption(const std::string& name) {
  return knows(worker::listener::parseListener, name) || knows(worker::forwarder::parseForwarder, name);
}

std::string rawWord(const std::string& value, size_t index) {
  std::istringstream words(value);
  std::string word;
  for (size_t i = 0; i <= index; ++i) words >> word;
  return word;
}

}  // namespace ns::tools::check
