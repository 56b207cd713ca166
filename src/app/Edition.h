#pragma once

#include "app/config/ConfigFile.h"
#include "event/format/EventFormatterConfig.h"

namespace ns::app {

/// `edition` and `message-line-limit`: the one place that knows of editions, docs/reference/editions.md. Edition 1 is
/// what programs read that know this daemon's output; 2 is what people need where that hurts them. All other code
/// knows the settings that are made of it. Throws UnknownError.
void configureEdition(const config::ConfigFile& file, event::format::EventFormatterConfig& config);

}  // namespace ns::app
