#pragma once

#include <cstddef>
#include <cstring>
#include <span>

#include "net/dns/event/AddressText.h"
#include "net/dns/message/DnsMessage.h"

// Stores behind each other, into room made before. Each returns the end of what it wrote.
namespace ns::net::dns {

/// A literal: its length is known, so that it goes in with a few plain stores.
template <size_t Size>
inline unsigned char* put(unsigned char* out, const char (&literal)[Size]) {
  std::memcpy(out, literal, Size - 1);
  return out + (Size - 1);
}

inline unsigned char* put(unsigned char* out, const AddressText& address) { return address.copyTo(out); }

/// A piece of a message's text, with DnsMessage::Slack bytes more of room behind it: most are short, and a copy of a
/// fixed size beats a call.
inline unsigned char* put(unsigned char* out, std::span<const unsigned char> text) {
  std::memcpy(out, text.data(), DnsMessage::Slack);
  if (text.size() > DnsMessage::Slack) [[unlikely]]
    std::memcpy(out + DnsMessage::Slack, text.data() + DnsMessage::Slack, text.size() - DnsMessage::Slack);
  return out + text.size();
}

}  // namespace ns::net::dns
