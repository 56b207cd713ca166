#include "app/Edition.h"

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

#include "app/config/keys.h"
#include "error/UnknownError.h"

namespace ns::app {

using config::KeyName;

static constexpr uint32_t DefaultLineLimit = 65536;  // what common log daemons take at the most

[[noreturn]] static void fail(const char* word, KeyName key, const char* value) {
  throw error::UnknownError(std::string(word) + " " + key.text + " specified in config file: " + value);
}

static bool isSecondEdition(const config::ConfigFile& file) {
  static constexpr KeyName Key("edition");
  const char* const value = file.get(Key.text);
  if (value == nullptr || std::string(value) == "1") return false;
  if (std::string(value) != "2") fail("Unknown", Key, value);
  return true;
}

static uint32_t readLineLimit(const config::ConfigFile& file) {
  static constexpr KeyName Key("message-line-limit");
  const char* const value = file.get(Key.text);
  if (value == nullptr) return DefaultLineLimit;
  char* end = nullptr;
  const long limit = std::strtol(value, &end, 10);
  if (end == value || limit < 0 || limit > std::numeric_limits<uint32_t>::max()) fail("Invalid", Key, value);
  return static_cast<uint32_t>(limit);
}

void configureEdition(const config::ConfigFile& file, event::format::EventFormatterConfig& config) {
  const bool second = isSecondEdition(file);
  const uint32_t lineLimit = readLineLimit(file);
  config.paddedFraction = second;
  config.completeEvents = second;
  config.rfcRecordData = second;
  config.lineLimit = second ? lineLimit : 0;
}

}  // namespace ns::app
