#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "encoding/Bytes.h"
#include "encoding/Tail.h"
#include "net/dns/message/DnsMessage.h"

namespace ns::net::dns {

/// The presentation text of one message, while it is written behind the end of a byte vector: how its names end, and
/// how much of it there may be. Nothing is kept unless finish() was called.
/// Every piece is written to room(), and begins where size() was before: no other place looks after the bound.
class MessageText {
 public:
  /// How much text one message may become. Compression pointers multiply: 127 in a name, each with up to a packet of
  /// labels behind it, and thousands of records that point there make gigabytes of text of one 64 KiB packet.
  /// What such a packet can hold without going in circles stays below 8 MiB: NSEC3 bitmaps give 80 characters a byte.
  static constexpr size_t MaxText = size_t{16} << 20;

  /// Names end in a dot if `trailingDot`.
  MessageText(encoding::Bytes& bytes, bool trailingDot)
      : tail(bytes), withTrailingDot(trailingDot), limit(static_cast<ptrdiff_t>(tail.size() + MaxText)) {}

  bool hasTrailingDot() const { return withTrailingDot; }

  uint32_t size() const { return static_cast<uint32_t>(tail.size()); }

  /// As Tail's. Throws DnsError once there is more text than a message may become.
  unsigned char* room(size_t count) {
    check();
    return tail.room(count);
  }
  void advance(unsigned char* written) { tail.advance(written); }

  void character(char value) {
    check();
    tail.character(value);
  }
  void text(std::string_view value) {
    check();
    tail.text(value);
  }
  void uint(uint64_t value) {
    check();
    tail.uint(value);
  }

  /// Takes back the last character, or all that was written since size() was `offset`.
  void dropLast() { tail.dropLast(); }
  void rewind(uint32_t offset) { tail.rewind(offset); }

  /// The piece that began at `offset` and ends here. Throws DnsError if the text is too much with it.
  TextView since(uint32_t offset) const {
    check();
    return {offset, size() - offset};
  }

  /// Writes a piece once more with A to Z turned into a to z. Such a copy is no text of its own: it counts nothing.
  TextView lowercase(TextView piece);

  /// Counts a piece that stands for one more name, without its being written again. Throws DnsError like room().
  void repeat(TextView piece) {
    limit -= piece.length;
    check();
  }

  /// Keeps what was written. Throws DnsError like room().
  void finish() {
    check();
    tail.finish();
  }

 private:
  void check() const {
    if (static_cast<ptrdiff_t>(tail.size()) > limit) [[unlikely]]
      failTooMuch();
  }
  [[noreturn, gnu::cold, gnu::noinline]] static void failTooMuch();

  encoding::data::Tail tail;
  const bool withTrailingDot;
  ptrdiff_t limit;  // how long the vector may become; below 0 once pieces that are repeated have used it up
};

}  // namespace ns::net::dns
