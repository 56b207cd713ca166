#include <cerrno>
#include <cstdio>
#include <string>

#include "error/messages.h"
#include "event/queue/EventQueue.h"
#include "event/queue/QueueFileReader.h"
#include "event/queue/QueueFileWriter.h"
#include "file/file.h"

namespace ns::event::queue {

/// Runs `action` and turns any failure of it, lack of memory included, into a QueueError of the same text.
template <class Action>
static void asQueueError(Action&& action) {
  try {
    action();
  } catch (const std::exception& e) { throw QueueError(e.what()); }
}

static void load(EventQueue& queue, const std::string& filename) {
  QueueFileReader file(filename);
  encoding::Bytes message;
  while (file.read(message)) queue.append(message.data(), message.size());
}

void EventQueue::recover() {
  if (!config.recovery || !file::exists(config.filename)) return;
  asQueueError([this] { load(*this, config.filename); });
  if (std::remove(config.filename.c_str()) != 0) {
    const int number = errno;
    throw QueueError("Remove " + config.filename + " failed: " + error::getMessage(number));
  }
}

static void save(EventQueue& queue, const std::string& filename) {
  QueueFileWriter file(filename, QueueFileWriter::Place::Own);
  do { queue.extract(file.next()); } while (file.write());
  file.close();  // a tail that the disk has no room for is lost, as the rest is still worth having
}

void EventQueue::persist() {
  if (!config.recovery) return;
  const std::string temporary = config.filename + ".tmp";
  asQueueError([&] { save(*this, temporary); });
  // The old file goes first. If the new one then cannot take its name, all events are in the temporary one.
  std::remove(config.filename.c_str());
  if (std::rename(temporary.c_str(), config.filename.c_str()) != 0) {
    const int number = errno;
    throw QueueError("Rename " + temporary + " to " + config.filename + " failed: " + error::getMessage(number));
  }
}

}  // namespace ns::event::queue
