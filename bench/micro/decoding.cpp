// From a record's bytes to a decoded DNS message.

#include "encoding/dnstap/DnstapDecoder.h"
#include "micro/records.h"
#include "net/dns/domain/suffixes.h"
#include "net/dns/message/contract.h"

namespace {

using namespace bench;
using namespace ns::net::dns;

void dnstapDecode(benchmark::State& state) {
  ns::encoding::dnstap::DnstapView view;
  eachRecord(state, [&](const Record& record) {
    const auto length = static_cast<uint32_t>(record.bytes.size());
    benchmark::DoNotOptimize(ns::encoding::dnstap::tryDecodeDnstapEvent(view, record.bytes.data(), length));
  });
}
BENCHMARK(dnstapDecode);

void eventExtract(benchmark::State& state) {
  DnsMessageEvent event;
  eachRecord(state,
             [&](const Record& record) { benchmark::DoNotOptimize(tryExtractDnsMessageEvent(event, record.dnstap)); });
}
BENCHMARK(eventExtract);

void nameDecode(benchmark::State& state) {
  ns::encoding::Bytes name;
  eachRecord(state, [&](const Record& record) {
    const auto packet = record.packet();
    name.clear();
    decodeDnsMessageFqdn(12, packet.data(), static_cast<uint32_t>(packet.size()), name, true);
  });
}
BENCHMARK(nameDecode);

void suffixLookUp(benchmark::State& state) {
  eachRecord(state, [&](const Record& record) {
    const auto name = record.message.at(record.message.qnameLowercase);
    benchmark::DoNotOptimize(getDomainSuffixOffset(name.data(), static_cast<uint32_t>(name.size()), true, true));
  });
}
BENCHMARK(suffixLookUp);

void messageDecode(benchmark::State& state) {
  DnsMessage message;
  eachRecord(state, [&](const Record& record) {
    const auto packet = record.packet();
    decodeDnsMessage(packet.data(), static_cast<uint32_t>(packet.size()), message, true);
  });
}
BENCHMARK(messageDecode);

}  // namespace
