#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "encoding/dnstap/DnstapView.h"
#include "net/dns/event/DnsMessageEvent.h"
#include "net/dns/message/DnsMessage.h"

// The records that every benchmark goes round and round over: those of the checked-in sample. With many more the time
// would be that of fetching them, decoded, from memory, where the daemon has just one at a time.
namespace bench {

struct Record {
  std::span<const unsigned char> bytes;
  ns::encoding::dnstap::DnstapView dnstap;
  ns::net::dns::DnsMessageEvent event;  // refers to `dnstap`
  ns::net::dns::DnsMessage message;

  std::span<const unsigned char> packet() const { return event.message; }
};

/// All that give an event, decoded.
const std::vector<std::unique_ptr<Record>>& records();

/// Runs `step` over the records in a circle; one item is one record.
template <class Step>
void eachRecord(benchmark::State& state, Step&& step) {
  const auto& all = records();
  size_t i = 0;
  for (auto _ : state) {
    step(*all[i]);
    if (++i == all.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}

}  // namespace bench
