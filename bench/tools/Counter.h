#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "tools/fstrm.h"

namespace bench {

/// Counts events in a stream that arrives in pieces: lines, or the data frames of a Frame Streams stream.
class Counter {
 public:
  /// Counts frames if `answer` is given, which is called with each control frame's type, and lines otherwise.
  explicit Counter(std::function<void(fstrm::Control)> answer = nullptr) : onControl(std::move(answer)) {}

  /// Returns how many events ended in this piece.
  size_t take(const unsigned char* data, size_t size);

 private:
  size_t takeLines(const unsigned char* data, size_t size) const;
  size_t takeFrames(const unsigned char* data, size_t size);
  void takeByte(unsigned char byte);

  std::function<void(fstrm::Control)> onControl;
  std::vector<unsigned char> head;  // of the frame at hand, as far as it came: a length word, or a control frame
  size_t rest = 0;                  // payload bytes of the frame at hand that are still to come
};

}  // namespace bench
