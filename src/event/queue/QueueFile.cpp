#include "event/queue/QueueFile.h"

#include <cstring>

namespace ns::event::queue::file_format {

/// One register of bytes, each added without a carry into the next. Spelled out, since -O2 leaves a plain loop of
/// unknown length to go by the byte.
using Lanes [[gnu::vector_size(16)]] = unsigned char;

uint8_t getChecksum(const unsigned char* data, size_t length) {
  Lanes sums{};
  for (; length >= sizeof sums; data += sizeof sums, length -= sizeof sums) {
    Lanes next;
    std::memcpy(&next, data, sizeof next);
    sums += next;
  }
  unsigned total = 0;
  for (size_t i = 0; i < sizeof sums; ++i) total += sums[i];
  while (length-- != 0) total += *data++;
  return static_cast<uint8_t>(total);
}

}  // namespace ns::event::queue::file_format
