#include "tools/Counter.h"

#include <algorithm>
#include <cstring>

namespace bench {

size_t Counter::take(const unsigned char* data, size_t size) {
  return onControl ? takeFrames(data, size) : takeLines(data, size);
}

size_t Counter::takeLines(const unsigned char* data, size_t size) const {
  size_t lines = 0;
  const unsigned char* const end = data + size;
  for (; data != end; ++data, ++lines) {
    data = static_cast<const unsigned char*>(std::memchr(data, '\n', static_cast<size_t>(end - data)));
    if (!data) break;
  }
  return lines;
}

size_t Counter::takeFrames(const unsigned char* data, size_t size) {
  size_t frames = 0;
  const unsigned char* const end = data + size;
  while (data != end) {
    if (rest == 0) {
      takeByte(*data++);
      continue;
    }
    const size_t step = std::min(rest, static_cast<size_t>(end - data));
    data += step;
    rest -= step;
    frames += rest == 0;
  }
  return frames;
}

void Counter::takeByte(unsigned char byte) {
  head.push_back(byte);
  if (head.size() < 4) return;
  rest = fstrm::readWord(head.data());
  if (rest == 0 && (head.size() < 8 || head.size() < 8 + fstrm::readWord(&head[4]))) return;
  if (rest == 0) onControl(static_cast<fstrm::Control>(fstrm::readWord(&head[8])));
  head.clear();
}

}  // namespace bench
