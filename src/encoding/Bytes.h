#pragma once

#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace ns::encoding {

/// std::allocator, except that growing a vector leaves the new bytes as they are. A writer grows its buffer and then
/// stores every byte of the new tail; zeroing the tail first would touch each byte of output twice.
template <class T>
class DefaultInitAllocator : public std::allocator<T> {
 public:
  template <class U>
  struct rebind {
    using other = DefaultInitAllocator<U>;
  };

  using std::allocator<T>::allocator;

  template <class U>
  void construct(U* place) noexcept {
    ::new (static_cast<void*>(place)) U;
  }
  template <class U, class... Args>
  void construct(U* place, Args&&... args) {
    ::new (static_cast<void*>(place)) U(std::forward<Args>(args)...);
  }
};

/// A growable vector of bytes: what every `format...` and `encode...` function appends to. `resize` to a larger size
/// leaves the new bytes unset. Copy into it with data::grow and memcpy: `insert` of a range goes by the byte, since the
/// library has a block copy for its own allocator only.
using Bytes = std::vector<unsigned char, DefaultInitAllocator<unsigned char>>;

/// The bytes of a text, where it stands.
inline std::span<const unsigned char> bytesOf(std::string_view text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

}  // namespace ns::encoding
