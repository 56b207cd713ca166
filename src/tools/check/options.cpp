#include "tools/check/options.h"

#include <sstream>

#include "worker/forwarder/ForwarderConfig.h"
#include "worker/listener/ListenerConfig.h"

namespace ns::tools::check {

std::vector<worker::options::Option> readOptions(const Entry& entry) {
  std::vector<worker::options::Option> options;
  worker::options::ValueReader reader(entry.value.c_str());
  const bool isPath = reader.readWord() == "unix";
  reader.readWord();
  if (!isPath) reader.readWord();
  while (!reader.atEnd()) options.push_back(reader.readOption());
  return options;
}

// What listeners and forwarders take. The configurations are only there for the tables to refer to.
static worker::options::OptionTable allOptions() {
  static worker::listener::ListenerConfig listener;
  static worker::forwarder::ForwarderConfig forwarder;
  worker::options::OptionTable all = worker::listener::listenerOptions(listener);
  const worker::options::OptionTable more = worker::forwarder::forwarderOptions(forwarder);
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

const worker::options::OptionRule* findOption(const std::string& name) {
  static const worker::options::OptionTable all = allOptions();
  return worker::options::findOption(all, worker::options::ValueReader(name.c_str()).readWord());
}

std::string rawWord(const std::string& value, size_t index) {
  std::istringstream words(value);
  std::string word;
  for (size_t i = 0; i <= index; ++i) words >> word;
  return word;
}

}  // namespace ns::tools::check
