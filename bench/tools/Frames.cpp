#include "tools/Frames.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "tools/fstrm.h"

namespace bench {

Frames::Frames(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  const std::vector<unsigned char> all{std::istreambuf_iterator<char>(in), {}};
  size_t pos = 0;
  while (pos + 8 <= all.size()) {
    const size_t length = fstrm::readWord(&all[pos]);
    const size_t end = pos + (length ? 4 + length : 8 + fstrm::readWord(&all[pos + 4]));
    if (end > all.size()) throw std::runtime_error(file + " is cut off");
    if (length) {
      wire.insert(wire.end(), all.data() + pos, all.data() + end);
      ends.push_back(wire.size());
    }
    pos = end;
  }
  if (ends.empty()) throw std::runtime_error("no data frames in " + file);
}

Frames::Piece Frames::next(size_t mostBytes, size_t mostFrames) {
  const size_t first = at;
  const size_t start = begin(first);
  do at++;
  while (at < ends.size() && at - first < mostFrames && ends[at] - start <= mostBytes);
  const Piece piece{wire.data() + start, ends[at - 1] - start, at - first};
  if (at == ends.size()) at = 0;
  return piece;
}

}  // namespace bench
