#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "encoding/Bytes.h"
#include "net/dns/message/Edns.h"

namespace ns::net::dns {

/// A piece of DnsMessage::text.
struct TextView {
  uint32_t offset = 0;
  uint32_t length = 0;

  bool operator==(const TextView&) const = default;
};

/// One resource record (RFC 1035, 4.1.3) with its name and data as presentation text.
struct DnsRecord {
  TextView name;           // of the owner, case as in the packet
  TextView nameLowercase;  // the same with A to Z turned into a to z, where it was asked for
  uint16_t type = 0;
  uint16_t rrclass = 0;
  uint32_t ttl = 0;  // seconds, as read
  TextView rdata;
  uint32_t domainOffset = 0;  // where the domain begins in `nameLowercase`; 0 until an output shows it
};

/// One DNS message (RFC 1035, 4.1), all names and record data as presentation text. Decoded into over and over: the
/// text and the sections keep their memory for later messages, so the counts say how many records are valid, never the
/// sizes. All text stands in one vector: names that are the same one in the packet are one there, too.
struct DnsMessage {
  using Section = std::vector<DnsRecord>;

  /// How many bytes may be read behind any piece of text, so that a short one can be copied by a fixed size.
  static constexpr size_t Slack = 32;

  // Bits of `flags` (RFC 1035, 4.1.1)
  static constexpr uint16_t FlagQr = 0x8000;
  static constexpr uint16_t FlagAa = 0x0400;
  static constexpr uint16_t FlagTc = 0x0200;
  static constexpr uint16_t FlagRd = 0x0100;
  static constexpr uint16_t FlagRa = 0x0080;
  static constexpr uint16_t FlagAd = 0x0020;  // RFC 4035, 3.1.6, like the next
  static constexpr uint16_t FlagCd = 0x0010;
  static constexpr uint16_t RcodeMask = 0x000F;

  bool has(uint16_t flag) const { return (flags & flag) != 0; }
  uint16_t rcode() const { return flags & RcodeMask; }
  /// With the bits that the OPT record has.
  uint16_t extendedRcode() const { return static_cast<uint16_t>(edns.upperRcode << 4 | rcode()); }
  uint16_t opcode() const { return flags >> 11 & 0x0F; }

  std::span<const unsigned char> at(TextView view) const { return {text.data() + view.offset, view.length}; }

  /// The domain of the question's name, and of a record's; empty where none was looked for.
  std::span<const unsigned char> domain() const { return behind(qnameLowercase, domainOffset); }
  std::span<const unsigned char> domainOf(const DnsRecord& record) const {
    return behind(record.nameLowercase, record.domainOffset);
  }

  std::string error;  // empty after a good decode, else the whole failure; the sections then mean nothing
  uint32_t size = 0;  // of the packet in bytes
  uint16_t id = 0;
  uint16_t flags = 0;    // the second word of the header
  uint16_t qdcount = 0;  // 1 after a good decode, or 0 where that was allowed
  uint16_t ancount = 0;
  uint16_t nscount = 0;
  uint16_t arcount = 0;     // without the records that are not kept
  TextView qname;           // case as in the packet
  TextView qnameLowercase;  // the same with A to Z turned into a to z, where it was asked for
  uint16_t qtype = 0;
  uint16_t qclass = 0;
  uint32_t domainOffset = 0;  // where the domain begins in `qnameLowercase`; 0 until an output shows it
  Section answers;
  Section authorities;
  Section additionals;

  Edns edns;             // of the additional section, in which it is not kept
  bool hasTsig = false;  // likewise (RFC 8945)

  encoding::Bytes text;  // Slack bytes of no meaning at its end

 private:
  std::span<const unsigned char> behind(TextView view, uint32_t offset) const {
    return at({view.offset + offset, view.length - offset});
  }
};

}  // namespace ns::net::dns
