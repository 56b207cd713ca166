#include "app/Settings.h"

namespace ns::app {

Settings makeSettings(config::ConfigFile& file) {
  Settings settings;
  settings.fillEach([&](auto configure, auto& record) { configure(file, record); });
  return settings;
}

}  // namespace ns::app
