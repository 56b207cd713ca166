// Reads DNS messages in hex from standard input, one a line, and writes the data of their records in the form of each
// record's RFC, one a line; or a line with the error. For tests that read the text back.
#include <iostream>
#include <string>

#include "net/dns/message/decodeDnsMessage.h"
#include "support/bytes.h"

using namespace ns::net::dns;

static void show(const DnsMessage& message, const DnsMessage::Section& section, uint16_t count) {
  for (uint16_t i = 0; i < count; ++i) std::cout << test::text(message.at(section[i].rdata)) << "\n";
}

int main() {
  DnsMessage message;
  for (std::string line; std::getline(std::cin, line);) {
    const auto packet = test::unhex(line);
    decodeDnsMessage(packet.data(), test::size32(packet), message,
                     {.trailingDot = false, .lowercase = false, .rfcRecordData = true});
    if (!message.error.empty()) {
      std::cout << message.error << "\n";
      continue;
    }
    show(message, message.answers, message.ancount);
    show(message, message.authorities, message.nscount);
    show(message, message.additionals, message.arcount);
  }
}
