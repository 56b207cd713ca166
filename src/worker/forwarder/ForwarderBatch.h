#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "encoding/Bytes.h"
#include "event/queue/EventQueue.h"
#include "worker/forwarder/LargeMemory.h"
#include "worker/forwarder/RecordFormatter.h"

namespace ns::worker::forwarder {

/// Events taken from the queue together, in hand until they were sent and, as the previous batch, for one cycle more. A
/// batch of frames holds what is sent; the lines of a batch of lines stand in the forwarder's send buffer, and the
/// batch holds the records that they were made of.
class ForwarderBatch {
 public:
  /// A batch, and what failed sends have left, ends early at this many bytes: sizes stay far inside 32 bits, and a
  /// target that accepts and resets for days does not make the buffer grow for days.
  static constexpr size_t MaxBytes = size_t{128} << 20;

  enum class Form { Frames, Lines };

  explicit ForwarderBatch(Form form) : form(form) {}

  /// The events that are to be sent.
  uint32_t getEventCount() const { return eventCount; }
  /// Whether events were taken, those that make no line included.
  bool hasTaken() const { return !lengths.empty(); }

  /// Takes up to `most` events as they came, each into a data frame of Frame Streams. For an empty batch of frames.
  void takeFrames(event::queue::EventQueue& queue, size_t most);
  /// Takes up to `most` events and appends a line to `lines` for each that makes one. For an empty batch of lines.
  void takeLines(event::queue::EventQueue& queue, size_t most, RecordFormatter& formatter, encoding::Bytes& lines);

  /// The frames, back to back.
  const encoding::Bytes& getFrames() const { return events; }
  /// Hands the frames over for good; the batch is only good for clear() then.
  void moveFrames(encoding::Bytes& to) { to.swap(events); }

  /// Puts the events back on the queue, behind all that is there. Throws QueueError if the queue can't take one.
  void returnTo(event::queue::EventQueue& queue) const;

  void clear();

 private:
  Form form;
  encoding::Bytes events;         // of all events taken: their frames, or their records
  std::vector<uint32_t> lengths;  // of each event taken: that of its record if it is to be sent, else 0
  uint32_t eventCount = 0;        // lengths other than 0
  LargeMemory eventsMemory;
  LargeMemory lengthsMemory;
};

}  // namespace ns::worker::forwarder
