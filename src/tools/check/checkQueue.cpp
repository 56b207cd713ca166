#include "tools/check/checkQueue.h"

#include <unistd.h>

#include <memory>

#include "app/run.h"
#include "event/queue/EventQueue.h"
#include "event/queue/QueueFileReader.h"
#include "file/file.h"

namespace ns::tools::check {

using event::queue::EventQueue;
using event::queue::EventQueueConfig;

static void load(size_t line, EventQueue& queue, const std::string& filename, Findings& findings) {
  event::queue::QueueFileReader file(filename);
  for (encoding::Bytes message; file.read(message);) queue.append(message.data(), message.size());
  if (file.getTrailing() != 0) findings.warn(line, filename + " ends in a broken record, which a start drops");
  metrics::EventQueueMetrics counts;
  queue.getMetrics(counts);
  if (counts.eventsDropped == 0) return;
  findings.warn(line, "the oldest " + std::to_string(counts.eventsDropped) + " events of " + filename +
                          " don't fit into message-queue-size, and a start drops them");
}

static void checkFile(size_t line, EventQueue& queue, const EventQueueConfig& config, Findings& findings) {
  const std::string& name = config.filename;
  const std::string folder = name.rfind('/') == 0 ? "/" : getBasename(name);
  const bool writable = access(folder.c_str(), W_OK | X_OK) == 0;
  const bool there = file::exists(name);
  if (!writable) findings.error(line, "this user can't write to " + folder + ": the queue is lost at a stop");
  if (there) load(line, queue, name, findings);
  if (there && !writable) findings.fatal(line, "the queue file can't be removed after it was loaded");
  if (file::exists(name + ".tmp")) {
    findings.warn(line, name + ".tmp holds what a stop could not save, and the next stop writes over it");
  }
}

void checkQueue(size_t line, size_t sizeLine, const EventQueueConfig& config, Findings& findings) {
  std::unique_ptr<EventQueue> queue;
  try {
    queue = std::make_unique<EventQueue>(config);
  } catch (const std::exception& e) { return findings.fatal(sizeLine, e.what()); }
  if (!config.recovery) return;
  if (config.filename.empty()) return findings.error(line, "no queue file: the queue is lost at a stop");
  if (config.filename[0] != '/') {
    findings.warn(line, "the queue file " + config.filename + " lies in the folder of this file");
  }
  try {
    checkFile(line, *queue, config, findings);
  } catch (const std::exception& e) { findings.fatal(line, e.what()); }
}

}  // namespace ns::tools::check
