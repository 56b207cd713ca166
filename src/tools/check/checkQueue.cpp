#include "tools/check/checkQueue.h"

#include <unistd.h>

#include <cerrno>
#include <memory>

#include "app/run.h"
#include "error/messages.h"
#include "event/queue/EventQueue.h"
#include "event/queue/QueueFileReader.h"
#include "file/file.h"
#include "tools/check/fileKind.h"

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

// Whether this user can write to the folder or file. If not, what a stop would save is lost.
static bool isWritable(size_t line, const std::string& path, bool isFolder, Findings& findings) {
  if (access((isFolder ? path + "/." : path).c_str(), W_OK) == 0) return true;
  findings.error(
      line, "this user can't write to " + path + " (" + error::getMessage(errno) + "): the queue is lost at a stop");
  return false;
}

static void checkTemporary(size_t line, const std::string& name, Findings& findings) {
  const std::string kind = kindOf(name);
  if (!kind.empty()) return findings.error(line, name + " is " + kind + ", not a file: the queue is lost at a stop");
  if (!file::exists(name) || !isWritable(line, name, false, findings)) return;
  findings.warn(line, name + " holds what a stop could not save, and the next stop writes over it");
}

static void checkFile(size_t line, EventQueue& queue, const EventQueueConfig& config, Findings& findings) {
  const std::string& name = config.filename;
  const std::string folder = name.rfind('/') == 0 ? "/" : getBasename(name);
  const std::string kind = kindOf(name);
  const bool writable = isWritable(line, folder, true, findings);
  const bool there = file::exists(name);
  if (!kind.empty()) return findings.fatal(line, name + " is " + kind + ", not a file: no queue can be loaded from it");
  if (there) load(line, queue, name, findings);
  if (there && !writable) findings.fatal(line, "the queue file can't be removed after it was loaded");
  checkTemporary(line, name + ".tmp", findings);
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
