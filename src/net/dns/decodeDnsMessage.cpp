#include "net/dns/decodeDnsMessage.h"

#include <exception>

#include "net/dns/MessageDecoder.h"

namespace ns::net::dns {

/// What the records of one message may keep for the next one. Far above what real traffic needs; without it one large
/// record, now in this place of a message and now in that, would in time leave megabytes in each of them.
static constexpr size_t MaxMemory = size_t{8} << 20;

static void limitMemory(DnsMessage& message) {
  if (message.memory <= MaxMemory) [[likely]]
    return;
  for (DnsMessage::Section* const section : {&message.answers, &message.authorities, &message.additionals})
    section->clear();
  message.memory = 0;
}

void decodeDnsMessage(const unsigned char* data, uint32_t length, DnsMessage& message, bool withTrailingDot) {
  limitMemory(message);
  message.error.clear();
  message.size = length;
  try {
    MessageDecoder(data, length, message, withTrailingDot).decode();
  } catch (const std::exception& e) {
    message.error = "Read DNS message failed: ";
    message.error += e.what();
  }
}

}  // namespace ns::net::dns
