#include "net/dns/message/rdataStrings.h"

#include <algorithm>
#include <string>

#include "net/dns/message/DnsError.h"
#include "net/dns/message/escape.h"

namespace ns::net::dns {

[[noreturn, gnu::cold, gnu::noinline]] static void failBeyond(uint32_t count, uint32_t available) {
  throw DnsError("Read record data strings failed: Expected at least " + std::to_string(count) + " bytes but only " +
                 std::to_string(available) + " are left in the packet");
}

uint32_t writeStrings(StringSource source, StringForm form, MessageText& text) {
  uint32_t position = 0;
  while (position < source.declared) {
    if (position >= source.available) [[unlikely]]
      failBeyond(position + 1, source.available);
    const bool first = position == 0;
    const uint32_t length = source.data[position++];
    const uint32_t end = std::min(position + length, source.declared);
    if (end > source.available) [[unlikely]]
      failBeyond(end, source.available);

    unsigned char* out = text.room(escapedRoom(length) + 3);
    if (form.quoted && !first) *out++ = ' ';
    if (form.quoted) *out++ = '"';
    out = writeEscaped(out, source.data + position, end - position, source.data + source.available);
    if (form.quoted) *out++ = '"';
    text.advance(out);
    position = end;
    if (form.single) break;
  }
  return position;
}

}  // namespace ns::net::dns
