#pragma once

#include <cstdint>

namespace ns::encoding {

/// Finds out that a walk which jumps back never ends. What follows a jump must depend on where it leads and on nothing
/// else: then a place that comes back proves a circle, while jumps back alone prove nothing.
/// Brent's algorithm: one place is remembered, a newer one each time the number of jumps has doubled, until the circle
/// fits between the two. It is found after at most three times as many jumps as there are different places.
class CircleGuard {
 public:
  /// Whether a jump to `place` closes a circle.
  bool closes(uint32_t place) {
    if (place == remembered && jumps != 0) return true;
    if ((jumps & (jumps + 1)) == 0) remembered = place;
    ++jumps;
    return false;
  }

  /// The same for each step of a walk that mostly goes forward: nothing is remembered before its first step back.
  bool closes(uint32_t from, uint32_t to) {
    if (to > from && jumps == 0) [[likely]]
      return false;
    return closes(to);
  }

 private:
  uint32_t remembered = 0;
  uint64_t jumps = 0;
};

}  // namespace ns::encoding
