#pragma once

#include "encoding/Tail.h"
#include "event/format/EventFormatterConfig.h"
#include "net/dns/event/DnsMessageEvent.h"
#include "net/dns/message/DnsMessage.h"

// What follows the header of an event, in each format, up to and with the line feed.
namespace ns::net::dns {

/// An event and how it is to be shown.
struct EventView {
  const DnsMessageEvent& event;
  DnsMessage& message;  // domains are worked out where they are shown, and noted there
  const event::format::EventFormatterConfig& config;
};

/// An event whose DNS message decoded, and one whose message did not.
void writeJsonBody(encoding::data::Tail& tail, const EventView& view);
void writeJsonError(encoding::data::Tail& tail, const EventView& view);
void writeQuerylogBody(encoding::data::Tail& tail, const EventView& view);
void writeQuerylogError(encoding::data::Tail& tail, const EventView& view);

/// Work out where the domain begins in the name of the question, or of a record of a section. What was worked out for
/// the same name in the question or in the record before is taken over.
void findDomain(DnsMessage& message, const event::format::EventFormatterConfig& config);
void findDomain(const DnsMessage& message, DnsMessage::Section& section, uint32_t record,
                const event::format::EventFormatterConfig& config);

// Bits of DnsMessage::flags
constexpr uint16_t FlagRd = 0x0100;
constexpr uint16_t FlagRa = 0x0080;
constexpr uint16_t FlagTc = 0x0200;
constexpr uint16_t FlagAa = 0x0020;  // the place of AD (RFC 4035, 3.1.6): what consumers of `aa` have always been given
constexpr uint16_t RcodeMask = 0x000F;

}  // namespace ns::net::dns
