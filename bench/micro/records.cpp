#include "micro/records.h"

#include "encoding/dnstap/DnstapDecoder.h"
#include "net/dns/domain/suffixes.h"
#include "net/dns/message/contract.h"
#include "tools/Frames.h"

namespace bench {

static std::vector<std::unique_ptr<Record>> load() {
  ns::net::dns::loadPslDomainSuffixes(true);
  static const Frames frames(BENCH_SAMPLE);
  std::vector<std::unique_ptr<Record>> all;
  for (size_t i = 0; i < frames.count(); i++) {
    auto record = std::make_unique<Record>();
    record->bytes = {frames.payload(i), frames.payloadSize(i)};
    const auto length = static_cast<uint32_t>(record->bytes.size());
    using ns::net::dns::Extraction;
    if (!ns::encoding::dnstap::tryDecodeDnstapEvent(record->dnstap, record->bytes.data(), length) ||
        ns::net::dns::tryExtractDnsMessageEvent(record->event, record->dnstap) != Extraction::Event)
      continue;
    const auto packet = record->packet();
    ns::net::dns::decodeDnsMessage(packet.data(), static_cast<uint32_t>(packet.size()), record->message, true);
    all.push_back(std::move(record));
  }
  return all;
}

const std::vector<std::unique_ptr<Record>>& records() {
  static const auto all = load();
  return all;
}

}  // namespace bench
