#include "net/dns/message/MessageText.h"

#include <string>

#include "encoding/data.h"
#include "net/dns/message/DnsError.h"

namespace data = ns::encoding::data;

namespace ns::net::dns {

void MessageText::failTooMuch() {
  throw DnsError("DNS message becomes more than the maximum allowed of " + std::to_string(MaxText) + " bytes of text");
}

TextView MessageText::lowercase(TextView piece) {
  const uint32_t start = size();
  unsigned char* const out = tail.room(piece.length);
  tail.advance(data::writeLowercase(out, tail.at(piece.offset), piece.length));
  limit += piece.length;
  return {start, piece.length};
}

}  // namespace ns::net::dns
