// Any text as a configuration file, or as the value of a `listener` or `forwarder`: it is taken or refused with a text,
// and what is taken keeps to the documented limits.
#include "app/config/ConfigFile.h"
#include "fuzz.h"
#include "worker/forwarder/ForwarderConfig.h"
#include "worker/listener/ListenerConfig.h"

static bool isTimeout(uint32_t seconds) { return seconds >= 1 && seconds <= 120; }

template <class Config>
static void parseValue(const std::string& value, void (*parse)(const char*, Config&)) {
  Config config;
  try {
    parse(value.c_str(), config);
  } catch (const std::exception& e) {
    fuzz::require(*e.what() != '\0', "a refusal has a text");
    return;
  }
  fuzz::require(isTimeout(config.socket.readTimeout) && isTimeout(config.socket.writeTimeout), "time-outs in range");
  fuzz::require(config.socket.useUnix ? config.socket.path.size() <= 107 : config.socket.port != 0, "an address");
  fuzz::require(config.socket.mode >= 1 && config.socket.mode <= 0777, "a file mode");
  fuzz::require(config.socket.sendBufferSize <= INT32_MAX && config.socket.recvBufferSize <= INT32_MAX, "buffer sizes");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fuzz::MemoryFile file(data, size);
  ns::app::config::ConfigFile config;
  config.read(file.path());
  for (size_t last = 0; const auto& entry : config.getEntries()) {
    fuzz::require(entry.line > last, "entries begin in lines of their own");
    last = entry.line;
  }
  for (const char* key : {"listener", "forwarder"}) {
    for (const std::string& value : config.getList(key)) {
      fuzz::require(value.find_first_of("#\n") == std::string::npos, "a value is one line without a comment");
      fuzz::require(value.empty() || !std::isspace(static_cast<unsigned char>(value.back())), "no blanks at the end");
    }
  }
  parseValue(fuzz::text(data, size), ns::worker::listener::parseListener);
  parseValue(fuzz::text(data, size), ns::worker::forwarder::parseForwarder);
  return 0;
}
