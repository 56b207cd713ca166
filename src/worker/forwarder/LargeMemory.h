#pragma once

#include <cstddef>
#include <cstdint>

namespace ns::worker::forwarder {

/// Looks after the memory of one buffer that is filled over and over: a few hostile packets can make a batch of more
/// than a hundred megabytes, and a forwarder would keep as much for good.
class LargeMemory {
 public:
  /// Empties `buffer`. Frees its memory, too, if that has been far larger than what it held some batches in a row: not
  /// at once, as a busy forwarder has large and small batches in turn, and pages that are new to the process cost more
  /// than what they are written with.
  template <class Buffer>
  void clear(Buffer& buffer) {
    const size_t bytes = buffer.capacity() * sizeof(typename Buffer::value_type);
    spared = bytes > KeptBytes && buffer.size() < buffer.capacity() / 8 ? spared + 1 : 0;
    if (spared < Batches) {
      buffer.clear();
    } else {
      Buffer().swap(buffer);
    }
  }

 private:
  static constexpr size_t KeptBytes = size_t{1} << 20;  // common batches stay far below it
  static constexpr uint32_t Batches = 32;

  uint32_t spared = 0;  // batches in a row that left most of the memory unused
};

}  // namespace ns::worker::forwarder
