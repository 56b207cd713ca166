#include "net/dns/message/decodeDnsMessage.h"

#include <exception>

#include "net/dns/message/MessageDecoder.h"

namespace ns::net::dns {

/// How much memory the text of one message may leave for the next one. Far above what real traffic needs; without it
/// the worst packet's 16 MiB, and as much in lower case, would stay for good.
static constexpr size_t MaxMemory = size_t{8} << 20;

void decodeDnsMessage(const unsigned char* data, uint32_t length, DnsMessage& message, bool withTrailingDot) {
  decodeDnsMessage(data, length, message, NameForms{withTrailingDot, true});
}

void decodeDnsMessage(const unsigned char* data, uint32_t length, DnsMessage& message, NameForms forms) {
  if (message.text.capacity() > MaxMemory) [[unlikely]]
    message.text = encoding::Bytes();
  message.error.clear();
  message.size = length;
  try {
    MessageDecoder(data, length, message, forms).decode();
  } catch (const std::exception& e) {
    message.error = "Read DNS message failed: ";
    message.error += e.what();
  }
}

}  // namespace ns::net::dns
