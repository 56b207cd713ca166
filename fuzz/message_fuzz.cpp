// Any bytes as a dnstap record's DNS message, in every format: one line an event, valid JSON, the same text whatever
// was decoded before, and never more than a bound: the 16 MiB of presentation text, each name twice for its domain,
// each byte twice for its escape, and the packet in hex.
#include <algorithm>

#include "fuzz.h"
#include "net/dns/domain/suffixes.h"
#include "net/dns/event/DnsMessageEventFormatter.h"
#include "net/dns/message/decodeDnsMessage.h"

using namespace ns::net::dns;
using ns::encoding::Bytes;

static ns::event::format::EventFormatterConfig configFor(uint32_t format, bool extended) {
  static const bool loaded = (loadPslDomainSuffixes(true), addDomainSuffix("corp.example.com", true), true);
  ns::event::format::EventFormatterConfig config;
  fuzz::require(loaded, "the suffixes load");
  config.messageFormat = format;
  config.querylogExtended = extended;
  return config;
}

/// Record data in the forms of zone files: a bad record costs only itself, and what is written stays on its line.
static void checkRecordData(const Bytes& bytes) {
  static DnsMessage contract, message;
  const auto size = static_cast<uint32_t>(bytes.size());
  decodeDnsMessage(bytes.data(), size, contract, {.trailingDot = true, .lowercase = false, .rfcRecordData = false});
  decodeDnsMessage(bytes.data(), size, message, {.trailingDot = false, .lowercase = false, .rfcRecordData = true});
  const bool tooMuch = message.error.find("bytes of text") != std::string::npos;
  fuzz::require(message.error.empty() || tooMuch || !contract.error.empty(), "no record makes an error of a message");
  if (!message.error.empty()) return;
  const auto check = [](const DnsMessage::Section& section, uint16_t count) {
    for (size_t i = 0; i < count; ++i) {
      const auto text = message.at(section[i].rdata);
      fuzz::require(!text.empty(), "every record's data is some text");
      fuzz::require(std::all_of(text.begin(), text.end(), [](unsigned char c) { return c >= ' ' && c <= '~'; }),
                    "record data is printable");
    }
  };
  check(message.answers, message.ancount);
  check(message.authorities, message.nscount);
  check(message.additionals, message.arcount);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static DnsMessageEventFormatter reused[] = {DnsMessageEventFormatter(configFor(0, false)),
                                              DnsMessageEventFormatter(configFor(1, false)),
                                              DnsMessageEventFormatter(configFor(1, true))};
  if (size == 0) return 0;
  DnsMessageEvent event;
  Bytes message(size - 1);
  std::copy(data + 1, data + size, message.begin());
  event.type = 1 + data[0] % 12;
  event.isQuery = event.type % 2 == 1;
  event.seconds = 1700000000 + data[0];
  event.message = message;

  checkRecordData(message);
  for (DnsMessageEventFormatter& formatter : reused) {
    DnsMessageEventFormatter fresh(formatter.getConfig());
    Bytes line, same;
    fuzz::require(formatter.format(line, event) && fresh.format(same, event), "every message makes an event");
    fuzz::require(line == same, "the text does not depend on the message before");
    const std::string_view text = fuzz::view(line);
    fuzz::require(text.find('\n') == text.size() - 1, "one line an event");
    fuzz::require(text.size() <= (size_t{68} << 20) + 2 * size, "the text is bounded");
    fuzz::Json json(text);
    if (formatter.getConfig().messageFormat == 0) fuzz::require(json.value() && json.text == "\n", "valid JSON");
  }
  return 0;
}
