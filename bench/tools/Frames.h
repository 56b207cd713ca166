#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

/// The data frames of a Frame Streams file, length words included, as they go on the wire; given out in a circle.
class Frames {
 public:
  struct Piece {
    const unsigned char* data;
    size_t size;
    size_t frames;
  };

  /// Throws std::runtime_error for a file that is not one or holds no data frame.
  explicit Frames(const std::string& file);

  /// The next whole frames: as many as fit into `mostBytes`, but one at least and `mostFrames` at most.
  Piece next(size_t mostBytes, size_t mostFrames);

  size_t count() const { return ends.size(); }
  size_t bytes() const { return wire.size(); }
  /// The payload of frame `index`.
  const unsigned char* payload(size_t index) const { return wire.data() + begin(index) + 4; }
  size_t payloadSize(size_t index) const { return ends[index] - begin(index) - 4; }

 private:
  size_t begin(size_t index) const { return index == 0 ? 0 : ends[index - 1]; }

  std::vector<unsigned char> wire;
  std::vector<size_t> ends;  // behind each frame, in `wire`
  size_t at = 0;             // the frame that comes next
};

}  // namespace bench
