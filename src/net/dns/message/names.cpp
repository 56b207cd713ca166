#include "net/dns/message/names.h"

#include <string>

#include "encoding/data.h"
#include "net/dns/message/DnsError.h"
#include "net/dns/message/escape.h"

namespace data = ns::encoding::data;

namespace ns::net::dns {

static constexpr uint32_t MaxLabelLength = 63;

[[noreturn, gnu::cold, gnu::noinline]] static void failPointers(uint32_t count) {
  throw DnsError("Read FQDN failed: DNS name has at least " + std::to_string(count) +
                 " label pointers which is more than the maximum allowed of " + std::to_string(MaxPointers));
}

[[noreturn, gnu::cold, gnu::noinline]] static void failPastPacket(const char* what, uint32_t offset, uint32_t length) {
  throw DnsError(std::string("Read FQDN failed: DNS name ") + what + " " + std::to_string(offset) +
                 " which is past packet len " + std::to_string(length));
}

/// The offset that the pointer whose first byte is `high` and whose second stands at `position` leads to. The forms 01
/// and 10 of the two top bits, which are reserved, keep one of them set here: beyond the end of any real packet.
static uint32_t readPointer(uint32_t high, uint32_t position, const unsigned char* data, uint32_t length) {
  uint8_t low;
  data::decodeUint8(low, data, length, position);
  const uint32_t target = (high ^ 0xC0U) << 8 | low;
  if (target >= length) [[unlikely]]
    failPastPacket("uses pointer offset", target, length);
  return target;
}

/// A label with a dot behind it.
static void writeLabel(const unsigned char* label, uint32_t count, const unsigned char* readable, MessageText& text) {
  unsigned char* out = writeEscaped(text.room(escapedRoom(MaxLabelLength) + 1), label, count, readable);
  *out++ = '.';
  text.advance(out);
}

/// Every label has brought its dot: the last one goes if it is not wanted. The root has none of its own.
static void endName(uint32_t start, MessageText& text) {
  const bool isRoot = text.size() == start;
  if (isRoot && text.hasTrailingDot()) text.character('.');
  if (!isRoot && !text.hasTrailingDot()) text.dropLast();
}

NameEnd readName(uint32_t offset, const unsigned char* data, uint32_t length, MessageText& text) {
  const uint32_t start = text.size();
  uint32_t position = offset;
  NameEnd end{0, 0};  // an offset of 0 stands for: no pointer yet
  for (;;) {
    if (position >= length) [[unlikely]]
      data::failRead("uint8_t", 1, length, position);
    const uint32_t count = data[position++];
    if (count == 0) break;
    if (count > MaxLabelLength) {
      if (++end.pointers > MaxPointers) [[unlikely]]
        failPointers(end.pointers);
      const uint32_t target = readPointer(count, position, data, length);
      if (end.offset == 0) end.offset = position + 1;
      position = target;
      continue;
    }
    // A label that ends where the packet does has no room for the byte that must follow it.
    if (count >= length - position) [[unlikely]]
      failPastPacket("offset + label length", position + count, length);
    writeLabel(data + position, count, data + length, text);
    position += count;
  }
  if (end.offset == 0) end.offset = position;
  endName(start, text);
  return end;
}

}  // namespace ns::net::dns
