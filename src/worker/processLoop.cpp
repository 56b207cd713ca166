#include "worker/processLoop.h"

#include <chrono>
#include <exception>
#include <thread>

#include "log/log.h"

namespace ns::worker {

std::string nameOf(const char* kind, uint32_t id) { return kind + ("[" + std::to_string(id) + "]"); }

void runProcessLoop(const std::string& name, const std::function<void()>& loop) {
  try {
    log::info(name + ": Starting process loop");
    loop();
    log::info(name + ": Finished process loop");
  } catch (const std::exception& e) { log::error(name + ": Process loop failed: " + e.what()); }
}

void pauseUnlessStopped(int seconds, const std::atomic<bool>& stopRequested) {
  for (int i = 0; i < seconds && !stopRequested; ++i) std::this_thread::sleep_for(std::chrono::seconds(1));
}

}  // namespace ns::worker
