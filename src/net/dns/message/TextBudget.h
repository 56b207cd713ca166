#pragma once

#include <cstddef>

namespace ns::net::dns {

/// How much presentation text one message may become. Compression pointers multiply: 127 in a name, each with up to a
/// packet of labels behind it, and thousands of records that point there make gigabytes of text of one 64 KiB packet.
/// What such a packet can hold without going in circles stays below 8 MiB: NSEC3 bitmaps give 80 characters a byte.
class TextBudget {
 public:
  static constexpr size_t MaxText = size_t{16} << 20;

  /// Throws DnsError if `size` is more than what is left.
  void check(size_t size) const {
    if (size > left) [[unlikely]]
      fail();
  }

  /// Takes `size` off what is left. Throws DnsError if it is more.
  void spend(size_t size) {
    check(size);
    left -= size;
  }

 private:
  [[noreturn, gnu::cold, gnu::noinline]] static void fail();

  size_t left = MaxText;
};

}  // namespace ns::net::dns
