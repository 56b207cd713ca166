#include "net/dns/message/TextBudget.h"

#include <string>

#include "net/dns/message/DnsError.h"

namespace ns::net::dns {

void TextBudget::fail() {
  throw DnsError("DNS message becomes more than the maximum allowed of " + std::to_string(MaxText) + " bytes of text");
}

}  // namespace ns::net::dns
