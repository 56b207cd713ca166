#pragma once

#include "event/queue/EventQueueConfig.h"
#include "tools/check/Findings.h"

namespace ns::tools::check {

/// Whether the queue's memory can be had, its file be loaded, and be saved at a stop. Loads the file as a start of the
/// daemon would, but leaves it where it is. `line` is that of the file's name, `sizeLine` that of the queue's size.
void checkQueue(size_t line, size_t sizeLine, const event::queue::EventQueueConfig& config, Findings& findings);

}  // namespace ns::tools::check
