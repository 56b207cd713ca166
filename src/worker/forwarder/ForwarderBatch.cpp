#include "worker/forwarder/ForwarderBatch.h"

namespace ns::worker::forwarder {

using event::queue::EventQueue;

// Text is made of about this many bytes of events between two looks at the size of the lines, as one packet can turn
// into tens of megabytes: some hundred real events, so that the queue's lock costs little, or one large one.
static constexpr size_t PieceSize = 16384;

void ForwarderBatch::takeFrames(EventQueue& queue, size_t most) {
  queue.extractFrames(events, lengths, most, MaxBytes);
  eventCount = static_cast<uint32_t>(lengths.size());
}

void ForwarderBatch::takeLines(EventQueue& queue, size_t most, RecordFormatter& formatter, encoding::Bytes& lines) {
  while (lengths.size() < most && lines.size() <= MaxBytes && events.size() <= MaxBytes) {
    size_t i = lengths.size();
    size_t offset = events.size();
    if (queue.extract(events, lengths, most - i, PieceSize) == 0) break;
    for (; i < lengths.size(); ++i) {
      const uint32_t length = lengths[i];
      if (formatter.format(lines, events.data() + offset, length)) {
        ++eventCount;
      } else {
        lengths[i] = 0;
      }
      offset += length;
    }
  }
}

// The records of events that made no line are not stepped over, so those behind one come back shifted by its bytes.
// That is known and kept: what a recovery puts back is relied upon as it is.
void ForwarderBatch::returnTo(EventQueue& queue) const {
  const size_t header = form == Form::Frames ? sizeof(uint32_t) : 0;
  const unsigned char* record = events.data();
  for (const uint32_t length : lengths) {
    if (length == 0) continue;
    queue.append(record + header, length);
    record += header + length;
  }
}

void ForwarderBatch::clear() {
  eventsMemory.clear(events);
  lengthsMemory.clear(lengths);
  eventCount = 0;
}

}  // namespace ns::worker::forwarder
