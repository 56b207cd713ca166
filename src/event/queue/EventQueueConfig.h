#pragma once

#include <cstdint>
#include <string>

namespace ns::event::queue {

struct EventQueueConfig {
  uint64_t size = 104857600;             // bytes of the ring; a message takes 3 more than its own
  bool recovery = true;                  // whether the queue is saved at stop and loaded at start
  std::string filename = "event.queue";  // where it is saved; configuration replaces this default by its own
};

}  // namespace ns::event::queue
